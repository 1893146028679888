#include "potential/TileTeam.hpp"

#include "base/Reporting.hpp"
#include "potential/HostFixture.hpp"
#include "potential/ModelLoader.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <omp.h>
#include <random>

namespace melta::test {
namespace {

constexpr Wishes everything = Wish::energy | Wish::forces | Wish::virial | Wish::atomVirials |
                              Wish::modelEnergies | Wish::modelForces | Wish::novelty | Wish::descriptors;

// OpenMP regions get one thread while it lives.
class SerialRegions {
public:
    SerialRegions() : levels(omp_get_max_active_levels()) { omp_set_max_active_levels(0); }
    ~SerialRegions() { omp_set_max_active_levels(levels); }
    SerialRegions(const SerialRegions&) = delete;
    SerialRegions& operator=(const SerialRegions&) = delete;
    SerialRegions(SerialRegions&&) = delete;
    SerialRegions& operator=(SerialRegions&&) = delete;

private:
    int levels;
};

// Atoms without neighbours, one of which cannot be had.
class LonelyAtoms final : public AtomSource {
public:
    LonelyAtoms(std::size_t numAtoms, int missing)
        : positions(3 * numAtoms), elements(numAtoms), atomNumbers(2), bad(missing) {}

    [[nodiscard]] std::size_t getNumAtoms() const override { return elements.size(); }
    [[nodiscard]] std::size_t elementOf(int /*atom*/) const override { return 0; }
    void gather(int atom, NeighborArrays& neighbors) const override {
        if (atom == bad) {
            stopAtDescriptors(atom);
        }
        neighbors.update({positions, elements, atomNumbers, 0}, atom, {}, 1.0f);
    }
    [[noreturn]] void stopAtDescriptors(int atom) const override {
        stopWithMessage("there is no atom %d", atom);
    }

private:
    std::vector<double> positions;
    std::vector<int> elements;
    std::vector<std::int32_t> atomNumbers;
    int bad;
};

class TileTeamTest : public HostFixture {
protected:
    // A periodic box of `edge`^3 atoms, of which every seventh is unknown to the model; more than a tile
    // for each of two threads where the edge is 6 or more.
    [[nodiscard]] static PeriodicView boxOf(int edge, const Potential& potential) {
        constexpr double spacing = 2.0;
        const double length = spacing * edge;
        const std::vector<double> cell{length, 0.0, 0.0, 0.0, length, 0.0, 0.0, 0.0, length};
        std::mt19937 random(11);
        std::uniform_real_distribution<double> shift(-0.3, 0.3);
        std::vector<double> positions;
        std::vector<int> elements;
        for (int i = 0; i < edge * edge * edge; ++i) {
            positions.push_back(spacing * (i % edge) + shift(random));
            positions.push_back(spacing * (i / edge % edge) + shift(random));
            positions.push_back(spacing * (i / edge / edge) + shift(random));
            elements.push_back(i % 7 == 6 ? -1 : static_cast<int>(random() % 2));
        }
        return {cell, positions, elements, potential.influenceDistance()};
    }

    static Evaluation evaluate(const Potential& potential, const NeighborView& view, Wishes wishes,
                               int numThreads) {
        Potential::Workspace workspace(numThreads);
        Evaluation result;
        potential.evaluate(view, wishes, result, workspace);
        return result;
    }

    static void expectRounding(const Evaluation& found, const Evaluation& expected) {
        expectSame({found.energy}, {expected.energy}, "energy", 1.0e-12);
        expectSame(found.forces, expected.forces, "forces", 1.0e-12);
        expectSame({found.virial.begin(), found.virial.end()},
                   {expected.virial.begin(), expected.virial.end()}, "virial", 1.0e-12);
        expectSame(found.modelEnergies, expected.modelEnergies, "energies of models", 1.0e-12);
        expectSame(found.modelForces, expected.modelForces, "forces of models", 1.0e-12);
        expectSame(found.forceDeviations, expected.forceDeviations, "deviations of forces", 1.0e-12);
    }

    // What is no sum over threads.
    static void expectSameAtoms(const Evaluation& found, const Evaluation& expected) {
        EXPECT_EQ(found.energies, expected.energies);
        EXPECT_EQ(found.atomVirials, expected.atomVirials);
        EXPECT_EQ(found.charges, expected.charges);
        EXPECT_EQ(found.energyDeviations, expected.energyDeviations);
        EXPECT_EQ(found.novelty, expected.novelty);
        EXPECT_EQ(found.descriptors, expected.descriptors);
        EXPECT_EQ(found.numNovel, expected.numNovel);
        EXPECT_EQ(found.excess, expected.excess);
    }
};

TEST_F(TileTeamTest, GivesWhatOneThreadGives) {
    property.withCharge = 1;
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const PeriodicView large = boxOf(6, potential);
    const PeriodicView small = boxOf(2, potential); // of which some threads get nothing
    for (const Wishes wishes : {everything | Wish::charges, Wishes(Wish::energy), Wishes(Wish::virial),
                                Wishes(Wish::modelForces)}) {
        for (const PeriodicView* view : {&large, &small}) {
            const Evaluation expected = evaluate(potential, view->view(), wishes, 1);
            for (const int numThreads : {2, 3, 20}) {
                const Evaluation found = evaluate(potential, view->view(), wishes, numThreads);

                expectRounding(found, expected);
                expectSameAtoms(found, expected);
            }
        }
    }
    const Evaluation result = evaluate(potential, large.view(), everything, 2);
    EXPECT_GE(result.numNovel, 1);
    EXPECT_GE(std::abs(result.modelForces.front() - result.forces.front()), 1.0e-6);
}

TEST_F(TileTeamTest, TakesTheBaselineOnce) {
    for (const std::string baseline : {"classical", "zbl", "reax"}) {
        property = makeSmallProperty();
        const Potential potential = Potential::read(exportBaseline(baseline));
        const PeriodicView view = boxOf(4, potential);
        const Evaluation expected = evaluate(potential, view.view(), everything, 1);

        const Evaluation found = evaluate(potential, view.view(), everything, 3);

        expectRounding(found, expected);
        expectSameAtoms(found, expected);
    }
}

// A number of threads gives the same bits each time, whoever works: the runtime may give fewer of them, and a
// workspace may have served other views and wishes.
TEST_F(TileTeamTest, DependsOnNothingButTheNumberOfThreads) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const PeriodicView large = boxOf(6, potential);
    const PeriodicView small = boxOf(3, potential);
    const Evaluation expected = evaluate(potential, large.view(), everything, 3);
    Potential::Workspace workspace(3);
    Evaluation result;

    for (int turn = 0; turn < 20; ++turn) {
        potential.evaluate(small.view(), Wish::energy | Wish::forces, result, workspace);
        potential.evaluate(large.view(), everything, result, workspace);

        ASSERT_EQ(result.forces, expected.forces);
        ASSERT_EQ(result.energy, expected.energy);
        ASSERT_EQ(result.modelForces, expected.modelForces);
    }
    const SerialRegions serial;
    const Evaluation alone = evaluate(potential, large.view(), everything, 3);
    EXPECT_EQ(alone.forces, expected.forces);
    EXPECT_EQ(alone.virial, expected.virial);
    EXPECT_EQ(alone.energy, expected.energy);
}

TEST_F(TileTeamTest, StopsWithWhatAnyThreadFinds) {
    makeModel();
    const auto model = loadModel(directory.path());
    std::vector<int> atoms(60);
    std::iota(atoms.begin(), atoms.end(), 0);
    for (const int bad : {5, 30, 59}) {
        const LonelyAtoms source(atoms.size(), bad);
        for (const int numThreads : {1, 3}) {
            TileTeam team(numThreads);
            Evaluation result;
            prepareResult(*model, atoms.size(), everything, result);

            const std::string message =
                stopMessageOf([&] { team.evaluate(*model, source, atoms, everything, result); });

            EXPECT_EQ(message, "there is no atom " + std::to_string(bad));
        }
    }
}

TEST_F(TileTeamTest, RefusesTeamsThatCannotBe) {
    for (const int numThreads : {0, -1, 1000000}) {
        EXPECT_THROW(Potential::Workspace{numThreads}, Error) << numThreads;
    }
}

} // namespace
} // namespace melta::test
