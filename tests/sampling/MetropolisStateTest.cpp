#include "sampling/MetropolisState.hpp"

#include "sampling/TextFixture.hpp"
#include "structure/GeometrySet.hpp"
#include "structure/Units.hpp"
#include "support/FileSizeLimit.hpp"

#include <filesystem>
#include <vector>

namespace fs = std::filesystem;

namespace melta::test {
namespace {

constexpr const char* stateName = ".metropolis.geom";

class MetropolisStateTest : public TextFixture {
protected:
    // A product with the reciprocal of the unit would differ from the quotient in the first atom's numbers.
    MetropolisStateTest() {
        card.lattice = {4, 0, 0.5f, 0, 5, 0, -0.25f, 0, 6};
        card.elemNames = {"Si1", "O"};
        card.elemAtoms = {1, 0};
        card.positions = {7, 7.1f, 1.3f, -0.1f, 0, 7.25f};
        card.fixAtoms = {0, 1};
        card.vacancyCoords = {3, 3, 3};
    }

    GeometryCard card;
    std::vector<std::string> networkNames = {"Si", "O"};
};

TEST_F(MetropolisStateTest, Text) {
    writeMetropolisState(stateName, card, networkNames);

    EXPECT_EQ(readTextFile(stateName),
              "2 0 0.00000000e+00\n"
              "7.55890465e+00 0.00000000e+00 9.44863081e-01\n"
              "0.00000000e+00 9.44863129e+00 0.00000000e+00\n"
              "-4.72431540e-01 0.00000000e+00 1.13383570e+01\n"
              "O 1.32280836e+01 1.34170561e+01 2.45664406e+00 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0\n"
              "Si -1.88972622e-01 0.00000000e+00 1.37005148e+01 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0\n");
}

TEST_F(MetropolisStateTest, IsADataFile) {
    writeMetropolisState(stateName, card, networkNames);

    GeometrySet set;
    set.readFirstGeometry(stateName, false);
    const Geometry& geometry = set.getGeometry(0);

    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"O", "Si"}));
    EXPECT_FALSE(geometry.hasAtomEnergy);
    EXPECT_EQ(geometry.energyTotal, 0.0);
    ASSERT_EQ(geometry.positions.size(), card.positions.size());
    for (std::size_t i = 0; i < card.positions.size(); ++i) {
        EXPECT_EQ(geometry.positions[i], card.positions[i] / units::bohr * units::bohr) << i;
    }
    for (std::size_t i = 0; i < card.lattice.size(); ++i) {
        EXPECT_EQ(geometry.lattice[i], card.lattice[i] / units::bohr * units::bohr) << i;
    }
}

TEST_F(MetropolisStateTest, ReplacesAnOlderFile) {
    writeTextFile(stateName, std::string(10000, 'x'));

    writeMetropolisState(stateName, card, networkNames);

    EXPECT_TRUE(readTextFile(stateName).starts_with("2 0 0.00000000e+00\n"));
    EXPECT_LT(fs::file_size(stateName), 1000U);
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 1);
}

TEST_F(MetropolisStateTest, FullDiskLeavesNoHalfFile) {
    const auto messageOf = [this] {
        const FileSizeLimit limit(100);
        return stopMessageOf([this] { writeMetropolisState(stateName, card, networkNames); });
    };

    EXPECT_EQ(messageOf(), "cannot write file: .metropolis.geom");
    EXPECT_TRUE(fs::is_empty("."));

    writeTextFile(stateName, "older\n");
    EXPECT_EQ(messageOf(), "cannot write file: .metropolis.geom");
    EXPECT_EQ(readTextFile(stateName), "older\n");
}

TEST_F(MetropolisStateTest, UnwritableFile) {
    fs::create_directory(stateName);

    EXPECT_EQ(stopMessageOf([this] { writeMetropolisState(stateName, card, networkNames); }),
              "cannot open file: .metropolis.geom");
}

} // namespace
} // namespace melta::test
