#include "config/ConfigurationLoader.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace melta {
namespace {

class ConfigurationLoaderTest : public testing::Test {
protected:
    Property load(const std::string& propertyFile, bool chargeMode = false) {
        Property property;
        output = test::outputOf([&] { property = loadConfiguration(propertyFile, chargeMode); });
        return property;
    }

    test::TemporaryDirectory directory;
    test::WorkingDirectory inside{directory.path()};
    std::string output;
};

const char* const chebyshevHead = "3 0 0 0\n"
                                  "12 7 5.50000000e+00 4.50000000e+00\n"
                                  "0\n"
                                  "3 20 2 4\n";

TEST_F(ConfigurationLoaderTest, MissingFilesLeaveTheDefaultsAndATemplate) {
    const Property property = load("melta.prop");

    EXPECT_EQ(property.numRadius, 50);
    EXPECT_EQ(property.nodesEnergy, 40);
    EXPECT_TRUE(std::filesystem::exists("melta.prop"));
}

TEST_F(ConfigurationLoaderTest, AMissingFileOfAnotherNameIsTold) {
    load("melta.prop");
    EXPECT_EQ(output.find("WARNING"), std::string::npos);
    const std::string banner = output;

    load("mleta.prop");
    EXPECT_EQ(output, banner +
                          "  * WARNING: the properties file was missing, so that it was written with the "
                          "defaults: mleta.prop\n\n");

    load("mleta.prop");
    EXPECT_EQ(output, banner);
}

TEST_F(ConfigurationLoaderTest, KeysOverrideTheNetworkFileWhichOverridesTheDefaults) {
    test::writeTextFile("melta.data", chebyshevHead);
    test::writeTextFile("melta.prop", "nodes 33\n");

    const Property property = load("melta.prop");

    EXPECT_EQ(property.numRadius, 12);
    EXPECT_EQ(property.nodesEnergy, 33);
    EXPECT_EQ(property.lbfgs, 32);
}

TEST_F(ConfigurationLoaderTest, MissingPropertiesTakeWhatTheNetworkFileSays) {
    test::writeTextFile("melta.data", chebyshevHead);

    load("melta.prop");

    EXPECT_NE(test::readTextFile("melta.prop").find("numRadius      12\n"), std::string::npos);
}

TEST_F(ConfigurationLoaderTest, BrokenNetworkFileIsNoFailure) {
    test::writeTextFile("melta.data", "3 0 0\nbroken\n");

    EXPECT_EQ(load("melta.prop").elemWeight, 0);
}

TEST_F(ConfigurationLoaderTest, PropertiesMayHaveAnotherName) {
    test::writeTextFile("melta.prop", "nodes 33\n");
    test::writeTextFile("other.prop", "nodes 44\n");

    EXPECT_EQ(load("other.prop").nodesEnergy, 44);
}

TEST_F(ConfigurationLoaderTest, ChargeModeReachesTheKeys) {
    constexpr bool chargeMode = true;
    test::writeTextFile("melta.prop", "withCharge 1\nnodes 33\n");

    const Property property = load("melta.prop", chargeMode);

    EXPECT_EQ(property.nodesCharge, 33);
    EXPECT_EQ(property.nodesEnergy, 40);
}

TEST_F(ConfigurationLoaderTest, TheClassicalFitCannotLeaveLbfgs) {
    test::writeTextFile("melta.data", chebyshevHead);
    test::writeTextFile("melta.prop", "lbfgs 0\nnodes 33\n");
    Property property;

    (void)test::outputOf([&] { property = loadClassicalConfiguration("melta.prop"); });

    EXPECT_EQ(property.lbfgs, 32);
    EXPECT_EQ(property.lineSearch, LineSearch::wolfe);
    EXPECT_EQ(property.numRadius, 12);
    EXPECT_EQ(property.nodesEnergy, 33);
}

TEST_F(ConfigurationLoaderTest, TrainingBannerIsPrintedOnce) {
    test::writeTextFile("melta.data", chebyshevHead);

    load("melta.prop");

    const std::string title = "  This is Training Mode.\n";
    const std::size_t first = output.find(title);
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(output.find(title, first + 1), std::string::npos);
    EXPECT_EQ(output.find("  This is Testing Mode.\n"), std::string::npos);
}

TEST_F(ConfigurationLoaderTest, OnlyReaxFFChangesTheBaselineFile) {
    Property property;
    EXPECT_EQ(baselineFileOf(property), "melta.class");

    property.withClassical = 1;
    EXPECT_EQ(baselineFileOf(property), "melta.class");

    property.withReaxFF = 1;
    EXPECT_EQ(baselineFileOf(property), "ffield.reax");
}

} // namespace
} // namespace melta
