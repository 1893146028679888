#include "baseline/classical/ClassicalFile.hpp"

#include "baseline/classical/ClassicalTwin.hpp"
#include "support/FileSizeLimit.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

namespace melta {
namespace {

using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

class ClassicalFile : public testing::Test {
protected:
    ClassicalFile() { test::addElements(set, 2); }

    std::string stopOf(const std::string& text) {
        writeTextFile(name, text);
        return stopMessageOf([this] {
            LineReader file(name);
            readClassicalFile(file, name, set, parameters);
        });
    }

    test::TemporaryDirectory directory;
    std::string name = directory.file("melta.class");
    GeometrySet set;
    ClassicalParameters parameters{2};
};

const std::string head = "2\nAa 1.5\nBb -2\n";

TEST_F(ClassicalFile, IsWrittenByRows) {
    parameters.coefA = {1.0f, 2.0f, 3.0f};
    parameters.coefB = {0.1f, 0.2f, 0.3f};
    parameters.coefC = {-1.0f, -2.0f, -3.0f};
    parameters.coefD = {1.0e-4f, 2.0e-4f, 3.0e5f};
    parameters.elemEnergy = {1.5f, -0.25f};

    writeClassicalFile(name, set, parameters);

    EXPECT_EQ(readTextFile(name), "2\n"
                                  "Aa 1.50000000e+00\n"
                                  "Bb -2.50000000e-01\n"
                                  "Aa Aa 1.00000000e+00 1.00000001e-01 -1.00000000e+00 9.99999975e-05\n"
                                  "Aa Bb 2.00000000e+00 2.00000003e-01 -2.00000000e+00 1.99999995e-04\n"
                                  "Bb Bb 3.00000000e+00 3.00000012e-01 -3.00000000e+00 3.00000000e+05\n");
}

TEST_F(ClassicalFile, ComesBackAsItWas) {
    std::mt19937 random(1);
    set.numElems = 3;
    set.elemNames = {"Aa", "Bb", "Cc"};
    const ClassicalParameters written = test::randomParameters(random, 3);
    writeClassicalFile(name, set, written);
    parameters = ClassicalParameters(3);

    LineReader file(name);
    readClassicalFile(file, name, set, parameters);

    EXPECT_EQ(parameters.coefA, written.coefA);
    EXPECT_EQ(parameters.coefB, written.coefB);
    EXPECT_EQ(parameters.coefC, written.coefC);
    EXPECT_EQ(parameters.coefD, written.coefD);
    EXPECT_EQ(parameters.elemEnergy, written.elemEnergy);
}

TEST_F(ClassicalFile, ServesARunWithOtherElements) {
    EXPECT_EQ(stopOf("3\nBb -2\nXx 7\nAa 1.5\n"
                     "Bb Aa 2 3 4 5\nXx Aa 1 1 1 1\nYy Yy 1 1 1 1\nBb Bb 6 7 8 9 rest\n"),
              "(no stop)");

    EXPECT_EQ(parameters.elemEnergy, (std::vector<float>{1.5f, -2.0f}));
    EXPECT_EQ(parameters.coefA, (std::vector<float>{0, 2, 6}));
    EXPECT_EQ(parameters.coefB, (std::vector<float>{0, 3, 7}));
    EXPECT_EQ(parameters.coefC, (std::vector<float>{0, 4, 8}));
    EXPECT_EQ(parameters.coefD, (std::vector<float>{0, 5, 9}));
}

TEST_F(ClassicalFile, NeverHasAnAOfZero) {
    EXPECT_EQ(stopOf(head + "Aa Aa 0 0 0 -1\nAa Bb -5 0 0 0\nBb Bb 0.0002 0 0 0\n"), "(no stop)");

    EXPECT_EQ(parameters.coefA, (std::vector<float>{1.0e-4f, 1.0e-4f, 2.0e-4f}));
}

TEST_F(ClassicalFile, KeepsWhatItDoesNotMention) {
    parameters.reset(10000.0f);

    EXPECT_EQ(stopOf("1\nBb -2\nBb Bb 6 7 8 9\n"), "(no stop)");

    EXPECT_EQ(parameters.coefA, (std::vector<float>{10000.0f, 10000.0f, 6.0f}));
}

TEST_F(ClassicalFile, StopsAtWhatItCannotRead) {
    EXPECT_EQ(stopOf(""), "cannot read #elements.");
    EXPECT_EQ(stopOf("x 1\n"), "incorrect #elements: " + name);
    EXPECT_EQ(stopOf("0\n"), "incorrect #elements: " + name);
    EXPECT_EQ(stopOf("2\nAa 1\n"), "cannot read element's data.");
    EXPECT_EQ(stopOf("2000000000\nAa 1\n"), "cannot read element's data.");
    EXPECT_EQ(stopOf("2\nAa\nBb 1\n"), "cannot read an element: " + name);
    EXPECT_EQ(stopOf("2\nAa one\nBb 1\n"), "cannot read an element: " + name);
    EXPECT_EQ(stopOf("2\nAa nan\nBb 1\n"), "cannot read an element: " + name);
    EXPECT_EQ(stopOf(head + "Aa Aa 1 2 3\n"), "cannot read a pair of elements: " + name);
    EXPECT_EQ(stopOf(head + "Xx Aa 1 2 3\n"), "cannot read a pair of elements: " + name);
    EXPECT_EQ(stopOf(head + "Aa Aa 1 2 inf 3\n"), "cannot read a pair of elements: " + name);
    EXPECT_EQ(stopOf(head + "\n"), "cannot read a pair of elements: " + name);
    EXPECT_EQ(stopOf(head), "(no stop)");
}

TEST_F(ClassicalFile, ChecksTheSetBehindTheNumberOfElements) {
    set.numElems = 0;

    EXPECT_EQ(stopOf("x\n"), "incorrect #elements: " + name);
    EXPECT_EQ(stopOf("2\n"), "now, you have no elements.");
}

TEST_F(ClassicalFile, StopsAtAnElementOutsideTheSet) {
    const ClassicalParameters tooMany(3);

    EXPECT_EQ(stopMessageOf([&] { writeClassicalFile(name, set, tooMany); }),
              "index of element is out of range.");
    EXPECT_EQ(stopMessageOf([&] { writeClassicalCsv(name, set, tooMany, PairCutoff(5.0f)); }),
              "index of element is out of range.");
    set.numElems = 3;
    EXPECT_EQ(stopOf("1\nZz 0\n"), "index of element is out of range.");
}

TEST_F(ClassicalFile, IsReplacedAsAWhole) {
    writeTextFile(name, "old");
    {
        const test::FileSizeLimit limit(40);
        EXPECT_EQ(stopMessageOf([&] { writeClassicalFile(name, set, parameters); }),
                  "cannot write file: " + name);
    }
    EXPECT_EQ(readTextFile(name), "old");
    const std::string nowhere = directory.file("missing/melta.class");
    EXPECT_EQ(stopMessageOf([&] { writeClassicalFile(nowhere, set, parameters); }),
              "cannot open file: " + nowhere);
    EXPECT_EQ(stopMessageOf([&] { writeClassicalCsv(nowhere, set, parameters, PairCutoff(5.0f)); }),
              "cannot open file: " + nowhere);
}

TEST_F(ClassicalFile, HasATableOfTheEnergies) {
    parameters.coefA = {1.0f, 0.0f, 3.0f};
    parameters.coefD = {-1.0f, 2.0f, -3.0f};

    writeClassicalCsv(name, set, parameters, PairCutoff(5.0f));

    const std::string text = readTextFile(name);
    EXPECT_EQ(text.substr(0, text.find('\n')), "R/Angstrom, Aa-Aa, Aa-Bb, Bb-Bb");
    std::size_t line = text.find('\n') + 1;
    for (int k = 1; k <= 1000; ++k) {
        const float r = static_cast<float>(k) * 0.01f;
        const auto distance = static_cast<double>(r);
        double shown[4] = {};
        int length = 0;
        ASSERT_EQ(std::sscanf(text.c_str() + line, "%lf, %lf, %lf, %lf%n", &shown[0], &shown[1], &shown[2],
                              &shown[3], &length),
                  4);
        std::string expected;
        for (const double value : shown) {
            char field[32];
            std::snprintf(field, sizeof field, "%s%.8e", expected.empty() ? "" : ", ", value);
            expected += field;
        }
        EXPECT_EQ(text.substr(line, static_cast<std::size_t>(length) + 1), expected + "\n");
        const double f12 = k < 500 ? test::baseValue(12.0, distance, 5.0) : 0.0;
        const double f6 = k < 500 ? test::baseValue(6.0, distance, 5.0) : 0.0;
        const double size = 4.0e-7 * (std::pow(distance, -12.0) + std::pow(distance, -6.0));
        EXPECT_LE(std::fabs(shown[0] - distance), 1.0e-8 * distance);
        EXPECT_LE(std::fabs(shown[1] - (f12 - f6)), size) << k;
        EXPECT_LE(std::fabs(shown[2] - 2.0 * f6), 2.0 * size) << k;
        EXPECT_LE(std::fabs(shown[3] - 3.0 * (f12 - f6)), 3.0 * size) << k;
        line += static_cast<std::size_t>(length) + 1;
    }
    EXPECT_EQ(line, text.size());
    EXPECT_NE(text.find("\n5.00000000e+00, 0.00000000e+00, 0.00000000e+00, 0.00000000e+00\n"),
              std::string::npos);
}

} // namespace
} // namespace melta
