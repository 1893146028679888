// The reading and conditioning of real data sets, where they are at hand.

#include "structure/GeometrySetLoader.hpp"

#include "config/Property.hpp"
#include "structure/LiteralNeighborSearch.hpp"
#include "support/StopCatcher.hpp"

#include <algorithm>
#include <filesystem>

namespace melta {
namespace {

struct DataSet {
    const char* folder;
    const char* file;
    int numGeoms;
    int numAtoms;
    std::vector<std::string> elements;
    std::vector<std::int32_t> counts;
    float largestForce;    // eV/Angstrom
    double lowestPerAtom;  // total energy, eV
    double highestPerAtom; // total energy, eV
    int smallest;          // atoms in a geometry
    int largest;           // atoms in a geometry
};

const std::vector<DataSet> dataSets = {
    {"Si", "melta.train", 214, 13233, {"Si"}, {13233}, 12.321f, -5.4253, -4.5666, 12, 96},
    {"Si", "melta.test", 25, 1525, {"Si"}, {1525}, 9.662f, -5.3884, -4.5604, 24, 64},
    {"Li", "melta.train", 241, 11576, {"Li"}, {11576}, 1.705f, -1.8990, -1.7058, 2, 84},
    {"Li", "melta.test", 29, 1320, {"Li"}, {1320}, 1.426f, -1.8989, -1.7310, 2, 54},
    {"CarbonChain", "melta.train", 103, 1289, {"C", "H"}, {1030, 259}, 5.839f, -865.3818, -799.4606, 12, 13},
    {"CarbonChain", "melta.test", 25, 309, {"C", "H"}, {250, 59}, 4.338f, -865.3643, -799.4813, 12, 13},
    {"Water", "melta.test", 80, 15360, {"O", "H"}, {5120, 10240}, 6.494f, -155.9650, -155.9489, 192, 192},
};

std::filesystem::path sharedFile(const char* folder, const char* file) {
    return std::filesystem::path(MELTA_SHARED_DATA) / folder / file;
}

class SharedData : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(sharedFile("Si", "melta.train"))) {
            GTEST_SKIP() << "no data sets at " << MELTA_SHARED_DATA;
        }
    }
};

TEST_F(SharedData, HasTheKnownSizesAndRanges) {
    for (const DataSet& data : dataSets) {
        SCOPED_TRACE(std::string(data.folder) + " " + data.file);
        GeometrySet set;

        set.readGeometrySet(sharedFile(data.folder, data.file).string(), false);

        EXPECT_EQ(set.numGeoms, data.numGeoms);
        EXPECT_EQ(set.numRejected, 0);
        EXPECT_EQ(set.elemNames, data.elements);
        EXPECT_EQ(set.elemCounts, data.counts);
        int numAtoms = 0;
        int smallest = 1 << 30;
        int largest = 0;
        double lowest = 1.0e8;
        double highest = -1.0e8;
        for (const auto& geometry : set.geometries) {
            EXPECT_FALSE(geometry->hasAtomEnergy);
            numAtoms += geometry->numAtoms;
            smallest = std::min(smallest, geometry->numAtoms);
            largest = std::max(largest, geometry->numAtoms);
            lowest = std::min(lowest, geometry->energyTotal / geometry->numAtoms);
            highest = std::max(highest, geometry->energyTotal / geometry->numAtoms);
        }
        EXPECT_EQ(numAtoms, data.numAtoms);
        EXPECT_EQ(smallest, data.smallest);
        EXPECT_EQ(largest, data.largest);
        EXPECT_LE(std::abs(lowest - data.lowestPerAtom), 5.1e-5);
        EXPECT_LE(std::abs(highest - data.highestPerAtom), 5.1e-5);
    }
}

TEST_F(SharedData, IsConditionedWithTheKnownForceRanges) {
    Property property;
    property.maxForce = 0.0f;
    for (const DataSet& data : dataSets) {
        SCOPED_TRACE(std::string(data.folder) + " " + data.file);

        std::unique_ptr<GeometrySet> set;
        const std::string text = test::outputOf(
            [&] { set = loadGeometrySet(sharedFile(data.folder, data.file).string(), property, {}); });

        const float largest = *std::max_element(set->forceMax.begin(), set->forceMax.end());
        EXPECT_LE(std::abs(largest - data.largestForce), 5.1e-4f);
        EXPECT_NE(text.find("Presumed Atomic Energy"), std::string::npos);
        EXPECT_EQ(text.find("WARNING"), std::string::npos) << text;
        double sum = 0.0;
        double numAtoms = 0.0;
        for (const auto& geometry : set->geometries) {
            sum += geometry->energyTotal;
            numAtoms += geometry->numAtoms;
        }
        // What a least-squares fit leaves averages to nearly nothing.
        EXPECT_LE(std::abs(sum / numAtoms), 0.05);
    }
}

TEST_F(SharedData, LosesTheOneGeometryOfLargeForces) {
    GeometrySet set;
    set.maxForce = 10.0f;

    set.readGeometrySet(sharedFile("Si", "melta.train").string(), false);

    EXPECT_EQ(set.numGeoms, 213);
    EXPECT_EQ(set.numRejected, 1);
}

TEST_F(SharedData, HasListsInTheOrderOfThePlainSearch) {
    for (const char* folder : {"Si", "Li"}) {
        GeometrySet set;
        set.readGeometrySet(sharedFile(folder, "melta.test").string(), false);
        for (const auto& geometry : set.geometries) {

            geometry->haveSetAtoms(6.0f, false);

            const auto expected = test::searchLiterally(*geometry, 6.0f);
            for (int i = 0; i < geometry->numAtoms; ++i) {
                const auto list = geometry->getNeighbors(i);
                ASSERT_EQ(test::NeighborList(list.begin(), list.end()),
                          expected[static_cast<std::size_t>(i)]);
                EXPECT_GT(list.size(), 10U);
            }
        }
    }
}

} // namespace
} // namespace melta
