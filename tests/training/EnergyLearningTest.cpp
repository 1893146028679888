// What a training has to be able to learn.
#include "symmfunc/SymmFuncFactory.hpp"
#include "training/EnergyTrainerFixture.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

using test::EnergyTrainer;
using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::Progress;
using test::readProgress;

// Gives the set the energies and forces of a network with random weights.
void teach(const Property& property, GeometrySet& set, unsigned seed) {
    sharedRandom().seed(seed);
    NNArch teacher(NNArch::onlyEnergy, set.numElems, &property, true, false);
    outputOf([&] {
        teacher.initLayers(&set);
        teacher.statisticsSymmFuncs(&set);
    });
    for (const auto& geometry : set.geometries) {
        Geometry* const batch[] = {geometry.get()};
        teacher.setGeometries(batch);
        teacher.calculateSymmFuncs(true, false, true);
        teacher.renormalizeSymmFuncs(false);
        teacher.goBackwardOnForce();
        const auto energies = teacher.obtainEnergies(0);
        const auto forces = teacher.obtainForces(0);
        geometry->energyTotal = 0.0;
        for (std::size_t a = 0; a < energies.size(); ++a) {
            geometry->energies[a] = static_cast<double>(energies[a]);
            geometry->energyTotal += geometry->energies[a];
        }
        std::ranges::copy(forces, geometry->forces.begin());
        teacher.clearGeometries();
    }
}

TEST_F(EnergyTrainer, LearnsWhatANetworkOfItsShapeSays) {
    for (const int withHDNNP : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "withHDNNP " << withHDNNP);
        property = test::makeSmallProperty();
        useOneModel();
        property.withHDNNP = withHDNNP;
        const auto set = makeSet(property, makeDataText({.numGeoms = 4}));
        teach(property, *set, 3);
        property.epochs = 600;
        sharedRandom().seed(12);

        const std::vector<Progress> list = readProgress(train(*set));

        ASSERT_FALSE(list.empty());
        EXPECT_LE(list.back().loss, 5.0e-3 * list.front().loss)
            << "from " << list.front().loss << " to " << list.back().loss;
    }
}

TEST_F(EnergyTrainer, LearnsByAdamFromMiniBatches) {
    useOneModel();
    const auto set = makeSet(property, makeDataText({.numGeoms = 6}));
    teach(property, *set, 3);
    property.lbfgs = 0;
    property.batchs = 2;
    property.epochs = 600;
    property.learnRate = 0.01f;
    property.learnRateFinal = 1.0e-4f;
    property.learnRateDecay = 0.99f;
    sharedRandom().seed(12);

    const std::vector<Progress> list = readProgress(train(*set));

    ASSERT_EQ(list.size(), 600U);
    EXPECT_LE(list.back().loss, 0.1 * list.front().loss)
        << "from " << list.front().loss << " to " << list.back().loss;
}

// Solves a symmetric positive system by elimination.
std::vector<double> solve(std::vector<std::vector<double>> matrix, std::vector<double> right) {
    const std::size_t n = right.size();
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i + 1; j < n; ++j) {
            const double factor = matrix[j][i] / matrix[i][i];
            for (std::size_t k = i; k < n; ++k) {
                matrix[j][k] -= factor * matrix[i][k];
            }
            right[j] -= factor * right[i];
        }
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t k = i + 1; k < n; ++k) {
            right[i] -= matrix[i][k] * right[k];
        }
        right[i] /= matrix[i][i];
    }
    return right;
}

// Mean symmetry functions of the atoms of each geometry, and 1 behind them.
std::vector<std::vector<double>> meanInputs(const Property& property, const GeometrySet& set) {
    const auto symmFunc = SymmFuncFactory().createSymmFunc(set.numElems, property);
    const auto numBasis = static_cast<std::size_t>(symmFunc->getNumBasis());
    std::vector<std::vector<double>> rows;
    std::vector<float> values(numBasis);
    for (const auto& geometry : set.geometries) {
        std::vector<double> mean(numBasis + 1, 0.0);
        mean.back() = 1.0;
        for (int a = 0; a < geometry->numAtoms; ++a) {
            symmFunc->calculate(*geometry, a, values, {});
            for (std::size_t i = 0; i < numBasis; ++i) {
                mean[i] += static_cast<double>(values[i]) / geometry->numAtoms;
            }
        }
        rows.push_back(mean);
    }
    return rows;
}

// Smallest mean square of the energy errors per atom that energies linear in the rows reach.
double leastSquares(const std::vector<std::vector<double>>& rows, const GeometrySet& set) {
    const std::size_t numColumns = rows.front().size();
    std::vector<double> targets;
    for (const auto& geometry : set.geometries) {
        targets.push_back(geometry->energyTotal / geometry->numAtoms);
    }
    std::vector<std::vector<double>> matrix(numColumns, std::vector<double>(numColumns, 0.0));
    std::vector<double> right(numColumns, 0.0);
    for (std::size_t g = 0; g < rows.size(); ++g) {
        for (std::size_t i = 0; i < numColumns; ++i) {
            right[i] += rows[g][i] * targets[g];
            for (std::size_t j = 0; j < numColumns; ++j) {
                matrix[i][j] += rows[g][i] * rows[g][j];
            }
        }
    }
    const std::vector<double> solution = solve(matrix, right);
    double squares = 0.0;
    for (std::size_t g = 0; g < rows.size(); ++g) {
        double error = -targets[g];
        for (std::size_t i = 0; i < numColumns; ++i) {
            error += solution[i] * rows[g][i];
        }
        squares += error * error;
    }
    return squares / static_cast<double>(rows.size());
}

TEST_F(EnergyTrainer, ALinearNetworkReachesTheLeastSquares) {
    for (const int numLayers : {1, 2}) {
        SCOPED_TRACE(testing::Message() << numLayers << " layers");
        property = test::makeSmallProperty();
        useOneModel();
        property.numRadius = 2;
        property.numAngle = 0;
        property.rcutAngle = 0.0f;
        property.layersEnergy = numLayers;
        property.activEnergy = Activation::asis;
        property.coefForce = 0.0f;
        property.hasForceCoef = 0;
        property.epochs = 400;
        const auto set = makeSet(property, makeDataText({.numGeoms = 10}));
        // Some of the energies depend on the inputs, the rest is noise.
        const auto inputs = meanInputs(property, *set);
        for (std::size_t g = 0; g < inputs.size(); ++g) {
            set->geometries[g]->energyTotal += 50.0 * set->geometries[g]->numAtoms * inputs[g][0];
        }
        const double least = leastSquares(inputs, *set);
        const double ofConstant = leastSquares(std::vector(inputs.size(), std::vector(1, 1.0)), *set);
        ASSERT_GT(least, 1.0e-3);
        ASSERT_GT(ofConstant, 2.0 * least);

        const std::vector<Progress> list = readProgress(train(*set));

        ASSERT_FALSE(list.empty());
        EXPECT_CLOSE(list.back().loss, least, 2.0e-3);
    }
}

} // namespace
} // namespace melta
