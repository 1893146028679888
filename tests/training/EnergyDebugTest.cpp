#include "training/EnergyTrainerFixture.hpp"
#include "training/GradientTable.hpp"

#include "config/Codes.hpp"
#include "structure/ThreadCount.hpp"

#include <algorithm>
#include <filesystem>

namespace melta {
namespace {

using test::checkWithShifts;
using test::countOf;
using test::Derivatives;
using test::expectAgreement;
using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::readGradientTable;
using test::stopMessageOf;

constexpr float shift = 0.015625f;

const test::DataShape mixed{.numGeoms = 3, .labels = {"Si", "O", "Si"}, .seed = 9};

class EnergyDebug : public test::EnergyTrainer {
protected:
    // The many small evaluations are not worth a second thread.
    test::ThreadCount threads{1};

    std::string debug(const GeometrySet& set, float by = shift) {
        return outputOf([&] { NNEnergyTrainer(&property, &set, nullptr).performDebug(network, by); });
    }

    std::string stopOfDebug(const GeometrySet& set, float by) {
        std::string message;
        const std::string text = outputOf([&] {
            message =
                stopMessageOf([&] { NNEnergyTrainer(&property, &set, nullptr).performDebug(network, by); });
        });
        EXPECT_EQ(text, "");
        return message;
    }

    // Stores a model of the set and checks it.
    std::vector<Derivatives> check(const GeometrySet& set, float by = shift) {
        const Property settings = property;
        const double loss = firstEpochOfRestart(set).loss;
        property = settings;
        property.restart = 1;
        return checkWithShifts([&](float each) { return debug(set, each); }, loss, by);
    }

    // Positions of the hidden layers' biases and of the output biases in the total data.
    struct Biases {
        std::vector<std::size_t> hidden;
        std::vector<std::size_t> output;
    };
    Biases findBiases(const GeometrySet& set) const {
        NNArch arch(NNArch::onlyEnergy, set.numElems, &property, true, false);
        outputOf([&] { arch.initLayers(&set); });
        Biases biases;
        std::size_t next = 0;
        for (NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
            for (int m = 0; m < ensemble.getNumModels(); ++m) {
                for (NNLayer* const layer : ensemble.getLayers()) {
                    next += layer->weightOf(m).size();
                    auto& list = layer == &ensemble.getLastLayer() ? biases.output : biases.hidden;
                    for (std::size_t b = 0; b < layer->biasOf(m).size(); ++b) {
                        list.push_back(next++);
                    }
                }
            }
        }
        return biases;
    }
};

// --- the gradient
// ----------------------------------------------------------------------------------------------------

TEST_F(EnergyDebug, AgreesForEachTermOfTheLoss) {
    const auto set = makeSet(property, makeDataText(mixed));
    for (const int withHDNNP : {1, 0}) {
        for (const int sqrtLoss : {0, 1}) {
            for (const int terms : {1, 2, 3}) {
                SCOPED_TRACE(testing::Message() << "withHDNNP " << withHDNNP << ", sqrtLoss " << sqrtLoss
                                                << ", terms " << terms);
                property = test::makeSmallProperty();
                property.withHDNNP = withHDNNP;
                property.sqrtLoss = sqrtLoss;
                switchTerms((terms & 1) != 0, (terms & 2) != 0);
                property.coefEnergy *= 2.0f;
                property.coefForce *= 0.5f;

                expectAgreement(check(*set));
            }
        }
    }
}

TEST_F(EnergyDebug, AgreesWithStressInTheLoss) {
    test::DataShape shape = mixed;
    shape.stressEvery = 2;
    const auto set = makeSet(property, makeDataText(shape));
    for (const int sqrtLoss : {0, 1}) {
        for (const bool withOthers : {true, false}) {
            SCOPED_TRACE(testing::Message() << "sqrtLoss " << sqrtLoss << ", withOthers " << withOthers);
            property = test::makeSmallProperty();
            property.sqrtLoss = sqrtLoss;
            switchTerms(withOthers, withOthers);
            property.hasStressCoef = 1;
            property.coefStress = 2.0f;

            expectAgreement(check(*set));
        }
    }
}

TEST_F(EnergyDebug, AgreesForARenormalisedLoss) {
    property.withHDNNP = 0;
    const auto set = makeSet(property, makeDataText(mixed));
    set->energyDev = {0.5, 0.2};
    for (const int sqrtLoss : {0, 1}) {
        property.renormLoss = 1;
        property.sqrtLoss = sqrtLoss;

        expectAgreement(check(*set));
    }
}

TEST_F(EnergyDebug, AgreesForEachActivation) {
    const auto set = makeSet(property, makeDataText(mixed));
    for (const CodeName& activation : activationNames) {
        SCOPED_TRACE(activation.word);
        property.activEnergy = activation.code;
        // Its second derivative jumps at 0, where a long shift would cross.
        const bool isSmooth = activation.code != Activation::eLU;

        expectAgreement(check(*set, isSmooth ? shift : shift / 8.0f));
    }
}

TEST_F(EnergyDebug, AgreesForEachShapeOfTheNetworks) {
    for (const int elemWeight : {0, 1}) {
        for (const int numModels : {1, 3}) {
            for (const int numLayers : {1, 3}) {
                SCOPED_TRACE(testing::Message() << "elemWeight " << elemWeight << ", " << numModels
                                                << " models of " << numLayers << " layers");
                property = test::makeSmallProperty();
                property.elemWeight = elemWeight;
                property.modelsEnergy = numModels;
                property.layersEnergy = numLayers;
                const auto set = makeSet(property, makeDataText(mixed));

                // Deep networks are more curved.
                expectAgreement(check(*set, shift / 2.0f));
            }
        }
    }
}

// The simplified gradient leaves out what the force term owes to the biases.
TEST_F(EnergyDebug, TheApproximateGradientLacksTheForceTermOfTheBiases) {
    property.approxForce = 1;
    property.coefForce = 10.0f;
    const auto set = makeSet(property, makeDataText(mixed));

    const std::vector<Derivatives> list = check(*set);

    const Biases biases = findBiases(*set);
    ASSERT_EQ(biases.hidden.size(), 2U * 2U * 2U * 4U);
    ASSERT_EQ(biases.output.size(), 2U * 2U);
    ASSERT_LT(biases.output.back(), list.size());
    const auto differs = [&](std::size_t i) { return list[i].deviation() > 3.0 * list[i].bound; };
    EXPECT_GE(std::ranges::count_if(biases.hidden, differs), 24);
    // Forces do not depend on the output biases.
    for (const std::size_t i : biases.output) {
        EXPECT_LE(list[i].deviation(), list[i].bound) << "parameter " << i + 1;
    }
}

TEST_F(EnergyDebug, TheApproximateGradientOfForcesAloneIsZeroForTheBiases) {
    property.approxForce = 1;
    switchTerms(false, true);
    const auto set = makeSet(property, makeDataText(mixed));

    const std::vector<Derivatives> list = check(*set);

    const Biases biases = findBiases(*set);
    for (const std::size_t i : biases.hidden) {
        EXPECT_EQ(list[i].analytic, 0.0) << "parameter " << i + 1;
        EXPECT_NE(list[i].numerical, 0.0) << "parameter " << i + 1;
    }
    for (const std::size_t i : biases.output) {
        EXPECT_EQ(list[i].analytic, 0.0) << "parameter " << i + 1;
        EXPECT_EQ(list[i].numerical, 0.0) << "parameter " << i + 1;
    }
}

// --- the run
// ---------------------------------------------------------------------------------------------------------

TEST_F(EnergyDebug, TellsItsStepsInOrder) {
    const auto set = makeSet(property, makeDataText({}));

    const std::string text = debug(*set, -0.00125f);

    const char* const expected[] = {
        "  * There are 5 symmetry functions.\n\n"
        "  * Calculate symmetry functions.\n\n"
        "    |---",
        "===|\n\n"
        "  * Renormalize symmetry functions.\n\n"
        "    G (Si    ) = [ ",
        " ]\n\n"
        "  * Weight and Bias shift is -1.250e-03 .\n\n"
        "  Debug Gradient of Weight and Bias:\n\n"
        "  >>> Energy-gradient and EXACT force-gradient are used.\n"
        "\n            Weight,Bias   dL/dWB(NNP)   dL/dWB(Num)   Error\n"
        "  #.    1  ",
        "%)\n\n  * Wall time: 0d 0h 0m ",
    };
    std::size_t at = 0;
    for (const char* const part : expected) {
        const auto found = text.find(part, at);
        ASSERT_NE(found, std::string::npos) << part << "\nnot in\n" << text;
        at = found;
    }
    EXPECT_TRUE(text.starts_with(expected[0]));
    EXPECT_TRUE(text.ends_with("s.\n\n"));
    EXPECT_EQ(readGradientTable(text).size(), 2U * (5U * 4U + 4U + 4U * 4U + 4U + 4U + 1U));
}

TEST_F(EnergyDebug, UsesTheLastSchemeOfATraining) {
    struct Case {
        int hasForceCoef;
        int approxForce;
        std::string line;
    };
    const Case cases[] = {
        {1, 0, "  >>> Energy-gradient and EXACT force-gradient are used.\n"},
        {1, 1, "  >>> Energy-gradient and APPROXIMATE force-gradient are used.\n"},
        {0, 0, "  >>> Only energy-gradient is used.\n"},
        {0, 1, "  >>> Only energy-gradient is used.\n"},
    };
    const auto set = makeSet(property, makeDataText({.numGeoms = 1}));
    for (const Case& given : cases) {
        // A training would reach it much later.
        property.epochsOnlyE = 100;
        property.epochsApproxF = 100;
        property.hasForceCoef = given.hasForceCoef;
        property.approxForce = given.approxForce;

        const std::string text = debug(*set);

        EXPECT_EQ(countOf(text, ">>>"), 1);
        EXPECT_EQ(countOf(text, given.line), 1) << text;
    }
}

TEST_F(EnergyDebug, TellsThatTheLossIsRenormalisedBehindTheScheme) {
    property.withHDNNP = 0;
    property.renormLoss = 1;
    property.hasForceCoef = 0;
    const auto set = makeSet(property, makeDataText({}));

    EXPECT_EQ(countOf(debug(*set), "  >>> Only energy-gradient is used.\n"
                                   "  * Renormalize the loss function.\n\n"
                                   "\n            Weight,Bias "),
              1);
}

TEST_F(EnergyDebug, ChecksFreshNetworksUnlessItRestarts) {
    const auto set = makeSet(property, makeDataText({}));
    train(*set);

    const std::string fresh = debug(*set);
    const auto first = readGradientTable(fresh);
    const auto second = readGradientTable(debug(*set));
    property.restart = 1;
    const std::string restarted = debug(*set);
    const auto third = readGradientTable(restarted);
    const auto fourth = readGradientTable(debug(*set));

    EXPECT_EQ(countOf(fresh, "Restore"), 0);
    EXPECT_EQ(countOf(restarted, "  * There are 5 symmetry functions.\n\n"
                                 "  * Restore the neural network from the file.\n\n"
                                 "  * Calculate symmetry functions.\n\n"),
              1)
        << restarted;
    ASSERT_EQ(first.size(), fourth.size());
    for (const std::size_t i : {0U, 10U, 30U}) {
        EXPECT_NE(first[i].value, second[i].value);
        EXPECT_NE(first[i].value, third[i].value);
        EXPECT_EQ(third[i].value, fourth[i].value);
    }
}

TEST_F(EnergyDebug, GoesOnWithoutAModelToRestartFrom) {
    property.restart = 1;
    const auto set = makeSet(property, makeDataText({.numGeoms = 1}));

    const std::string text = debug(*set);

    EXPECT_EQ(countOf(text, "  * CANNOT restore the neural network from the file.\n\n"), 1) << text;
    EXPECT_FALSE(readGradientTable(text).empty());
}

TEST_F(EnergyDebug, WritesNoFiles) {
    const auto set = makeSet(property, makeDataText({.numGeoms = 1}));

    debug(*set);

    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(EnergyDebug, LeavesAStoredModelAsItIs) {
    const auto set = makeSet(property, makeDataText({}));
    train(*set);
    const std::string before = test::readTextFile(network + "_e");
    property.restart = 1;

    debug(*set);

    EXPECT_EQ(test::readTextFile(network + "_e"), before);
}

// --- refusals
// --------------------------------------------------------------------------------------------------------

TEST_F(EnergyDebug, RefusesAShiftOfZero) {
    const auto set = makeSet(property, makeDataText({.numGeoms = 1}));

    EXPECT_EQ(stopOfDebug(*set, 0.0f), "weight/bias shift is zero.");
    EXPECT_EQ(stopOfDebug(*set, -0.0f), "weight/bias shift is zero.");
}

TEST_F(EnergyDebug, LooksAtTheDataBeforeTheShift) {
    property.withHDNNP = 0;
    const auto set = makeSet(property, makeDataText({.numGeoms = 2, .hasAtomEnergy = false}));

    EXPECT_EQ(stopOfDebug(*set, 0.0f),
              "this training data does not support MELTA, please set \"withHDNNP 1\".");

    property.withHDNNP = 1;
    property.renormLoss = 1;
    EXPECT_EQ(stopOfDebug(*set, 0.0f), "HDNNP does not support \"renormLoss 1\".");
}

TEST_F(EnergyDebug, RefusesASetWithoutGeometries) {
    const auto full = makeSet(property, makeDataText({.numGeoms = 1}));
    GeometrySet set;
    set.numElems = full->numElems;
    set.elemNames = full->elemNames;

    EXPECT_EQ(stopOfDebug(set, shift), "#all-geometries is not positive.");
}

} // namespace
} // namespace melta
