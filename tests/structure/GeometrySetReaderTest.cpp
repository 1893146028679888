#include "structure/GeometrySetReader.hpp"

#include "base/ReplacementJournal.hpp"
#include "structure/DataFileText.hpp"
#include "structure/GeometrySet.hpp"
#include "structure/Units.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <cmath>
#include <random>

namespace melta {
namespace {

using test::atomLine;
using test::blockOf;
using test::cubicCell;
using test::fieldsWith;
using test::plainFields;
using test::stopMessageOf;
using test::TemporaryDirectory;
using test::writeTextFile;

// What a test does with a file of some text.
class GeometryReading : public testing::Test {
protected:
    std::string write(const std::string& text) {
        writeTextFile(name, text);
        return name;
    }

    // Reads a text into `set`.
    void read(const std::string& text, bool withCharge = false) {
        set.readGeometrySet(write(text), withCharge);
    }

    // The stop of reading a text into a set of its own, with the file's name as "FILE".
    std::string stopOf(const std::string& text, bool withCharge = false) {
        std::string message = stopMessageOf([&] {
            GeometrySet fresh;
            fresh.maxForce = set.maxForce;
            fresh.regularElem = set.regularElem;
            fresh.trainingSet = set.trainingSet;
            fresh.readGeometrySet(write(text), withCharge);
        });
        const std::size_t at = message.find(name);
        return at == std::string::npos ? message : message.replace(at, name.size(), "FILE");
    }

    TemporaryDirectory directory;
    std::string name = directory.file("melta.train");
    GeometrySet set;
};

TEST_F(GeometryReading, ConvertsUnits) {
    read("1 0 -2.5\n1 2 3\n-4 5 6\n7 8 -9\n" + atomLine("Fe", plainFields()));

    ASSERT_EQ(set.numGeoms, 1);
    const Geometry& geometry = set.getGeometry(0);
    EXPECT_FALSE(geometry.hasAtomEnergy);
    EXPECT_EQ(geometry.energyTotal, -2.5 * 13.605691930242388);
    const std::array<float, 9> cell{1, 2, 3, -4, 5, 6, 7, 8, -9};
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(geometry.lattice[i], cell[i] * 0.5291772f);
    }
    EXPECT_EQ(geometry.positions,
              (std::vector<float>{1.0f * 0.5291772f, 2.0f * 0.5291772f, 3.0f * 0.5291772f}));
    EXPECT_EQ(geometry.forces,
              (std::vector<float>{0.1f * 25.711033f, 0.2f * 25.711033f, -0.3f * 25.711033f}));
    EXPECT_EQ(geometry.energies[0], -0.5 * 13.605691909790039);
    EXPECT_EQ(geometry.charges[0], 0.25f);
    EXPECT_EQ(geometry.atomNumbers[0], 26);
    EXPECT_EQ(geometry.elements[0], 0);
    EXPECT_EQ(static_cast<double>(static_cast<float>(units::rydbergOfAtoms)), units::rydbergOfAtoms);
}

TEST_F(GeometryReading, KeepsStressTimesVolume) {
    const std::string atom = atomLine("H", plainFields());
    const std::string skewCell = "10 0 0\n3 -8 0\n1 2 5\n"; // 400 cubic Bohr
    read("1 0 -1 1e-3 2e-3 -3e-3 0 0 4e-3\n" + skewCell + atom + "1 0 -1\n" + skewCell + atom);

    ASSERT_TRUE(set.getGeometry(0).stressVolume);
    const std::array<double, 6> expected{0.4, 0.8, -1.2, 0, 0, 1.6}; // Ry
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(static_cast<double>((*set.getGeometry(0).stressVolume)[i]),
                    expected[i] * units::rydbergOfTotal, 1.0e-5)
            << i;
    }
    EXPECT_FALSE(set.getGeometry(1).stressVolume);
    EXPECT_EQ(stopOf("1 0 -1 1e37 0 0 0 0 0\n" + skewCell + atom),
              "NaN at the stress of the 0 -th geometry: FILE");
}

TEST_F(GeometryReading, TakesTheShareOfTheChargesOut) {
    read("1 1 -2.5\n" + cubicCell() + atomLine("H", plainFields()), true);

    const Geometry& geometry = set.getGeometry(0);
    EXPECT_EQ(geometry.energyTotal, (-2.5 - 0.125) * 13.605691930242388);
    EXPECT_EQ(geometry.energies[0], (-0.5 - 0.125) * 13.605691909790039);
    EXPECT_EQ(geometry.forces, (std::vector<float>{(0.1f - 0.01f) * 25.711033f, (0.2f - 0.02f) * 25.711033f,
                                                   (-0.3f - 0.03f) * 25.711033f}));
    EXPECT_EQ(geometry.charges[0], 0.25f);
}

TEST_F(GeometryReading, SumsAtomicEnergiesBehindAHeadOfOneNumber) {
    read("2\n" + cubicCell() + atomLine("H", fieldsWith("-1.25", "0")) +
         atomLine("O", fieldsWith("-3.5", "0")));

    EXPECT_TRUE(set.getGeometry(0).hasAtomEnergy);
    EXPECT_EQ(set.getGeometry(0).energyTotal, -4.75 * 13.605691930242388);
}

TEST_F(GeometryReading, TakesTheShareOfTheChargesOutOfThatSum) {
    read("1\n" + cubicCell() + atomLine("H", plainFields()), true);

    EXPECT_EQ(set.getGeometry(0).energyTotal, (-0.5 - 0.125) * 13.605691930242388);
}

TEST_F(GeometryReading, TakesAHeadThatIsNotCompleteForOneNumber) {
    for (const char* head : {"1 0", "1 0 x", "1.5 0 -3", "1 x -3"}) {
        read(head + ("\n" + cubicCell()) + atomLine("H", fieldsWith("-1.25", "0")));

        EXPECT_TRUE(set.getGeometry(0).hasAtomEnergy) << head;
        EXPECT_EQ(set.getGeometry(0).energyTotal, -1.25 * 13.605691930242388) << head;
    }
}

TEST_F(GeometryReading, ReadsTheFlag) {
    read(blockOf("0 -1", {"H"}) + blockOf("1 -1", {"H"}) + blockOf("-7 -1", {"H"}));

    EXPECT_FALSE(set.getGeometry(0).hasAtomEnergy);
    EXPECT_TRUE(set.getGeometry(1).hasAtomEnergy);
    EXPECT_TRUE(set.getGeometry(2).hasAtomEnergy);
}

TEST_F(GeometryReading, NumbersKindsByFirstAppearance) {
    read(blockOf("0 -1", {"O", "H", "O"}) + blockOf("0 -1", {"C", "H"}));

    EXPECT_EQ(set.numElems, 3);
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"O", "H", "C"}));
    EXPECT_EQ(set.elemAtomNumbers, (std::vector<std::int32_t>{8, 1, 6}));
    EXPECT_EQ(set.elemCounts, (std::vector<std::int32_t>{2, 2, 1}));
    EXPECT_EQ(set.getGeometry(1).elements, (std::vector<std::int32_t>{2, 1}));
}

TEST_F(GeometryReading, ReducesLabelsOnDemandOnly) {
    const std::string text = blockOf("0 -1", {"Fe1", "Fe2"});

    set.regularElem = true;
    read(text);
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"Fe"}));
    EXPECT_EQ(set.elemCounts, (std::vector<std::int32_t>{2}));
    EXPECT_EQ(stopOf(blockOf("0 -1", {"X1"})), "cannot resolve the atomic number of the element: X");
    EXPECT_EQ(stopOf(blockOf("0 -1", {"12"})), "cannot resolve the atomic number of the element: 12");

    set.regularElem = false;
    read(text);
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"Fe1", "Fe2"}));
    EXPECT_EQ(set.elemAtomNumbers, (std::vector<std::int32_t>{26, 26}));
    EXPECT_EQ(stopOf(blockOf("0 -1", {"X"})), "cannot resolve the atomic number of the element: X");
    EXPECT_EQ(stopOf(blockOf("0 -1", {"12"})), "cannot resolve the atomic number of the element: 12");
}

TEST_F(GeometryReading, ReplacesWhatWasReadBefore) {
    read(blockOf("0 -1", {"H"}) + blockOf("0 -1", {"H"}));

    read(blockOf("0 -1", {"O"}));

    EXPECT_EQ(set.numGeoms, 1);
    EXPECT_EQ(set.geometries.size(), 1U);
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"O"}));
}

TEST_F(GeometryReading, AcceptsManyLayoutsOfText) {
    const std::string block = blockOf("0 -1", {"H", "O"});
    std::string carriage;
    for (const char c : block) {
        carriage += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    const std::string spaces(100000, ' ');
    std::string wide = block;
    wide.insert(wide.find('\n'), spaces);
    wide.insert(wide.find("10 0 0"), spaces);
    auto moreFields = plainFields();
    moreFields.insert(moreFields.end(), {"1", "x"});

    const std::vector<std::pair<const char*, std::string>> texts = {
        {"plain", block},
        {"carriage returns", carriage},
        {"no last line end", block.substr(0, block.size() - 1)},
        {"an empty line", block + "\n"},
        {"an empty line and more", block + "\n" + block},
        {"a line of text", block + "the end\n" + block},
        {"very long lines", wide},
        {"tabs",
         "2\t0\t-1\n" + cubicCell() + atomLine("\tH\t", plainFields()) + atomLine("O", plainFields())},
        {"more fields", "2 0 -1 7 8\n" + cubicCell() + atomLine("H", moreFields) + atomLine("O", moreFields)},
    };
    for (const auto& [what, text] : texts) {
        SCOPED_TRACE(what);
        read(text);
        EXPECT_EQ(set.numGeoms, 1);
        EXPECT_EQ(set.numElems, 2);
        EXPECT_EQ(set.getGeometry(0).positions[2], 3.0f * 0.5291772f);
    }
}

TEST_F(GeometryReading, NeedsAFileWithAGeometry) {
    EXPECT_EQ(stopMessageOf([&] { set.readGeometrySet(directory.file("none"), false); }),
              "cannot open file: " + directory.file("none"));
    EXPECT_EQ(stopMessageOf([&] { set.readGeometrySet(directory.path().string(), false); }),
              "cannot open file: " + directory.path().string());
    for (const char* text : {"", "\n", "x\n", "\n1 0 -1\n", "# 8\n"}) {
        EXPECT_EQ(stopOf(text), "there are no geometries: FILE") << text;
    }
}

TEST_F(GeometryReading, StopsAtEveryMissingLine) {
    const std::string block = blockOf("0 -1", {"H", "O"});
    const std::string text = block + block;
    std::size_t end = 0;
    for (int numLines = 0; numLines <= 12; ++numLines) {
        const std::string expected = numLines == 0       ? "there are no geometries: FILE"
                                     : numLines % 6 == 0 ? "(no stop)"
                                                         : "too less lines: FILE";
        EXPECT_EQ(stopOf(text.substr(0, end)), expected) << numLines;
        end = text.find('\n', end) + 1;
    }
}

TEST_F(GeometryReading, BelievesNoHugeNumberOfAtoms) {
    EXPECT_EQ(stopOf("2000000000 0 -1\n" + cubicCell() + atomLine("H", plainFields())),
              "too less lines: FILE");
}

TEST_F(GeometryReading, RefusesHeads) {
    const std::string first = blockOf("0 -1", {"H"});

    EXPECT_EQ(stopOf("0 0 -1\n"), "#atoms of the 0 -th geometry is not positive: FILE");
    EXPECT_EQ(stopOf(first + "-1\n"), "#atoms of the 1 -th geometry is not positive: FILE");
    EXPECT_EQ(stopOf(first + "0 0 nan\n"), "#atoms of the 1 -th geometry is not positive: FILE");
    EXPECT_EQ(stopOf(first + "-2147483649\n"), "#atoms of the 1 -th geometry is not positive: FILE");
    for (const std::string numAtoms : {"2147483648", "99999999999", "99999999999999999999"}) {
        EXPECT_EQ(stopOf(first + numAtoms + " 0 -1\n" + first),
                  "too large #atoms of the 1 -th geometry: FILE");
    }
    EXPECT_EQ(stopOf("2147483647\n"), "too less lines: FILE");
    for (const char* total : {"nan", "inf", "-inf", "1e999", "1e308"}) {
        const std::string message = stopOf(first + blockOf(std::string("0 ") + total, {"H"}));

        EXPECT_EQ(message, "NaN at the total energy of the 1 -th geometry: FILE") << total;
    }
    EXPECT_EQ(stopOf(blockOf("0 1e300", {"H"})), "(no stop)");
    EXPECT_EQ(stopOf("2\n" + cubicCell() + atomLine("H", fieldsWith("1e307", "0")) +
                     atomLine("H", fieldsWith("1e307", "0"))),
              "NaN at the total energy of the 0 -th geometry: FILE");
}

TEST_F(GeometryReading, RefusesCells) {
    const std::string atom = atomLine("H", plainFields());
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            const auto textWith = [&](const std::string& entry) {
                std::string text = blockOf("0 -1", {"H"}) + "1 0 -1\n";
                for (int r = 0; r < 3; ++r) {
                    for (int c = 0; c < 3; ++c) {
                        text += (r == row && c == column ? entry : std::string(r == c ? "10" : "0")) + " ";
                    }
                    text += "\n";
                }
                return text + atom;
            };
            EXPECT_EQ(stopOf(textWith("1")), "(no stop)");
            EXPECT_EQ(stopOf(textWith("x")), "cannot read lattice of the 1 -th geometry: FILE");
            for (const char* entry : {"nan", "inf", "-inf", "1e39", "-1e999"}) {
                EXPECT_EQ(stopOf(textWith(entry)), "NaN at the lattice of the 1 -th geometry: FILE") << entry;
            }
        }
    }
    EXPECT_EQ(stopOf("1 0 -1\n10 0 0\n0 10\n0 0 10\n" + atom),
              "cannot read lattice of the 0 -th geometry: FILE");
    EXPECT_EQ(stopOf("1 0 -1\n10 0 0\n\n0 0 10\n" + atom), "cannot read lattice of the 0 -th geometry: FILE");
}

TEST_F(GeometryReading, RefusesAtoms) {
    const auto textWith = [](const std::vector<std::string>& fields) {
        return blockOf("0 -1", {"H"}) + "2 0 -1\n" + cubicCell() + atomLine("H", plainFields()) +
               atomLine("H", fields);
    };
    EXPECT_EQ(stopOf(textWith(plainFields())), "(no stop)");
    for (std::size_t i = 0; i < 12; ++i) {
        auto fields = plainFields();
        for (const char* number : {"nan", "-nan", "inf", "-inf", "1e999", "-1e999"}) {
            fields[i] = number;
            EXPECT_EQ(stopOf(textWith(fields)), "NaN at the 1 -th atom of the 1 -th geometry: FILE")
                << i << number;
        }
        fields[i] = "x";
        EXPECT_EQ(stopOf(textWith(fields)), "cannot read the 1 -th atom of the 1 -th geometry: FILE") << i;
        fields = plainFields();
        fields.resize(i);
        EXPECT_EQ(stopOf(textWith(fields)), "cannot read the 1 -th atom of the 1 -th geometry: FILE") << i;
    }
    EXPECT_EQ(stopOf("1 0 -1\n" + cubicCell() + "\n"),
              "cannot read the 0 -th atom of the 0 -th geometry: FILE");
}

TEST_F(GeometryReading, RefusesNumbersThatOnlyTheConversionMakesInfinite) {
    const std::string message = "NaN at the 0 -th atom of the 0 -th geometry: FILE";

    EXPECT_EQ(stopOf("1 0 -1\n" + cubicCell() + atomLine("H", fieldsWith("1e308", "0"))), message);
    EXPECT_EQ(stopOf("1 0 -1\n" + cubicCell() + atomLine("H", fieldsWith("0", "1e38"))), message);
    EXPECT_EQ(stopOf("1 0 -1\n" + cubicCell() + atomLine("H", fieldsWith("1e300", "1e37"))), "(no stop)");
}

TEST_F(GeometryReading, ChecksAnAtomBeforeItsElement) {
    auto fields = plainFields();
    fields[11] = "nan";

    EXPECT_EQ(stopOf("1 0 -1\n" + cubicCell() + atomLine("Xyz", fields)),
              "NaN at the 0 -th atom of the 0 -th geometry: FILE");
}

TEST_F(GeometryReading, ChecksAnElementBeforeTheNextAtom) {
    EXPECT_EQ(stopOf("2 0 -1\n" + cubicCell() + atomLine("Xyz", plainFields()) + "broken\n"),
              "cannot resolve the atomic number of the element: Xyz");
}

TEST_F(GeometryReading, RefusesLongLabelsOfNewKinds) {
    const std::string longest = "Fe_" + std::string(300, 'a');

    EXPECT_EQ(stopOf(blockOf("0 -1", {"Fe_45678"})), "(no stop)");
    EXPECT_EQ(stopOf(blockOf("0 -1", {"Fe_345678"})), "too long label of the element: Fe_345678");
    EXPECT_EQ(stopOf(blockOf("0 -1", {longest})), "too long label of the element: " + longest);
    EXPECT_EQ(stopOf(blockOf("0 -1", {std::string(300, 'a')})),
              "cannot resolve the atomic number of the element: " + std::string(300, 'a'));
    set.regularElem = true;
    read(blockOf("0 -1", {longest}));
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"Fe"}));
}

TEST_F(GeometryReading, Takes127KindsAndNoMore) {
    std::vector<std::string> labels;
    for (int i = 0; i < 127; ++i) {
        labels.push_back("Fe" + std::to_string(i));
    }
    read(blockOf("0 -1", labels));
    EXPECT_EQ(set.numElems, 127);

    labels.emplace_back("O");
    EXPECT_EQ(stopOf(blockOf("0 -1", labels)), "too much kinds of elements: FILE");
    labels.back() = "X";
    EXPECT_EQ(stopOf(blockOf("0 -1", labels)), "cannot resolve the atomic number of the element: X");
}

TEST_F(GeometryReading, UsesTheKindsOfATrainingSet) {
    GeometrySet training;
    writeTextFile(directory.file("train"), blockOf("0 -1", {"O", "H", "Cu"}));
    training.readGeometrySet(directory.file("train"), false);
    set.trainingSet = &training;

    read(blockOf("0 -1", {"Cu", "O", "O"}));
    EXPECT_EQ(set.elemNames, training.elemNames);
    EXPECT_EQ(set.elemAtomNumbers, training.elemAtomNumbers);
    EXPECT_EQ(set.elemCounts, (std::vector<std::int32_t>{2, 0, 1}));
    EXPECT_EQ(set.getGeometry(0).elements, (std::vector<std::int32_t>{2, 0, 0}));
    EXPECT_EQ(set.getGeometry(0).atomNumbers, (std::vector<std::int32_t>{29, 8, 8}));

    EXPECT_EQ(stopOf(blockOf("0 -1", {"O", "C"})), "incorrect kind of element: FILE");
    EXPECT_EQ(stopOf(blockOf("0 -1", {"O", "not an element"})),
              "cannot read the 1 -th atom of the 0 -th geometry: FILE");
    EXPECT_EQ(stopOf(blockOf("0 -1", {"O", std::string(300, 'X')})), "incorrect kind of element: FILE");
}

std::string blockWithForce(const std::string& label, const std::string& force) {
    return "2 0 -1\n" + cubicCell() + atomLine("H", fieldsWith("0", "0.01")) +
           atomLine(label, fieldsWith("0", force));
}

TEST_F(GeometryReading, RejectsGeometriesOfLargeForces) {
    set.maxForce = 10.0f;

    // In Ry/Bohr: 0.38890 is 9.999 eV/Angstrom, 0.38895 is 10.0003.
    read(blockWithForce("H", "0.38890") + blockWithForce("H", "-0.38895") + blockWithForce("O", "0.1"));

    EXPECT_EQ(set.numGeoms, 2);
    EXPECT_EQ(set.numRejected, 1);
    EXPECT_EQ(set.elemCounts, (std::vector<std::int32_t>{3, 1}));
    EXPECT_EQ(set.getGeometry(1).elements, (std::vector<std::int32_t>{0, 1}));
}

TEST_F(GeometryReading, KeepsAForceOfExactlyTheLimit) {
    const float force = 0.375f;
    set.maxForce = force * 25.711033f;
    read(blockWithForce("H", "0.375"));
    EXPECT_EQ(set.numRejected, 0);

    set.maxForce = std::nextafter(set.maxForce, 0.0f);
    read(blockWithForce("H", "0.1") + blockWithForce("H", "0.375"));
    EXPECT_EQ(set.numRejected, 1);
}

TEST_F(GeometryReading, MeasuresTheLengthOfTheFullForce) {
    const std::string block = "1 0 -1\n" + cubicCell() + "H 0 0 0 0 0.3 0.3 0.3 0 0 0.3 0.3 0.3\n";
    set.maxForce = 13.35f; // the length is 13.36, each component 7.7

    read(block + blockOf("0 -1", {"H"}), true);
    EXPECT_EQ(set.numRejected, 1);

    set.maxForce = 13.37f;
    read(block, true);
    EXPECT_EQ(set.numRejected, 0);
    EXPECT_EQ(set.getGeometry(0).forces, (std::vector<float>{0, 0, 0}));
}

TEST_F(GeometryReading, RejectsEvenAForceBeyondAllNumbers) {
    set.maxForce = 10.0f;

    read(blockWithForce("H", "1e38") + blockWithForce("H", "0.1"));

    EXPECT_EQ(set.numRejected, 1);
    EXPECT_EQ(set.numGeoms, 1);
}

TEST_F(GeometryReading, SwitchesTheFilterOff) {
    for (const float maxForce : {0.0f, -1.0f}) {
        set.maxForce = maxForce;
        read(blockWithForce("H", "1000"));
        EXPECT_EQ(set.numGeoms, 1);
        EXPECT_EQ(set.numRejected, 0);
    }
}

TEST_F(GeometryReading, StopsWhenTheFilterLeavesNothing) {
    set.maxForce = 10.0f;
    const std::string large = blockWithForce("O", "5");

    EXPECT_EQ(stopOf(large), "there are no geometries: FILE");
    EXPECT_EQ(stopOf(large + blockOf("0 -1", {"H"})), "there are no atoms of O: FILE");
    EXPECT_EQ(stopOf(large + blockOf("0 -1", {"H", "O"})), "(no stop)");
}

TEST_F(GeometryReading, CountsAcceptedGeometriesInMessages) {
    set.maxForce = 10.0f;

    EXPECT_EQ(stopOf(blockOf("0 -1", {"H"}) + blockWithForce("H", "5") + "0\n"),
              "#atoms of the 1 -th geometry is not positive: FILE");
}

TEST_F(GeometryReading, ReadsTheFirstGeometryAlone) {
    set.maxForce = 10.0f;
    write(blockWithForce("H", "5000") + "1 0 -1\nbroken\n");

    set.readFirstGeometry(name, false);

    EXPECT_EQ(set.numGeoms, 1);
    EXPECT_EQ(set.numRejected, 0);
    EXPECT_EQ(set.getGeometry(0).forces[3], 5000.0f * 25.711033f);
    write("");
    EXPECT_EQ(stopMessageOf([&] { set.readFirstGeometry(name, false); }), "there are no geometries: " + name);
}

// A splitting of the data that was killed.
TEST_F(GeometryReading, FinishesAReplacementFirst) {
    write(blockOf("0 -1", {"Si"}));
    {
        ReplacementJournal journal;
        constexpr auto step = ReplacementJournal::Step::replace;
        ASSERT_TRUE(journal.write(std::array{ReplacementJournal::describe(name, step),
                                             ReplacementJournal::describe(name + "2", step)}));
    }
    writeTextFile(name + ".new", blockOf("0 -1", {"Si"}) + blockOf("0 -2", {"Si"}));

    set.readGeometrySet(name, false);

    EXPECT_EQ(set.numGeoms, 2);
}

TEST_F(GeometryReading, LeavesTheSetAloneWhenItStops) {
    read(blockOf("0 -1", {"H"}));

    (void)stopMessageOf([&] { read(blockOf("0 -1", {"O"}) + "1\n"); });

    EXPECT_EQ(set.numGeoms, 1);
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"H"}));
}

TEST_F(GeometryReading, SurvivesAnyBytes) {
    std::mt19937 random(2);
    const std::string sound = blockOf("0 -1", {"H", "O"}) + blockOf("1 -2", {"Fe"}) + blockOf("0 -3", {"O"});
    int numStops = 0;
    for (int trial = 0; trial < 400; ++trial) {
        std::string text = sound;
        if (trial % 4 == 0) {
            text.resize(random() % 3000);
            for (char& c : text) {
                c = static_cast<char>(random());
            }
        } else {
            for (int change = 0; change < 4; ++change) {
                text[random() % text.size()] =
                    static_cast<char>(trial % 2 == 0 ? random() : "0123456789-.en \n"[random() % 16]);
            }
        }

        const std::string message = stopOf(text);

        numStops += message == "(no stop)" ? 0 : 1;
        EXPECT_FALSE(message.empty());
    }
    EXPECT_GT(numStops, 100);
    EXPECT_EQ(stopOf("1 0 " + std::string(1U << 21U, '1')), "too long line: FILE");
}

} // namespace
} // namespace melta
