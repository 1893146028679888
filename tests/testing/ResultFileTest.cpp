#include "testing/ResultFile.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <filesystem>

namespace melta {
namespace {

using test::readTextFile;
using test::stopMessageOf;

TEST(ResultFile, WritesAHeadAndALineForEachPair) {
    const test::TemporaryDirectory directory;
    const std::string name = directory.file("table");
    test::writeTextFile(name, "what an earlier run has left behind\n");

    ResultFile file(name, "Etot");
    file.write(-1.0 / 3.0, 1.0e-300);
    file.write(0.0, 123456789.5);
    file.close();

    EXPECT_EQ(readTextFile(name), "Etot(DFT)  Etot(NNP)\n"
                                  "-3.33333333e-01 1.00000000e-300\n"
                                  "0.00000000e+00 1.23456790e+08\n");
}

TEST(ResultFile, StopsWhenTheFileCannotBeOpened) {
    const test::TemporaryDirectory directory;
    const std::string missing = directory.file("nowhere/table");

    EXPECT_EQ(stopMessageOf([&] { ResultFile(missing, "Etot"); }), "cannot open file: " + missing);
    EXPECT_EQ(stopMessageOf([&] { ResultFile(directory.path().string(), "Etot"); }),
              "cannot open file: " + directory.path().string());
}

TEST(ResultFile, StopsWhenTheMediumIsFull) {
    const std::string name = "/dev/full";
    if (!std::filesystem::is_character_file(name)) {
        GTEST_SKIP() << "there is no full device";
    }

    EXPECT_EQ(stopMessageOf([&] { ResultFile(name, "Etot").close(); }), "cannot write file: " + name);
}

} // namespace
} // namespace melta
