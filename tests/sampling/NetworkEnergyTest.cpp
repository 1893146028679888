#include "sampling/NetworkEnergy.hpp"

#include "modelio/ModelStore.hpp"
#include "sampling/TrainedModel.hpp"
#include "structure/BaselinePotential.hpp"

#include <cmath>

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

class NetworkEnergyTest : public TrainedModel {
protected:
    std::unique_ptr<NNArch> makeArch() const {
        auto arch = std::make_unique<NNArch>(NNArch::onlyEnergy, 2, &property, false, false);
        outputOf([&] {
            arch->initLayers(trainingSet.get());
            restoreNN(*arch, "melta.data", trainingSet.get(), false);
            arch->readSymmDistributions("melta.gdist", trainingSet.get());
        });
        return arch;
    }

    // Sum of the atomic energies of an arrangement nobody has touched.
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

    static void raiseOutput(NNArch& arch, float value) {
        for (NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
            for (int m = 0; m < ensemble.getNumModels(); ++m) {
                ensemble.getLastLayer().biasOf(m).front() += value;
            }
        }
    }

    Geometry& geometry = trainingSet->obtainGeometry(0);
    std::unique_ptr<NNArch> networks = makeArch();
};

TEST_F(NetworkEnergyTest, EnergyOfTheNetworks) {
    const double expected = plainEnergy();
    NetworkEnergy energy(*networks, nullptr, *trainingSet, geometry, rcut);

    EXPECT_LE(std::abs(energy.start() - expected), 1.0e-5);
    EXPECT_GT(std::abs(expected), 1.0e-3) << "proves nothing";
}

TEST_F(NetworkEnergyTest, EnergyAfterAMove) {
    NetworkEnergy energy(*networks, nullptr, *trainingSet, geometry, rcut);
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
    NetworkEnergy energy(*networks, nullptr, *trainingSet, geometry, rcut);
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
    NetworkEnergy energy(*networks, &baseline, *trainingSet, geometry, rcut);

    EXPECT_LE(std::abs(energy.start() - expected), 1.0e-5);
}

// A float of 33000 eV has steps of 0.004 eV.
TEST_F(NetworkEnergyTest, LargeConstantsCostNoDigits) {
    constexpr float constant = -32768.0f;
    const auto raised = makeArch();
    // The file of a model with such energies holds biases with the digits of a float; the same ones here.
    raiseOutput(*networks, constant);
    raiseOutput(*networks, -constant);
    raiseOutput(*raised, constant);
    NetworkEnergy small(*networks, nullptr, *trainingSet, geometry, rcut);
    NetworkEnergy large(*raised, nullptr, *trainingSet, geometry, rcut);
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
    NetworkEnergy energy(*networks, nullptr, *trainingSet, geometry, rcut);
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

    EXPECT_EQ(stopMessageOf([this] { NetworkEnergy(*networks, nullptr, *trainingSet, geometry, rcut); }),
              "index of element is out of range.");
}

} // namespace
} // namespace melta::test
