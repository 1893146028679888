#include "base/RandomSource.hpp"
#include "config/Codes.hpp"
#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "training/GradientTable.hpp"
#include "training/NNChargeTrainer.hpp"
#include "training/SmallData.hpp"

#include <string>

namespace melta {
namespace {

using test::countOf;
using test::outputOf;
using test::stopMessageOf;

class ChargeDebug : public testing::Test {
protected:
    ChargeDebug() : property(test::makeSmallProperty()) {
        sharedRandom().seed(78);
        property.withCharge = 1;
        property.modelsCharge = 2;
        property.layersCharge = 2;
        property.nodesCharge = 4;
        set = test::makeSet(property, test::makeDataText({.numGeoms = 3, .labels = {"Si", "O", "Si"}}));
        set->chargeDev = {0.5f, 0.2f};
        for (const auto& geometry : set->geometries) {
            for (std::size_t a = 0; a < geometry->charges.size(); ++a) {
                const float sign = geometry->elements[a] == 0 ? 1.0f : -1.0f;
                geometry->charges[a] = sign * (0.5f + 0.02f * geometry->forces[3 * a]);
            }
        }
    }

    std::string debug(float by) {
        return outputOf([&] { NNChargeTrainer(&property, set.get(), nullptr).performDebug(network, by); });
    }

    std::string train() {
        return outputOf([&] {
            NNChargeTrainer(&property, set.get(), nullptr)
                .performTraining(network, directory.file("dist"), directory.file("EXIT"));
        });
    }

    // Loss of the stored model, from the only epoch of a restart that changes nothing.
    double lossOfStoredModel() {
        const Property settings = property;
        property.restart = 1;
        property.lbfgs = 0;
        property.epochs = 1;
        property.learnRate = 1.0e-20f;
        property.learnRateFinal = 1.0e-20f;
        const std::string output = train();
        property = settings;
        const auto at = output.find("Loss:");
        EXPECT_NE(at, std::string::npos) << output;
        return std::stod(output.substr(at + 5));
    }

    std::vector<test::Derivatives> check() {
        property.restart = 0;
        train();
        const double loss = lossOfStoredModel();
        property.restart = 1;
        return test::checkWithShifts([&](float by) { return debug(by); }, loss);
    }

    test::ThreadCount threads{1}; // the many small evaluations are not worth more
    test::StopCatcher stopCatcher;
    test::TemporaryDirectory directory;
    std::string network = directory.file("melta.data");
    Property property;
    std::unique_ptr<GeometrySet> set;
};

TEST_F(ChargeDebug, AgreesForEachFormOfTheLoss) {
    for (const int sqrtLoss : {0, 1}) {
        for (const int renormLoss : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "sqrtLoss " << sqrtLoss << ", renormLoss " << renormLoss);
            property.sqrtLoss = sqrtLoss;
            property.renormLoss = renormLoss;
            property.coefCharge = 2.0f;

            test::expectAgreement(check());
        }
    }
}

TEST_F(ChargeDebug, AgreesForEachActivation) {
    for (const CodeName& activation : activationNames) {
        SCOPED_TRACE(activation.word);
        property.activCharge = activation.code;

        test::expectAgreement(check());
    }
}

TEST_F(ChargeDebug, HasNoScheme) {
    property.renormLoss = 1;

    const std::string text = debug(0.01f);

    EXPECT_EQ(countOf(text, "  Debug Gradient of Weight and Bias:\n\n"
                            "  * Renormalize the loss function.\n\n"
                            "\n            Weight,Bias "),
              1)
        << text;
    EXPECT_EQ(countOf(text, ">>>"), 0);
}

TEST_F(ChargeDebug, WithoutALossBothGradientsAreZero) {
    property.coefCharge = 0.0f;
    property.hasChargeCoef = 0;

    for (const test::GradientRow& row : test::readGradientTable(debug(0.01f))) {
        EXPECT_EQ(row.analytic, 0.0);
        EXPECT_EQ(row.numerical, 0.0);
        EXPECT_EQ(row.percent, 0.0);
    }
}

TEST_F(ChargeDebug, RefusesAShiftOfZero) {
    EXPECT_EQ(stopMessageOf([&] { debug(0.0f); }), "weight/bias shift is zero.");
}

} // namespace
} // namespace melta
