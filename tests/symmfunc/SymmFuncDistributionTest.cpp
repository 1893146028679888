#include "symmfunc/SymmFuncDistribution.hpp"

#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/DistributionFixture.hpp"
#include "symmfunc/chebyshev/ChebyshevFixture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>

namespace melta {
namespace {

using test::fillSet;
using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

const std::string barHead = "    |" + std::string(95, '-') + "|\n    |";

class SymmFuncDistributionTest : public testing::Test {
protected:
    // Element Si: centre 4.995, half width 4.995, so that bin i is [i - 0.5, i + 0.5) times 0.01. Element O:
    // the same with centre 0.
    SymmFuncDistributionTest() {
        fillSet(set, {"Si", "O"}, {{{0, 0.0f, 9.99f}, {1, 0.0f, -4.995f}}, {{0, 5.0f, 5.001f}}});
    }

    SymmFuncDistribution makeDistribution() const { return {2, averages, deviations, &function}; }

    SymmFuncDistribution makeCounted() const {
        auto distribution = makeDistribution();
        outputOf([&] { distribution.calcDistribution(&set, {}, {}); });
        return distribution;
    }

    // Message of reading a file with this text.
    std::string readMessage(const std::string& text) const {
        writeTextFile(file, text);
        auto distribution = makeDistribution();
        std::string message = stopMessageOf([&] { distribution.readDistribution(file, &set); });
        const auto end = message.find(": " + file);
        return end == std::string::npos ? message : message.substr(0, end) + ": FILE";
    }

    const std::vector<float> averages{4.995f, 0.0f};
    const std::vector<float> deviations{4.995f, 4.995f};
    const test::CoordinateFunc function;
    GeometrySet set;
    const test::TemporaryDirectory directory;
    const std::string file = directory.file("melta.gdist");
};

// A file with two bins of two functions for each of these elements; counts 1 2 3 4, 11 12 13 14, and so on.
std::string smallFile(const std::vector<std::string>& elementLines, const std::string& sizes = "2 2") {
    std::string text = std::to_string(elementLines.size()) + " " + sizes + "\n";
    for (const auto& line : elementLines) {
        text += line + "\n";
    }
    for (std::size_t e = 0; e < elementLines.size(); ++e) {
        const std::string ten = e == 0 ? "" : std::to_string(e);
        text += " " + ten + "1 " + ten + "2\n " + ten + "3 " + ten + "4\n";
    }
    return text;
}

const std::string silicon = "Si 0.01 -0.005";
const std::string oxygen = "O 0.01 -5.0";

TEST_F(SymmFuncDistributionTest, ValuesGoToTheBinsAroundThem) {
    const auto distribution = makeCounted();

    EXPECT_EQ(distribution.getNumDists(), 1000);
    EXPECT_EQ(distribution.getCount(0, 0, 0), 1);   // x = 0
    EXPECT_EQ(distribution.getCount(0, 999, 1), 1); // y = 9.99
    EXPECT_EQ(distribution.getCount(0, 500, 0), 1); // x = 5
    EXPECT_EQ(distribution.getCount(0, 500, 1), 1); // y = 5.001
    EXPECT_EQ(distribution.getCount(1, 0, 1), 1);   // y = -4.995
    int sum = 0;
    for (int e = 0; e < 2; ++e) {
        for (int bin = 0; bin < 1000; ++bin) {
            sum += distribution.getCount(e, bin, 0) + distribution.getCount(e, bin, 1);
        }
    }
    EXPECT_EQ(sum, 6);
}

TEST_F(SymmFuncDistributionTest, ValuesBeyondTheRangeGoToTheOutermostBins) {
    GeometrySet wide;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    fillSet(wide, {"Si", "O"}, {{{0, -3.0f, 1.0e30f}, {0, -1.0e30f, 11.0f}, {0, nan, 12.0f}}});
    auto distribution = makeDistribution();

    distribution.calcDistribution(&wide, {}, {});

    EXPECT_EQ(distribution.getCount(0, 0, 0), 3);
    EXPECT_EQ(distribution.getCount(0, 999, 1), 3);
}

TEST_F(SymmFuncDistributionTest, GivenValuesAreCountedInsteadOfComputedOnes) {
    const std::vector<float> first{1.0f, 2.0f, 3.0f, 4.0f};
    const std::vector<float> second{7.0f, 8.0f};
    const std::vector<std::span<const float>> values{first, second};
    const std::vector<Geometry*> geometries{set.geometries[0].get(), set.geometries[1].get()};
    auto distribution = makeCounted();

    const std::string output = outputOf([&] { distribution.calcDistribution(&set, geometries, values); });

    EXPECT_EQ(output, "");
    EXPECT_EQ(distribution.getCount(0, 100, 0), 1);
    EXPECT_EQ(distribution.getCount(0, 200, 1), 1);
    EXPECT_EQ(distribution.getCount(0, 700, 0), 1);
    EXPECT_EQ(distribution.getCount(0, 800, 1), 1);
    EXPECT_EQ(distribution.getCount(1, 799, 0) + distribution.getCount(1, 800, 0), 1); // x = 3
    EXPECT_EQ(distribution.getCount(0, 0, 0), 0) << "counts of the time before must be gone";
}

TEST_F(SymmFuncDistributionTest, ProgressBarIsFullAtTheEnd) {
    auto distribution = makeDistribution();

    const std::string output = outputOf([&] { distribution.calcDistribution(&set, {}, {}); });

    EXPECT_EQ(output, barHead + std::string(95, '=') + "|\n\n");
}

TEST_F(SymmFuncDistributionTest, SingleGeometryPrintsNoBar) {
    GeometrySet single;
    fillSet(single, {"Si", "O"}, {{{0, 1.0f, 2.0f}}});
    auto distribution = makeDistribution();

    EXPECT_EQ(outputOf([&] { distribution.calcDistribution(&single, {}, {}); }), "");
}

TEST_F(SymmFuncDistributionTest, ThreadsGiveTheCountsOfOne) {
    GeometrySet cells;
    cells.numElems = 2;
    cells.elemNames = {"Si", "O"};
    for (unsigned seed = 0; seed < 4; ++seed) {
        cells.geometries.push_back(test::makeRandomCell(test::skewedCell(), 3, 2, 5.0f, seed));
    }
    cells.numGeoms = 4;
    const auto chebyshev =
        test::makeChebyshev({.numElems = 2, .elemWeight = false, .numRadius = 8, .numAngle = 6});
    const auto fileOf = [&](int numThreads) {
        const test::ThreadCount threads(numThreads);
        SymmFuncDistribution distribution(2, averages, deviations, &chebyshev);
        outputOf([&] { distribution.calcDistribution(&cells, {}, {}); });
        distribution.writeDistribution(file, &cells);
        return readTextFile(file);
    };

    EXPECT_EQ(fileOf(1), fileOf(2));
}

TEST_F(SymmFuncDistributionTest, StopInsideAParallelRegionComesOut) {
    class Failing : public test::CoordinateFunc {
        void calculate(const Geometry& geometry, int /*iatom*/, std::span<float> symmData,
                       std::span<float> symmDiff) const override {
            CoordinateFunc::calculate(geometry, -1, symmData, symmDiff);
        }
    };
    const Failing failing;
    SymmFuncDistribution distribution(2, averages, deviations, &failing);

    outputOf([&] {
        EXPECT_EQ(stopMessageOf([&] { distribution.calcDistribution(&set, {}, {}); }),
                  "index of atom is out of range.");
    });
}

TEST_F(SymmFuncDistributionTest, CalcRefusesMissingData) {
    auto distribution = makeDistribution();
    const GeometrySet empty;

    EXPECT_EQ(stopMessageOf([&] { distribution.calcDistribution(nullptr, {}, {}); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { distribution.calcDistribution(&empty, {}, {}); }),
              "total number of geometries is not positive.");
}

TEST_F(SymmFuncDistributionTest, ConstructorRefusesInOrder) {
    const test::EmptyFunc empty;
    const auto make = [](int elems, std::span<const float> ave, std::span<const float> dev,
                         const SymmFunc* func) {
        return stopMessageOf([&] { const SymmFuncDistribution made(elems, ave, dev, func); });
    };

    EXPECT_EQ(make(0, {}, {}, nullptr), "#elements is not positive.");
    EXPECT_EQ(make(2, {}, {}, nullptr), "symmAve is null.");
    EXPECT_EQ(make(2, averages, {}, nullptr), "symmDev is null.");
    EXPECT_EQ(make(2, averages, deviations, nullptr), "symmFunc is null.");
    EXPECT_EQ(make(2, averages, deviations, &empty), "#basis is not positive.");
}

TEST_F(SymmFuncDistributionTest, FileIsWrittenToTheByte) {
    writeTextFile(file, smallFile({"Si 0.0101 -0.005", "O 0.0101 -5.0"}));
    auto distribution = makeDistribution();
    distribution.readDistribution(file, &set);

    distribution.writeDistribution(file, &set);

    EXPECT_EQ(readTextFile(file), "2 2 2\n"
                                  "Si 9.99999978e-03 -4.99999989e-03\n"
                                  "O 9.99999978e-03 -5.00000000e+00\n"
                                  " 1 2\n 3 4\n"
                                  " 11 12\n 13 14\n");
}

TEST_F(SymmFuncDistributionTest, RoundTripKeepsEveryCount) {
    const auto written = makeCounted();
    written.writeDistribution(file, &set);
    const std::string text = readTextFile(file);
    auto distribution = makeDistribution();

    distribution.readDistribution(file, &set);
    distribution.writeDistribution(file, &set);

    EXPECT_EQ(readTextFile(file), text);
    EXPECT_EQ(text.substr(0, text.find('\n')), "2 1000 2");
    EXPECT_EQ(std::ranges::count(text, '\n'), 1 + 2 + 2000);
}

TEST_F(SymmFuncDistributionTest, ElementsAreFoundByNameAndOthersAreDropped) {
    writeTextFile(file, smallFile({oxygen, "Xx 7.0 nan", silicon}));
    auto distribution = makeDistribution();

    distribution.readDistribution(file, &set);

    EXPECT_EQ(distribution.getNumDists(), 2);
    EXPECT_EQ(distribution.getCount(1, 0, 0), 1);
    EXPECT_EQ(distribution.getCount(1, 1, 1), 4);
    EXPECT_EQ(distribution.getCount(0, 0, 0), 21);
    EXPECT_EQ(distribution.getCount(0, 1, 0), 23);
}

TEST_F(SymmFuncDistributionTest, CountsMayBreakLinesAnywhere) {
    writeTextFile(file, "2 2 2\n" + silicon + "\n" + oxygen + "\n1\n\n 2 3\t4 5 6\r\n7\n8");
    auto distribution = makeDistribution();

    distribution.readDistribution(file, &set);

    EXPECT_EQ(distribution.getCount(0, 1, 1), 4);
    EXPECT_EQ(distribution.getCount(1, 1, 1), 8);
}

TEST_F(SymmFuncDistributionTest, StepAndStartMayDifferSlightly) {
    EXPECT_EQ(readMessage(smallFile({"Si 0.0109 -0.0059", oxygen})), "(no stop)");
    EXPECT_EQ(readMessage(smallFile({"Si 0.0091 -0.0041", oxygen})), "(no stop)");
    EXPECT_EQ(readMessage(smallFile({"Si 0.0112 -0.005", oxygen})),
              "step of distribution is not consistent: FILE");
    EXPECT_EQ(readMessage(smallFile({"Si 0.01 -0.0065", oxygen})),
              "initial value of distribution is not consistent: FILE");
}

TEST_F(SymmFuncDistributionTest, DamagedHeadsAreRefused) {
    EXPECT_EQ(readMessage(""), "cannot read dimensions of symm-func-distributions.");
    EXPECT_EQ(readMessage("2 1000\n"), "incorrect #elements: FILE");
    EXPECT_EQ(readMessage("\n2 1000 2\n"), "incorrect #elements: FILE");
    EXPECT_EQ(readMessage("0 1000 2\n"), "incorrect #elements: FILE");
    EXPECT_EQ(readMessage("99999999999 1000 2\n"), "incorrect #elements: FILE");
    EXPECT_EQ(readMessage(std::string("\0\xff\x7f"
                                      "ELF\0\0",
                                      8)),
              "incorrect #elements: FILE");
    EXPECT_EQ(readMessage("2 0 3\n"), "incorrect #basis: FILE");
    EXPECT_EQ(readMessage("2 0 2\n"), "incorrect size of distributions: FILE");
    EXPECT_EQ(readMessage("2 1000 2\n" + silicon + "\n"),
              "cannot read element's data of symm-func-distributions.");
    EXPECT_EQ(readMessage("2000000000 1000 2\n" + silicon + "\n"),
              "cannot read element's data of symm-func-distributions.");
}

TEST_F(SymmFuncDistributionTest, DamagedElementsAreRefused) {
    EXPECT_EQ(readMessage(smallFile({"Si 0.01", oxygen})), "cannot read an element: FILE");
    EXPECT_EQ(readMessage(smallFile({"Si a -0.005", oxygen})), "cannot read an element: FILE");
    EXPECT_EQ(readMessage(smallFile({"Si 0 -0.005", oxygen})), "step of distribution is not positive: FILE");
    EXPECT_EQ(readMessage(smallFile({"Si nan -0.005", oxygen})),
              "step of distribution is not positive: FILE");
    EXPECT_EQ(readMessage(smallFile({"Si inf -0.005", oxygen})),
              "step of distribution is not consistent: FILE");
    EXPECT_EQ(readMessage(smallFile({"Si 0.01 nan", oxygen})),
              "initial value of distribution is not consistent: FILE");
    EXPECT_EQ(readMessage(smallFile({silicon, "o 0.01 -5"})), "there is unknown element: O: FILE");
}

TEST_F(SymmFuncDistributionTest, DamagedCountsAreRefused) {
    const std::string head = "2 2 2\n" + silicon + "\n" + oxygen + "\n";
    EXPECT_EQ(readMessage(head), "cannot scan distribution: FILE");
    EXPECT_EQ(readMessage(head + " 1 2\n 3 4\n 5 6\n 7\n"), "cannot scan distribution: FILE");
    EXPECT_EQ(readMessage(head + " 1 2\n 3 x\n 5 6\n 7 8\n"), "cannot scan distribution: FILE");
    EXPECT_EQ(readMessage(head + " 1 2\n 3 99999999999\n 5 6\n 7 8\n"), "cannot scan distribution: FILE");
    EXPECT_EQ(readMessage(head + std::string(" 1 2\n 3 \0 4\n", 12)), "cannot scan distribution: FILE");
}

TEST_F(SymmFuncDistributionTest, AbsurdSizesDoNotFillTheMemory) {
    const std::string text = "2 2000000000 2\n" + silicon + "\n" + oxygen + "\n 1 2\n";

    EXPECT_EQ(readMessage(text), "cannot scan distribution: FILE");
}

TEST_F(SymmFuncDistributionTest, MissingFilesAndSetsAreRefused) {
    auto distribution = makeCounted();
    const std::string nowhere = directory.file("none/melta.gdist");
    const GeometrySet empty;

    EXPECT_EQ(stopMessageOf([&] { distribution.readDistribution(nowhere, nullptr); }),
              "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { distribution.readDistribution(nowhere, &set); }),
              "cannot open file: " + nowhere);
    EXPECT_EQ(stopMessageOf([&] { distribution.writeDistribution(nowhere, nullptr); }),
              "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { distribution.writeDistribution(nowhere, &set); }),
              "cannot open file: " + nowhere);
    EXPECT_EQ(stopMessageOf([&] { distribution.writeDistribution(file, &empty); }),
              "index of element is out of range.");
    writeTextFile(file, smallFile({silicon, oxygen}));
    EXPECT_EQ(stopMessageOf([&] { distribution.readDistribution(file, &empty); }),
              "index of element is out of range.");
}

class OutsideTest : public SymmFuncDistributionTest {
protected:
    // Five bins around the normalised values -1, -0.5, 0, 0.5, 1. Function 0 has been seen in all but the
    // middle bin.
    OutsideTest() : distribution(makeDistribution()) {
        writeTextFile(file, "2 5 2\n" + silicon + "\n" + oxygen +
                                "\n 9 9\n 9 9\n 2 9\n 9 9\n 9 9\n"
                                " 1 1\n 1 1\n 1 1\n 1 1\n 1 1\n");
        distribution.readDistribution(file, &set);
    }

    bool isOutside(const std::vector<test::CoordinateAtom>& atoms, int maxDist) const {
        const auto geometry = test::makeFlatGeometry(atoms);
        std::vector<float> values;
        for (const auto& atom : atoms) {
            values.push_back(atom.x);
            values.push_back(atom.y);
        }
        return distribution.isOutside(*geometry, values, maxDist);
    }

    SymmFuncDistribution distribution;
};

TEST_F(OutsideTest, ValuesInWellFilledBinsAreInside) {
    EXPECT_FALSE(isOutside({{0, -1.0f, 1.0f}, {0, 0.5f, 0.0f}}, 3));
}

TEST_F(OutsideTest, AnyValueInAnAlmostEmptyBinIsOutside) {
    EXPECT_TRUE(isOutside({{0, -1.0f, 1.0f}, {0, 0.0f, 0.0f}}, 3));
    EXPECT_FALSE(isOutside({{0, -1.0f, 1.0f}, {0, 0.0f, 0.0f}}, 2));
}

TEST_F(OutsideTest, EachElementHasItsOwnCounts) {
    EXPECT_FALSE(isOutside({{0, 1.0f, 1.0f}, {1, 1.0f, 1.0f}}, 1));
    EXPECT_TRUE(isOutside({{0, 1.0f, 1.0f}, {1, 1.0f, 1.0f}}, 2));
}

TEST_F(OutsideTest, RangeEndsHalfABinBeyondTheUnitInterval) {
    EXPECT_FALSE(isOutside({{0, 1.24f, 0.0f}}, 1));
    EXPECT_TRUE(isOutside({{0, 1.26f, 0.0f}}, 1));
    EXPECT_TRUE(isOutside({{0, 0.0f, 1.0e30f}}, 1));
}

TEST_F(OutsideTest, CuttingTowardZeroAddsAWholeBinBelow) {
    EXPECT_FALSE(isOutside({{0, -1.74f, 0.0f}}, 1));
    EXPECT_TRUE(isOutside({{0, -1.76f, 0.0f}}, 1));
    EXPECT_TRUE(isOutside({{0, -1.0e30f, 0.0f}}, 1));
}

TEST_F(OutsideTest, NotANumberIsOutside) {
    EXPECT_TRUE(isOutside({{0, std::numeric_limits<float>::quiet_NaN(), 0.0f}}, 1));
}

TEST_F(OutsideTest, CountLimitMustBePositive) {
    EXPECT_EQ(stopMessageOf([&] { (void)isOutside({{0, 0.0f, 0.0f}}, 0); }), "maxDist is not positive.");
}

TEST_F(OutsideTest, ValueBelowTheRangeIsCountedInTheFirstBinButOutside) {
    GeometrySet low;
    fillSet(low, {"Si", "O"}, {{{0, -8.0f, 0.0f}}});
    auto counted = makeDistribution();
    counted.calcDistribution(&low, {}, {});
    const std::vector<float> normalised{(-8.0f - 4.995f) / 4.995f, -1.0f};

    EXPECT_EQ(counted.getCount(0, 0, 0), 1);
    EXPECT_TRUE(counted.isOutside(*low.geometries[0], normalised, 1));
}

} // namespace
} // namespace melta
