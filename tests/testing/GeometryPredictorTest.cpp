#include "testing/GeometryPredictor.hpp"

#include "modelio/ModelStore.hpp"
#include "potential/ModelRestorer.hpp"
#include "training/TrainingRun.hpp"

#include <cmath>

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

TEST_F(GeometryPredictorTest, LeavesOutWhatNobodyAskedFor) {
    GeometryPredictor predictor(*model);
    const Geometry& geometry = set->getGeometry(0);
    predictor.predict(geometry, Wish::energy | Wish::forces | Wish::charges);

    const Prediction& prediction = predictor.predict(geometry, Wish::energy);

    EXPECT_EQ(prediction.energies.size(), 4U);
    EXPECT_TRUE(prediction.forces.empty());
    EXPECT_TRUE(prediction.charges.empty());
}

TEST_F(GeometryPredictorTest, RefusesAnElementThatTheModelDoesNotHave) {
    GeometryPredictor predictor(*model);
    set->getGeometry(0).elements[3] = 2;

    EXPECT_EQ(stopMessageOf([&] { predictor.predict(set->getGeometry(0), Wish::energy); }),
              "index of element is out of range.");
}

} // namespace
} // namespace melta
