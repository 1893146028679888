#include "testing/GeometryPredictor.hpp"

#include "modelio/ModelStore.hpp"
#include "potential/ModelRestorer.hpp"
#include "training/TrainingRun.hpp"

#include <array>
#include <cmath>
#include <numeric>
#include <span>

namespace melta {
namespace {

using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::stopMessageOf;

class GeometryPredictorTest : public test::EnergyTraining {
protected:
    GeometryPredictorTest() {
        property.withCharge = 1;
        property.modelsCharge = 2;
        outputOf([this] {
            arch = std::make_unique<NNArch>(NNArch::energyAndCharge, set->numElems, &property, false, false);
            arch->initLayers(set.get());
            arch->statisticsSymmFuncs(set.get());
            storeNN(*arch, network, set.get());
            model = restoreModel(property, *set, network, true);
        });
    }

    static void expectNear(std::span<const float> found, std::span<const float> expected) {
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_LE(std::abs(found[i] - expected[i]), 2.0e-5f * (1.0f + std::abs(expected[i]))) << i;
        }
    }

    std::unique_ptr<GeometrySet> set =
        makeSet(property, makeDataText({.numGeoms = 2, .labels = {"O", "Si", "Si", "O"}, .seed = 41}));
    std::unique_ptr<NNArch> arch;
    std::unique_ptr<ModelData> model;
};

TEST_F(GeometryPredictorTest, GivesWhatTheArrangementGives) {
    GeometryPredictor predictor(*model);
    for (const auto& geometry : set->geometries) {
        Geometry* const batch[] = {geometry.get()};
        arch->prepareBatch(batch, Derivatives::yes);
        arch->goBackwardOnForce();
        arch->goForwardOnCharge();

        const Prediction& prediction =
            predictor.predict(*geometry, Wish::energy | Wish::forces | Wish::charges);

        expectNear(prediction.energies, arch->obtainEnergies(0));
        expectNear(prediction.forces, arch->obtainForces(0));
        expectNear(prediction.charges, arch->obtainCharges(0));
        arch->clearGeometries();
    }
}

// Energies are single-precision numbers, so the step is long.
TEST_F(GeometryPredictorTest, GivesTheStress) {
    GeometryPredictor predictor(*model);
    Geometry& geometry = set->getGeometry(0);
    const std::vector<float> stress = predictor.predict(geometry, Wish::energy | Wish::virial).stress;
    constexpr std::array<std::array<std::size_t, 2>, 6> axes{
        {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}}};
    ASSERT_EQ(stress.size(), axes.size());
    const auto energyAt = [&](std::array<std::size_t, 2> axis, float strain) {
        const auto lattice = geometry.lattice;
        const auto positions = geometry.positions;
        const auto stretch = [&](std::span<float> rows) {
            for (std::size_t i = 0; i < rows.size(); i += 3) {
                rows[i + axis[0]] += strain * rows[i + axis[1]];
            }
        };
        stretch(geometry.lattice);
        stretch(geometry.positions);
        const Prediction& prediction = predictor.predict(geometry, Wish::energy);
        geometry.lattice = lattice;
        geometry.positions = positions;
        return std::accumulate(prediction.energies.begin(), prediction.energies.end(), 0.0);
    };
    constexpr float step = 4.0e-3f;
    for (std::size_t v = 0; v < axes.size(); ++v) {
        const double expected =
            (energyAt(axes[v], step) - energyAt(axes[v], -step)) / (2.0 * static_cast<double>(step));
        EXPECT_NEAR(static_cast<double>(stress[v]), expected, 1.0e-3 + 1.0e-2 * std::abs(expected)) << v;
    }
    EXPECT_GT(std::abs(stress[0]), 0.02f);
}

TEST_F(GeometryPredictorTest, TellsWhatLiesOutsideOfTheData) {
    GeometryPredictor predictor(*model);
    Geometry& geometry = set->getGeometry(0);
    const Prediction inside = predictor.predict(geometry, Wish::energy | Wish::novelty);
    geometry.positions[0] += 1.0f;

    const Prediction outside = predictor.predict(geometry, Wish::energy | Wish::novelty);

    EXPECT_LE(inside.excess, 1.0e-5);
    EXPECT_GT(outside.numNovel, 0);
    EXPECT_GT(outside.excess, 0.05);
}

TEST_F(GeometryPredictorTest, LeavesOutWhatNobodyAskedFor) {
    GeometryPredictor predictor(*model);
    const Geometry& geometry = set->getGeometry(0);
    predictor.predict(geometry, Wish::energy | Wish::forces | Wish::charges);

    const Prediction& prediction = predictor.predict(geometry, Wish::energy);

    EXPECT_EQ(prediction.energies.size(), 4U);
    EXPECT_TRUE(prediction.forces.empty());
    EXPECT_TRUE(prediction.charges.empty());
    EXPECT_TRUE(prediction.stress.empty());
}

TEST_F(GeometryPredictorTest, RefusesAnElementThatTheModelDoesNotHave) {
    GeometryPredictor predictor(*model);
    set->getGeometry(0).elements[3] = 2;

    EXPECT_EQ(stopMessageOf([&] { predictor.predict(set->getGeometry(0), Wish::energy); }),
              "index of element is out of range.");
}

} // namespace
} // namespace melta
