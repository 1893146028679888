#include "potential/ModelRestorer.hpp"

#include "potential/GeometryAtoms.hpp"
#include "potential/PotentialFixture.hpp"
#include "potential/TeamEvaluator.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace melta::test {
namespace {

class ModelRestorerTest : public PotentialFixture {
protected:
    ModelRestorerTest() { property.elemWeight = 0; }

    std::unique_ptr<ModelData> restore(const GeometrySet& data) const {
        std::unique_ptr<ModelData> model;
        outputOf([&] { model = restoreModel(property, data, file("melta.data"), property.withCharge != 0); });
        return model;
    }

    std::string stopOf(const GeometrySet& data) const {
        return stopMessageOf([&] { restore(data); });
    }

    // A set of other data, with the energies and forces of its first geometry by the model.
    Evaluation evaluate(const GeometrySet& data) const {
        const auto model = restore(data);
        const GeometryAtoms source(data.getGeometry(0), data.numElems);
        Evaluation result;
        TeamEvaluator(*model).evaluate(source, source.atoms(), Wish::energy | Wish::forces, result);
        for (std::size_t a = 0; a < result.energies.size(); ++a) {
            result.energies[a] += data.getElementEnergy(data.getGeometry(0).elements[a]);
        }
        return result;
    }
};

TEST_F(ModelRestorerTest, TellsWhatItDoes) {
    makeModel();
    writeHistograms();
    std::unique_ptr<ModelData> model;

    const std::string output =
        outputOf([&] { model = restoreModel(property, *set, file("melta.data"), false); });

    const int numBasis = model->symmFunc->getNumBasis();
    EXPECT_EQ(output, "  * There are " + std::to_string(numBasis) +
                          " symmetry functions.\n\n  * Restore the neural network from the file.\n\n");
    EXPECT_EQ(outputOf([&] { restoreHistograms(*model, *set, file("melta.gdist")); }),
              "  * Read distributions of symmetry functions.\n\n");
    EXPECT_NE(model->histograms, nullptr);
    EXPECT_EQ(model->baseline, nullptr);
    EXPECT_TRUE(model->chargeNetworks.empty());
}

TEST_F(ModelRestorerTest, DrawsNothing) {
    makeModel();
    sharedRandom().seed(3);
    const int expected = sharedRandom().draw();
    sharedRandom().seed(3);

    restore(*set);

    EXPECT_EQ(sharedRandom().draw(), expected);
}

// The networks of an element depend neither on which other elements the data have nor on their order.
TEST_F(ModelRestorerTest, SortsElementsAsTheSetDoes) {
    makeModel();
    const std::string oxygen = makeDataText({.numGeoms = 2, .labels = {"O", "O", "O"}, .seed = 42});
    const std::string mixed = makeDataText({.numGeoms = 3, .labels = {"O", "Si", "O"}, .seed = 43});
    for (const std::string& text : {oxygen, mixed}) {
        const auto data = makeSet(property, text);
        const auto sorted = makeSet(property, text, set.get());
        ASSERT_NE(data->elemNames, sorted->elemNames);

        const Evaluation found = evaluate(*data);

        const Expected expected = expect(sorted->getGeometry(0));
        for (std::size_t a = 0; a < expected.energies.size(); ++a) {
            EXPECT_LE(std::abs(found.energies[a] - expected.energies[a]), 2.0e-5) << a;
        }
        for (std::size_t i = 0; i < expected.forces.size(); ++i) {
            EXPECT_LE(std::abs(found.forces[i] - expected.forces[i]),
                      2.0e-5 * (1.0 + std::abs(expected.forces[i])))
                << i;
        }
    }
}

TEST_F(ModelRestorerTest, MarksElementsThatTheModelLacks) {
    makeModel();
    const auto data = makeSet(property, makeDataText({.labels = {"C", "O"}, .seed = 44}));

    const auto model = restore(*data);

    EXPECT_EQ(model->statistics.symmDev[0], -1.0f);
    EXPECT_EQ(model->statistics.symmDev[1], arch->getSymmStatistics().symmDev[1]);
}

// Biases of one element lie on both sides of their mean, which is kept apart.
TEST_F(ModelRestorerTest, MeasuresOutputsFromReferences) {
    makeModel();
    NNLayer& layer = arch->getEnergyEnsembles()[1].getLastLayer();
    layer.biasOf(0).front() = -4096.0f;
    layer.biasOf(1).front() = -4095.0f;
    outputOf([this] { storeNN(*arch, file("melta.data"), set.get()); });

    const auto model = restore(*set);

    EXPECT_LE(std::abs(model->references[1] + 4095.5), 1.0e-3);
    const NNLayer& restored = model->energyNetworks[1].getLastLayer();
    EXPECT_LE(std::abs(restored.biasOf(0).front() + 0.5f), 1.0e-3f);
    EXPECT_LE(std::abs(restored.biasOf(1).front() - 0.5f), 1.0e-3f);
}

TEST_F(ModelRestorerTest, RefusesWhatIsNotThere) {
    makeModel();
    EXPECT_EQ(stopMessageOf([this] {
                  const auto model = restore(*set);
                  outputOf([&] { restoreHistograms(*model, *set, file("nowhere")); });
              }),
              "cannot open file: " + file("nowhere"));

    std::filesystem::remove(file("melta.data_e"));
    EXPECT_EQ(stopOf(*set), "cannot open file: " + file("melta.data_e"));

    EXPECT_EQ(stopOf(GeometrySet()), "#elements is not positive.");
}

TEST_F(ModelRestorerTest, RefusesSettingsThatNoNetworkHas) {
    makeModel();
    property.nodesEnergy = 100000;
    EXPECT_EQ(stopOf(*set), "neural network is too large.");

    property.nodesEnergy = 4;
    property.symmFuncKind = 77;
    EXPECT_EQ(stopOf(*set), "cannot create symmFunc.");
}

} // namespace
} // namespace melta::test
