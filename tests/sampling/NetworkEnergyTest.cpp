#include "sampling/NetworkEnergy.hpp"

#include "modelio/ModelStore.hpp"
#include "potential/ModelRestorer.hpp"
#include "sampling/FullNetworkEnergy.hpp"
#include "sampling/TrainedModel.hpp"
#include "structure/BaselinePotential.hpp"

#include <algorithm>
#include <cmath>
#include <random>

namespace melta::test {
namespace {

constexpr float rcut = 3.5f;

// A constant.
class FlatPotential final : public BaselinePotential {
public:
    void removeFromGeometry(Geometry* /*geometry*/) override {}
    float obtainEnergy(const Geometry* /*geometry*/) override { return 2.5f; }
    float obtainEnergiesAndForces(const Geometry* /*geometry*/, std::span<float> /*energies*/,
                                  std::span<float> /*forces*/) override {
        return 2.5f;
    }
};

// Weighs the neighbour lists of all atoms, so that none may be out of date.
class ListPotential final : public BaselinePotential {
public:
    void removeFromGeometry(Geometry* /*geometry*/) override {}
    float obtainEnergy(const Geometry* geometry) override {
        double sum = 0.0;
        for (int i = 0; i < geometry->numAtoms; ++i) {
            const auto first = 3 * static_cast<std::size_t>(i);
            for (const Neighbor& neighbor : geometry->getNeighbors(i)) {
                const std::array<float, 3> other = geometry->computeNeighborPosition(neighbor);
                const float r = std::hypot(other[0] - geometry->positions[first],
                                           other[1] - geometry->positions[first + 1],
                                           other[2] - geometry->positions[first + 2]);
                sum += static_cast<double>((rcut - r) * (rcut - r));
            }
        }
        return static_cast<float>(0.01 * sum);
    }
    float obtainEnergiesAndForces(const Geometry* geometry, std::span<float> /*energies*/,
                                  std::span<float> /*forces*/) override {
        return obtainEnergy(geometry);
    }
};

class NetworkEnergyTest : public TrainedModel {
protected:
    std::unique_ptr<NNArch> makeArch() const {
        auto arch = std::make_unique<NNArch>(NNArch::onlyEnergy, 2, &property, false, false);
        outputOf([&] {
            arch->initLayers(trainingSet.get());
            restoreNN(*arch, "melta.data", trainingSet.get(), false);
        });
        return arch;
    }

    std::unique_ptr<ModelData> makeModel(const std::string& head = "melta.data",
                                         const std::string& histograms = "melta.gdist") const {
        std::unique_ptr<ModelData> made;
        outputOf([&] {
            made = restoreModel(property, *trainingSet, head, false);
            restoreHistograms(*made, *trainingSet, histograms);
        });
        return made;
    }

    // Sum of the atomic energies by an arrangement.
    double plainEnergy() {
        const auto arch = makeArch();
        Geometry* const batch[] = {&geometry};
        arch->setGeometries(batch);
        arch->calculateSymmFuncs(false, false, true);
        arch->renormalizeSymmFuncs(false);
        arch->goForwardOnEnergy();
        double sum = 0.0;
        for (const float energy : arch->obtainEnergies(0)) {
            sum += static_cast<double>(energy);
        }
        return sum;
    }

    // Stores the model with other output biases.
    void storeRaised(const std::string& head, std::span<const float> values) const {
        const auto arch = makeArch();
        for (NNEnsemble& ensemble : arch->getEnergyEnsembles()) {
            for (int m = 0; m < ensemble.getNumModels(); ++m) {
                for (const float value : values) {
                    ensemble.getLastLayer().biasOf(m).front() += value;
                }
            }
        }
        outputOf([&] { storeNN(*arch, head, trainingSet.get()); });
    }

    Geometry& geometry = trainingSet->getGeometry(0);
    std::unique_ptr<ModelData> model = makeModel();
};

TEST_F(NetworkEnergyTest, EnergyOfTheNetworks) {
    const double expected = plainEnergy();
    NetworkEnergy energy(*model, nullptr, geometry, rcut);

    EXPECT_LE(std::abs(energy.start() - expected), 1.0e-5);
    EXPECT_GT(std::abs(expected), 1.0e-3) << "proves nothing";
}

TEST_F(NetworkEnergyTest, EnergyAfterAMove) {
    NetworkEnergy energy(*model, nullptr, geometry, rcut);
    const double before = energy.start();
    // Out of the cell, so that the neighbours and the position itself have to be made anew.
    geometry.positions[3] += 0.3f + geometry.lattice[0];
    const int moved[] = {1};

    const double after = energy.evaluateMove(moved);

    EXPECT_LT(geometry.positions[3], geometry.lattice[0]);
    EXPECT_LE(std::abs(after - plainEnergy()), 1.0e-5);
    EXPECT_GT(std::abs(after - before), 1.0e-3) << "proves nothing";
}

TEST_F(NetworkEnergyTest, ManySteps) {
    NetworkEnergy energy(*model, nullptr, geometry, rcut);
    const double before = energy.start();
    const int moved[] = {0};

    for (int step = 0; step < 4; ++step) {
        const float kept = geometry.positions[0];
        geometry.positions[0] += 0.2f;
        energy.evaluateMove(moved);
        geometry.positions[0] = kept;
        energy.rejectMove();
    }

    EXPECT_EQ(energy.evaluateMove(moved), before);
    energy.acceptMove();
}

TEST_F(NetworkEnergyTest, WithABaseline) {
    FlatPotential baseline;
    const double expected = plainEnergy() + 2.5;
    NetworkEnergy energy(*model, &baseline, geometry, rcut);

    EXPECT_LE(std::abs(energy.start() - expected), 1.0e-5);
}

// A float of 33000 eV has steps of 0.004 eV.
TEST_F(NetworkEnergyTest, LargeConstantsCostNoDigits) {
    constexpr float constant = -32768.0f;
    const float there[] = {constant};
    // A file of such energies holds biases with the digits of a float; the same ones here.
    const float thereAndBack[] = {constant, -constant};
    storeRaised("raised.data", there);
    storeRaised("rounded.data", thereAndBack);
    const auto rounded = makeModel("rounded.data");
    const auto raised = makeModel("raised.data");
    NetworkEnergy small(*rounded, nullptr, geometry, rcut);
    NetworkEnergy large(*raised, nullptr, geometry, rcut);
    const double smallStart = small.start();
    const double largeStart = large.start();
    const int moved[] = {1};
    geometry.positions[3] += 0.002f;

    const double smallRise = small.evaluateMove(moved) - smallStart;
    const double largeRise = large.evaluateMove(moved) - largeStart;

    EXPECT_LE(std::abs(largeStart - smallStart - 3.0 * static_cast<double>(constant)), 0.1);
    EXPECT_LE(std::abs(largeRise - smallRise), 1.0e-6);
    EXPECT_GT(std::abs(smallRise), 1.0e-5) << "proves nothing";
}

TEST_F(NetworkEnergyTest, TrainingDataAreKnown) {
    NetworkEnergy energy(*model, nullptr, geometry, rcut);
    energy.start();

    energy.evaluateMove({});
    EXPECT_FALSE(energy.isUnknown());
    energy.acceptMove();

    geometry.positions[3] += 0.3f;
    const int moved[] = {1};
    energy.evaluateMove(moved);
    EXPECT_TRUE(energy.isUnknown());
}

TEST_F(NetworkEnergyTest, UnknownElement) {
    geometry.elements[2] = 2;

    EXPECT_EQ(stopMessageOf([this] { NetworkEnergy(*model, nullptr, geometry, rcut); }),
              "index of element is out of range.");
}

// Two equal geometries of 64 atoms that make the same moves, one with the energy under test, one with
// everything made anew.
class NetworkEnergyWalk : public NetworkEnergyTest {
protected:
    NetworkEnergyWalk() {
        std::vector<std::string> labels;
        for (int i = 0; i < 64; ++i) {
            labels.push_back(i % 3 == 0 ? "O" : "Si");
        }
        const std::string text = makeDataText({.numGeoms = 1, .labels = labels, .seed = 8});
        set = makeSet(property, text, trainingSet.get());
        plainSet = makeSet(property, text, trainingSet.get());
    }

    // A shift of one atom or an exchange of two, the same in both geometries.
    std::vector<int> move() {
        std::uniform_int_distribution<int> drawAtom(0, 63);
        std::uniform_real_distribution<float> drawStep(-1.0f, 1.0f);
        const int atom = drawAtom(random);
        const int other = drawAtom(random);
        const bool isSwap = other != atom && other % 2 == 0;
        const std::array<float, 3> step{drawStep(random), drawStep(random), drawStep(random)};
        for (GeometrySet* const each : {set.get(), plainSet.get()}) {
            std::vector<float>& positions = each->getGeometry(0).positions;
            const auto place = positions.begin() + 3 * atom;
            if (isSwap) {
                std::swap_ranges(place, place + 3, positions.begin() + 3 * other);
            } else {
                std::ranges::transform(step, std::span(&*place, 3), place, std::plus<>());
            }
        }
        return isSwap ? std::vector<int>{atom, other} : std::vector<int>{atom};
    }

    // Walks, taking moves or refusing them at random, and compares each step.
    void compareSteps(BaselinePotential* baseline, int numSteps) {
        Geometry& tracked = set->getGeometry(0);
        Geometry& plain = plainSet->getGeometry(0);
        NetworkEnergy energy(*model, baseline, tracked, rcut);
        FullNetworkEnergy plainEnergy(*model, baseline, plain, rcut);
        EXPECT_LE(std::abs(energy.start() - plainEnergy.start()), tolerance);
        for (int step = 0; step < numSteps; ++step) {
            const std::vector<float> kept = tracked.positions;
            const std::vector<int> moved = move();

            const double difference = energy.evaluateMove(moved) - plainEnergy.evaluateMove(moved);

            ASSERT_LE(std::abs(difference), tolerance) << step;
            ASSERT_EQ(tracked.positions, plain.positions) << step;
            ASSERT_EQ(energy.isUnknown(), plainEnergy.isUnknown()) << step;
            if (random() % 3 == 0) {
                energy.acceptMove();
                plainEnergy.acceptMove();
            } else {
                tracked.positions = kept;
                plain.positions = kept;
                energy.rejectMove();
                plainEnergy.rejectMove();
            }
        }
    }

    static constexpr double tolerance = 1.0e-5; // eV

    std::unique_ptr<GeometrySet> set;
    std::unique_ptr<GeometrySet> plainSet;
    std::mt19937 random{17};
};

TEST_F(NetworkEnergyWalk, EachStepIsThatOfMakingEverythingAnew) {
    compareSteps(nullptr, 300);
}

TEST_F(NetworkEnergyWalk, WithABaselineThatReadsTheLists) {
    ListPotential baseline;

    compareSteps(&baseline, 100);
}

// Only the start is known.
TEST_F(NetworkEnergyWalk, RefusedMovesLeaveNothingBehind) {
    NNArch arch(NNArch::onlyEnergy, 2, &property, false, false);
    outputOf([&] {
        arch.initLayers(set.get());
        restoreNN(arch, "melta.data", set.get(), false);
        arch.statisticsSymmFuncs(set.get());
        arch.writeSymmDistributions("start.gdist", set.get());
        storeNN(arch, "start.data", set.get());
    });
    Geometry& tracked = set->getGeometry(0);
    const auto known = makeModel("start.data", "start.gdist");
    NetworkEnergy energy(*known, nullptr, tracked, rcut);
    const double start = energy.start();
    EXPECT_FALSE(energy.isUnknown());
    const std::vector<float> kept = tracked.positions;
    int numUnknown = 0;
    for (int step = 0; step < 50; ++step) {
        energy.evaluateMove(move());
        numUnknown += energy.isUnknown() ? 1 : 0;
        tracked.positions = kept;
        energy.rejectMove();

        EXPECT_EQ(energy.evaluateMove({}), start);
        EXPECT_FALSE(energy.isUnknown());
        energy.acceptMove();
    }
    // Not those that exchange two atoms of the same element.
    EXPECT_GT(numUnknown, 25);
}

TEST_F(NetworkEnergyWalk, WithSeveralThreads) {
    const ThreadCount several(3);

    compareSteps(nullptr, 50);
}

} // namespace
} // namespace melta::test
