// Trainings that change the weights of elements in the symmetry functions together with the networks.
#include "symmfunc/cluster/ClusterKind.hpp"
#include "training/EnergyTrainerFixture.hpp"

#include <algorithm>

namespace melta {
namespace {

using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::printed;
using test::Progress;
using test::readProgress;
using test::Reference;

class ChannelTraining : public test::EnergyTrainer {
protected:
    ChannelTraining() {
        property.symmFuncKind = ClusterKind::code;
        property.kindSettings = {{"maxAngular", 2}, {"numRadius4", 1}, {"channels", 2}};
        property.lbfgs = 0;
        property.withCharge = 0;
        property.epochs = 6;
        property.batchs = 3;
        property.learnRate = 0.02f;
    }

    [[nodiscard]] std::unique_ptr<GeometrySet> makeThreeElements(unsigned seed, int numGeoms = 6) const {
        return makeSet(
            property,
            makeDataText({.numGeoms = numGeoms, .labels = {"Si", "O", "C", "O", "Si", "C"}, .seed = seed}));
    }

    // An arrangement with the stored model, whose weights are not trained any more.
    [[nodiscard]] std::unique_ptr<NNArch> restore(const Property& fixedWeights,
                                                  const GeometrySet& set) const {
        auto arch = std::make_unique<NNArch>(NNArch::onlyEnergy, set.numElems, &fixedWeights, false, false);
        outputOf([&] {
            arch->initLayers(&set);
            restoreNN(*arch, network, &set, false);
        });
        return arch;
    }

    // What the last line says of the test data, which follows the last step, against the stored model.
    void expectStoredModelOfLastLine(const GeometrySet& set) {
        property.insituTest = 1;
        const std::vector<Progress> list = readProgress(train(set, &set));
        ASSERT_FALSE(list.empty());
        const Property settings = property;
        property.kindSettings["trainChannels"] = 0;

        const Reference stored = evaluate(set);

        EXPECT_CLOSE(list.back().testEnergy, std::sqrt(stored.etot), printed);
        EXPECT_CLOSE(list.back().testForce, std::sqrt(stored.force), printed);
        property = settings;
    }

    Property fixedWeights() const {
        Property settings = property;
        settings.kindSettings["trainChannels"] = 0;
        return settings;
    }
};

TEST_F(ChannelTraining, StoredModelIsThatOfTheLastLine) {
    const auto set = makeThreeElements(1);
    for (const int symmScale : {SymmScale::each, SymmScale::shared}) {
        property.symmScale = symmScale;
        expectStoredModelOfLastLine(*set);
    }
    property.directSF = 1;
    expectStoredModelOfLastLine(*set);
    property.directSF = 0;
    property.batchs = 0;
    expectStoredModelOfLastLine(*set);
    property.batchs = 1;
    property.geomsEpoch = 2;
    property.superEpochs = 3;
    expectStoredModelOfLastLine(*set);
}

TEST_F(ChannelTraining, StoredWeightsHaveLeftTheStart) {
    const auto set = makeThreeElements(1);
    train(*set);
    const Property settings = fixedWeights();

    const std::unique_ptr<NNArch> stored = restore(settings, *set);

    NNArch fresh(NNArch::onlyEnergy, set->numElems, &settings, false, false);
    outputOf([&] { fresh.initLayers(set.get()); });
    const std::vector<float>& weights = stored->getSymmStatistics().elementWeights;
    const std::vector<float>& start = fresh.getSymmStatistics().elementWeights;
    ASSERT_EQ(weights.size(), 3U * 3U * 2U);
    std::size_t numMoved = 0;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        numMoved += weights[i] != start[i] ? 1U : 0U;
    }
    // Carbon has no other carbon around.
    EXPECT_EQ(numMoved, 16U);
}

TEST_F(ChannelTraining, StoredHistogramsAreThoseOfTheStoredWeights) {
    const auto set = makeThreeElements(1);
    property.epochsStore = 2; // only the last store counts
    train(*set);
    const Property settings = fixedWeights();
    const std::unique_ptr<NNArch> stored = restore(settings, *set);

    outputOf([&] { stored->writeSymmDistributions(file("again"), set.get()); });

    EXPECT_EQ(test::readTextFile(file("dist")), test::readTextFile(file("again")));
}

TEST_F(ChannelTraining, ARestartGoesOnWithTheStoredWeights) {
    useOneModel();
    const auto first = makeThreeElements(1);
    const auto second = makeThreeElements(5, 8);
    train(*first);
    const Property settings = property;
    property.kindSettings["trainChannels"] = 0;
    const Reference expected = evaluate(*second);
    property = settings;
    freezeAtStoredModel();
    property.batchs = 0;

    const std::vector<Progress> list = readProgress(train(*second));

    ASSERT_EQ(list.size(), 1U);
    EXPECT_CLOSE(list.front().energy, std::sqrt(expected.etot), printed);
    EXPECT_CLOSE(list.front().force, std::sqrt(expected.force), printed);
}

TEST_F(ChannelTraining, ElementsOfARestartKeepTheirWeightsByName) {
    const auto three = makeThreeElements(1);
    train(*three);
    const std::vector<float> before = restore(property, *three)->getSymmStatistics().elementWeights;
    const auto four = makeSet(property, makeDataText({.labels = {"C", "N", "Si", "O", "N"}, .seed = 3}));
    freezeAtStoredModel();
    train(*four);

    const std::vector<float> after = restore(property, *four)->getSymmStatistics().elementWeights;

    const auto placeOf = [](const GeometrySet& set, const std::string& name) {
        return static_cast<std::size_t>(std::ranges::find(set.elemNames, name) - set.elemNames.begin());
    };
    ASSERT_EQ(after.size(), 4U * 4U * 2U);
    for (const std::string central : {"Si", "O", "C"}) {
        for (const std::string element : {"Si", "O", "C"}) {
            for (std::size_t k = 0; k < 2; ++k) {
                EXPECT_EQ(after[(placeOf(*four, central) * 4 + placeOf(*four, element)) * 2 + k],
                          before[(placeOf(*three, central) * 3 + placeOf(*three, element)) * 2 + k])
                    << central << " " << element << " " << k;
            }
        }
    }
}

} // namespace
} // namespace melta
