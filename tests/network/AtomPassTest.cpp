#include "network/AtomPass.hpp"

#include "network/ArchFixture.hpp"
#include "network/ToySymmFunc.hpp"
#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace melta::test {
namespace {

constexpr std::array<int, 2> someSizes{9, 4};

// A pass over atoms of the first geometry of a fixture, by an arrangement whose distributions hold nothing
// but the fixture's geometries.
class AtomPassTest : public testing::Test {
protected:
    AtomPassTest() {
        outputOf([this] {
            arch->statisticsSymmFuncs(&fixture.set);
            arch->writeSymmDistributions(directory.file("dist"), &fixture.set);
        });
    }

    void evaluateAtoms(std::span<const int> atoms) {
        energies.assign(atoms.size(), -1.0f);
        outside.assign(atoms.size(), 2);
        arch->evaluateAtoms(geometry, atoms, 1, energies, outside);
    }

    std::string stopOf(NNArch& other, int maxDist) {
        const int atoms[] = {0};
        energies.resize(1);
        outside.resize(1);
        return stopMessageOf([&] { other.evaluateAtoms(geometry, atoms, maxDist, energies, outside); });
    }

    const TemporaryDirectory directory;
    const ArchFixture fixture = ArchFixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::onlyEnergy, false);
    Geometry& geometry = fixture.set.obtainGeometry(0);
    std::vector<float> energies;
    std::vector<std::uint8_t> outside;
};

TEST_F(AtomPassTest, EnergiesAreThoseOfTheWholeGeometry) {
    const std::vector<float> expected = evaluate(*arch, geometry).energies;
    std::vector<int> atoms{0, 1, 2, 3, 4, 5, 6, 7, 8};
    std::mt19937 random(4);
    for (const int count : {1, 2, 5, 20}) {
        const ThreadCount threads(count);
        for (std::size_t size = 0; size <= atoms.size(); ++size) {
            std::ranges::shuffle(atoms, random);

            evaluateAtoms(std::span(atoms).first(size));

            for (std::size_t k = 0; k < size; ++k) {
                EXPECT_EQ(energies[k], expected[static_cast<std::size_t>(atoms[k])]) << count << " threads";
            }
        }
    }
    EXPECT_NE(expected[0], expected[1]) << "proves nothing";
}

TEST_F(AtomPassTest, EachAtomIsInsideOrOutsideByItself) {
    const std::vector<int> atoms{8, 0, 3};
    evaluateAtoms(atoms);
    EXPECT_EQ(outside, (std::vector<std::uint8_t>{0, 0, 0}));

    // All neighbours of one of them twice, which the lists of the others do not know.
    std::vector<Neighbor> doubled;
    for (int copy = 0; copy < 2; ++copy) {
        const auto list = geometry.obtainNeighbors(3);
        doubled.insert(doubled.end(), list.begin(), list.end());
    }
    geometry.replaceNeighbors(3, doubled);
    evaluateAtoms(atoms);

    EXPECT_EQ(outside, (std::vector<std::uint8_t>{0, 0, 1}));
}

TEST_F(AtomPassTest, Stops) {
    const auto charges = fixture.makeArch(NNArch::onlyCharge, false);
    const auto unprepared = fixture.makeArch(NNArch::onlyEnergy, false);

    EXPECT_EQ(stopOf(*charges, 1), "this is not energy-mode.");
    EXPECT_EQ(stopOf(*unprepared, 1), "symmDev have not been prepared.");
    EXPECT_EQ(stopOf(*arch, 0), "maxDist is not positive.");
}

TEST_F(AtomPassTest, StopsAtValuesThatAreNotFinite) {
    constexpr int numBasis = 2;
    const ToySymmFunc symmFunc(2, numBasis, ArchFixture::rcut);
    const SymmStatistics statistics{{0.0f, 0.0f}, {1.0f, 1.0f}};
    const SymmFuncDistribution distribution(2, statistics.symmAve, statistics.symmDev, &symmFunc);
    const NNShape shape{1, 1, 3, 1};
    std::vector<NNEnsemble> ensembles;
    ensembles.emplace_back(shape, numBasis, false, false);
    ensembles.emplace_back(shape, numBasis, false, false);
    std::ranges::fill(geometry.positions, std::numeric_limits<float>::quiet_NaN());
    const int atoms[] = {5};
    energies.resize(1);
    outside.resize(1);
    AtomPass pass;

    EXPECT_EQ(stopMessageOf([&] {
                  pass.evaluate({symmFunc, statistics, distribution, ensembles}, geometry, atoms, 1, energies,
                                outside);
              }),
              "NaN at symmetry functions of the 0 -th geometry.");
}

} // namespace
} // namespace melta::test
