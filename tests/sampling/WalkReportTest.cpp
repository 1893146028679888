#include "sampling/WalkReport.hpp"

#include "sampling/WalkFixture.hpp"

#include <limits>

namespace melta::test {
namespace {

TEST(WalkReport, EnergiesTakeSevenColumns) {
    EXPECT_EQ(formatEnergy(0.0f), "  0.000");
    EXPECT_EQ(formatEnergy(-0.0f), " -0.000");
    EXPECT_EQ(formatEnergy(1.2344f), "  1.234");
    EXPECT_EQ(formatEnergy(-99.999f), "-99.999");
    EXPECT_EQ(formatEnergy(123.456f), " 123.46");
    EXPECT_EQ(formatEnergy(-1234.56f), "-1234.6");
    EXPECT_EQ(formatEnergy(12345.6f), "  12346");
    EXPECT_EQ(formatEnergy(-123456.0f), "-123456");
    EXPECT_EQ(formatEnergy(1.6e6f), "  2e+06");
    EXPECT_EQ(formatEnergy(-1.6e6f), " -2e+06");
    EXPECT_EQ(formatEnergy(-3.0e38f), " -3e+38");
    EXPECT_EQ(formatEnergy(std::numeric_limits<float>::infinity()), "    inf");
    EXPECT_EQ(formatEnergy(std::numeric_limits<float>::quiet_NaN()), "    nan");
}

// The limits belong to the next form, where the number before still fits.
TEST(WalkReport, LimitsOfTheForms) {
    const auto formsAt = [](float limit) {
        const float below = std::nextafter(limit, 0.0f);
        return std::vector<std::string>{formatEnergy(below), formatEnergy(limit), formatEnergy(-below)};
    };

    EXPECT_EQ(formsAt(99.9995f), (std::vector<std::string>{" 99.999", " 100.00", "-99.999"}));
    EXPECT_EQ(formsAt(999.995f), (std::vector<std::string>{" 999.99", " 1000.0", "-999.99"}));
    EXPECT_EQ(formsAt(9999.95f), (std::vector<std::string>{" 9999.9", "  10000", "-9999.9"}));
    EXPECT_EQ(formsAt(999999.5f), (std::vector<std::string>{" 999999", "  1e+06", "-999999"}));
}

TEST(WalkReport, Title) {
    EXPECT_EQ(outputOf([] { printWalkTitle(1); }), "  Monte Carlo:\n\n");
    EXPECT_EQ(outputOf([] { printWalkTitle(2); }), "  Monte Carlo (with 2 Replicas):\n\n");
}

TEST(WalkReport, Steps) {
    const WalkStep shift{.index = 0,
                         .moveType = MetropolisMoves::shift,
                         .energy = -1.25f,
                         .deltaE = 0.5f,
                         .prob = 0.0625f,
                         .accept = false,
                         .unknown = true,
                         .output = false};
    WalkStep swap = shift;
    swap.index = 12345669;
    swap.moveType = 11;
    swap.prob = 1.0f;
    swap.accept = true;
    swap.unknown = false;

    EXPECT_EQ(
        outputOf([&] { printWalkStep(shift, 0, 1000); }),
        "  #.       1  Energy: -1.250eV  deltaE:  0.500eV  Prob: 0.062  Swap: 0  Accept:  No  Unknown: Yes"
        "  #GEOM:     0 /  1000\n");
    EXPECT_EQ(
        outputOf([&] { printWalkStep(swap, 123456, 654321); }),
        "  #.12345670  Energy: -1.250eV  deltaE:  0.500eV  Prob: 1.000  Swap:12  Accept: Yes  Unknown:  No"
        "  #GEOM:123456 /654321\n");
}

TEST(WalkReport, Counts) {
    MetropolisInput input;
    const std::vector<std::int32_t> accepted{0, 12, 345678};
    const std::vector<std::int32_t> total{0, 100, 400000};
    EXPECT_EQ(
        outputOf([&] { printWalkCounts(input, std::span(accepted).first(1), std::span(total).first(1)); }),
        "\n  Accepted / Total Geometries:\n    Atomic Shift         =>     0 /     0\n\n");

    addPair(input, "Si", "X");
    addPair(input, "Oxygen12", "Si");
    EXPECT_EQ(outputOf([&] { printWalkCounts(input, accepted, total); }),
              "\n  Accepted / Total Geometries:\n"
              "    Atomic Shift         =>     0 /     0\n"
              "    Si    <-->    X      =>    12 /   100\n"
              "    Oxygen12<-->    Si     =>345678 /400000\n\n");
}

} // namespace
} // namespace melta::test
