#include "config/Property.hpp"

#include "config/PropertyFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <filesystem>

namespace melta::test {
namespace {

class PropertyTest : public PropertyFiles {};

TEST_F(PropertyTest, DefaultsOfDataAndSymmetryFunctions) {
    EXPECT_EQ(property.restart, 0);
    EXPECT_EQ(property.insituTest, 0);
    EXPECT_EQ(property.insituValid, 0);
    EXPECT_EQ(property.directSF, -1);
    EXPECT_EQ(property.regularElem, 1);
    EXPECT_EQ(property.maxForce, 10.0f);
    EXPECT_EQ(property.minEDev, 0.5f);
    EXPECT_EQ(property.maxEDev, 10.0f);
    EXPECT_EQ(property.minQDev, 0.1f);
    EXPECT_EQ(property.maxQDev, 10.0f);
    EXPECT_EQ(property.symmFuncKind, 3);
    EXPECT_EQ(property.elemWeight, 1);
    EXPECT_EQ(property.tanhCutoff, 1);
    EXPECT_EQ(property.m2, 100);
    EXPECT_EQ(property.m3, 10);
    EXPECT_EQ(property.rinner, 0.0f);
    EXPECT_EQ(property.router, 6.0f);
    EXPECT_EQ(property.numRadius, 50);
    EXPECT_EQ(property.numAngle, 30);
    EXPECT_EQ(property.rcutRadius, 6.0f);
    EXPECT_EQ(property.rcutAngle, 6.0f);
    EXPECT_EQ(property.behlerG4, 0);
    EXPECT_TRUE(property.radiusEta.empty() && property.radiusShift.empty());
    EXPECT_TRUE(property.angleEta.empty() && property.angleZeta.empty() && property.angleShift.empty());
}

TEST_F(PropertyTest, DefaultsOfNetworksAndBaselines) {
    EXPECT_EQ(property.modelsEnergy, 16);
    EXPECT_EQ(property.layersEnergy, 2);
    EXPECT_EQ(property.nodesEnergy, 40);
    EXPECT_EQ(property.activEnergy, 5);
    EXPECT_EQ(property.modelsCharge, 16);
    EXPECT_EQ(property.layersCharge, 2);
    EXPECT_EQ(property.nodesCharge, 40);
    EXPECT_EQ(property.activCharge, 5);
    EXPECT_EQ(property.withCharge, 0);
    EXPECT_EQ(property.withHDNNP, 1);
    EXPECT_EQ(property.withClassical, 0);
    EXPECT_EQ(property.withReaxFF, 0);
    EXPECT_EQ(property.rcutReaxFF, 5.0f);
    EXPECT_EQ(property.rateReaxFF, 0.5f);
    EXPECT_EQ(property.classicalTry, 64);
    EXPECT_EQ(property.classicalLower, -50.0f);
    EXPECT_EQ(property.gpuThreads, 256);
    EXPECT_EQ(property.gpuAtomBlock, 512);
}

TEST_F(PropertyTest, DefaultsOfTraining) {
    EXPECT_FALSE(property.forceLbfgs);
    EXPECT_EQ(property.lbfgs, 32);
    EXPECT_EQ(property.lineSearch, 0);
    EXPECT_EQ(property.lineSteps, 32);
    EXPECT_EQ(property.batchs, 0);
    EXPECT_EQ(property.epochs, 500);
    EXPECT_EQ(property.epochsStore, 1000);
    EXPECT_EQ(property.epochsOnlyE, 250);
    EXPECT_EQ(property.epochsApproxF, 500);
    EXPECT_EQ(property.superEpochs, 0);
    EXPECT_EQ(property.geomsEpoch, 500);
    EXPECT_EQ(property.sqrtLoss, 0);
    EXPECT_EQ(property.renormLoss, 0);
    EXPECT_EQ(property.approxForce, 0);
    EXPECT_EQ(property.hasEnergyCoef, 1);
    EXPECT_EQ(property.hasForceCoef, 1);
    EXPECT_EQ(property.hasChargeCoef, 1);
    EXPECT_EQ(property.rmseEnergy, 0.01f);
    EXPECT_EQ(property.rmseForce, 0.1f);
    EXPECT_EQ(property.rmseCharge, 0.01f);
    EXPECT_EQ(property.coefEnergy, 1.0f);
    EXPECT_EQ(property.coefForce, 1.0f);
    EXPECT_EQ(property.coefCharge, 1.0f);
    EXPECT_EQ(property.coefEnergyFinal, 0.0f);
    EXPECT_EQ(property.keepBest, 0);
    EXPECT_EQ(property.learnRateSchedule, LearnRateSchedule::decay);
    EXPECT_EQ(property.learnRate, 1.0e-4f);
    EXPECT_EQ(property.learnRateFinal, 1.0e-4f);
    EXPECT_EQ(property.learnRateDecay, 0.9999f);
    EXPECT_EQ(property.adamBeta1, 0.9f);
    EXPECT_EQ(property.adamBeta2, 0.999f);
}

TEST_F(PropertyTest, ClassicalFitForcesLbfgsWithWolfe) {
    const Property forced(true);
    const Property free(false);

    EXPECT_TRUE(forced.forceLbfgs);
    EXPECT_EQ(forced.lineSearch, LineSearch::wolfe);
    EXPECT_FALSE(free.forceLbfgs);
    EXPECT_EQ(free.lineSearch, LineSearch::moreThuente);
}

TEST_F(PropertyTest, MissingFileIsCreatedAndRead) {
    property.epochs = 77;

    const std::string banner =
        outputWithoutStop([&] { property.readProperty(propertyName, behlerName, false); });

    EXPECT_NE(readTextFile(propertyName).find("\nepochs         77\n"), std::string::npos);
    EXPECT_EQ(property.epochs, 77);
    EXPECT_NE(banner.find("This is Training Mode."), std::string::npos);
}

TEST_F(PropertyTest, ExistingFileIsNotOverwritten) {
    readText("epochs 12\n");

    EXPECT_EQ(readTextFile(propertyName), "epochs 12\n");
}

TEST_F(PropertyTest, EmptyFileKeepsTheDefaults) {
    const std::string banner = readText("");

    const std::string defaultBanner = outputOf([] { Property().printBanner(false, false); });
    EXPECT_EQ(banner, defaultBanner);
    EXPECT_EQ(property.minEDev, 0.5f);
    EXPECT_EQ(property.rcutAngle, 6.0f);
}

TEST_F(PropertyTest, FileInAMissingDirectoryIsRefused) {
    const std::string name = directory.file("none/melta.prop");

    EXPECT_EQ(stopMessageOf([&] { property.readProperty(name, behlerName, false); }),
              "cannot open file: " + name);
}

TEST_F(PropertyTest, DirectoryInPlaceOfTheFileIsRefused) {
    std::filesystem::create_directory(propertyName);

    EXPECT_EQ(stopMessageOf([&] { property.readProperty(propertyName, behlerName, false); }),
              "cannot open file: " + propertyName);
}

TEST_F(PropertyTest, BannerOfChargeTrainingFollowsTheMode) {
    const std::string banner = readText("withCharge 1\n", true);

    EXPECT_NE(banner.find("Neural Network for Charge:"), std::string::npos);
    EXPECT_EQ(banner.find("Neural Network for Energy:"), std::string::npos);
}

TEST_F(PropertyTest, CombinationsAreRefused) {
    EXPECT_EQ(stopOfText("minEDev 2\nmaxEDev 1\n"), about("minEDev > maxEDev"));
    property = Property();
    EXPECT_EQ(stopOfText("minQDev 20\n"), about("minQDev > maxQDev"));
    property = Property();
    EXPECT_EQ(stopOfText("symmFunc many-body\nelemWeight 0\nrinner 6\n"), about("router is too small"));
    property = Property();
    EXPECT_EQ(stopOfText("symmFunc many-body\n"), about("symmFunc of many-body does not support elemWeight"));
    property = Property();
    EXPECT_EQ(stopOfText("coefEnergy 0\ncoefForce 0\n"), about("both of coefEnergy and coefForce are zero"));
    property = Property();
    EXPECT_EQ(stopOfText("", true), about("you have to let withCharge be 1, for charge training"));
    property = Property();
    EXPECT_EQ(stopOfText("withClassical 1\nwithReaxFF 1\n"),
              about("you cannot use withClassical & withReaxFF at the same time"));
    property = Property();
    EXPECT_EQ(stopOfText("coefStress 1\nwithCharge 1\n"), about("coefStress does not support withCharge"));
    property = Property();
    EXPECT_EQ(stopOfText("coefStress 1\nrenormLoss 1\n"), about("coefStress does not support renormLoss"));
}

TEST_F(PropertyTest, CombinationsAtTheLimitAreAccepted) {
    readText(
        "minEDev 2\nmaxEDev 2\nminQDev 3\nmaxQDev 3\nrinner 9\ncoefEnergy 0\nwithReaxFF 1\nwithCharge 1\n");

    EXPECT_EQ(property.rinner, 9.0f);
    EXPECT_EQ(property.withReaxFF, 1);
}

// Each line of the file breaks one more rule; the rule that is checked first is reported.
TEST_F(PropertyTest, KeepingTheBestNeedsATest) {
    EXPECT_EQ(stopOfText("keepBest 1\n"), about("keepBest needs insituTest or insituValid"));
    readText("keepBest 1\ninsituTest 1\n");
    readText("keepBest 1\ninsituTest 0\ninsituValid 1\n");
    EXPECT_EQ(property.keepBest, 1);
}

TEST_F(PropertyTest, AWeightOfZeroDoesNotMove) {
    EXPECT_EQ(stopOfText("coefEnergy 0\ncoefEnergyFinal 3\n"),
              about("coefEnergyFinal needs a coefEnergy above zero"));
    property = Property();
    EXPECT_EQ(stopOfText("coefStressFinal 3\n"), about("coefStressFinal needs a coefStress above zero"));
}

TEST_F(PropertyTest, ACosineNeedsAnEndBelowItsStart) {
    const std::string complaint = about("learnRateSchedule cosine needs a learnRateFinal below learnRate");
    EXPECT_EQ(stopOfText("lbfgs 0\nlearnRateSchedule cosine\n"), complaint);
    EXPECT_EQ(stopOfText("learnRate 0.001\nlearnRateFinal 0.002\n"), complaint);
    property = Property();
    readText("learnRateSchedule cosine\n");
    EXPECT_EQ(property.learnRateSchedule, LearnRateSchedule::cosine);
    property = Property();
    readText("lbfgs 0\nlearnRateSchedule cosine\nlearnRate 0.001\n");
    EXPECT_EQ(property.learnRateFinal, 1.0e-4f);
}

TEST_F(PropertyTest, CombinationsAreCheckedInOrder) {
    const std::string baselines = "withClassical 1\nwithReaxFF 1\n";
    const std::string coefs = "coefEnergy 0\ncoefForce 0\n";
    const std::string weight = "symmFunc many-body\nelemWeight 1\n";
    const std::string outer = "rinner 7\nrouter 7\n";
    const std::string charges = "minQDev 20\n";
    const std::string energies = "minEDev 20\n";

    std::string text = "symmFunc behler\n" + baselines;
    EXPECT_EQ(stopOfText(text), about("you cannot use withClassical & withReaxFF at the same time"));
    EXPECT_EQ(stopOfText(text, true), about("you have to let withCharge be 1, for charge training"));
    text += coefs;
    EXPECT_EQ(stopOfText(text, true), about("both of coefEnergy and coefForce are zero"));
    text += weight;
    EXPECT_EQ(stopOfText(text, true), about("symmFunc of many-body does not support elemWeight"));
    text += outer;
    EXPECT_EQ(stopOfText(text, true), about("router is too small"));
    text += charges;
    EXPECT_EQ(stopOfText(text, true), about("minQDev > maxQDev"));
    text += energies;
    EXPECT_EQ(stopOfText(text, true), about("minEDev > maxEDev"));
    text += "minEDev 0\n";
    EXPECT_EQ(stopOfText(text, true), about("minEDev is not positive"));
}

TEST_F(PropertyTest, FinalLearnRateIsNotAboveTheFirst) {
    readText("learnRate 0.001\nlearnRateFinal 0.01\n");
    EXPECT_EQ(property.learnRateFinal, 0.001f);

    readText("learnRate 0.01\nlearnRateFinal 0.002\n");
    EXPECT_EQ(property.learnRateFinal, 0.002f);
}

TEST_F(PropertyTest, NoAngularFunctionsHaveNoCutoff) {
    readText("numAngle 0\nrcutAngle 5\n");

    EXPECT_EQ(property.rcutAngle, 0.0f);
}

TEST_F(PropertyTest, LargestCutoffFollowsTheKindsInUse) {
    property.rcutRadius = 5.0f;
    property.rcutAngle = 6.5f;
    property.router = 7.5f;

    EXPECT_EQ(findLargestCutoff(property), 6.5f);
    property.numAngle = 0;
    EXPECT_EQ(findLargestCutoff(property), 5.0f);
    property.numRadius = 0;
    EXPECT_EQ(findLargestCutoff(property), 0.0f);
    property.numAngle = 1;
    EXPECT_EQ(findLargestCutoff(property), 6.5f);
    property.symmFuncKind = ManyBodyKind::code;
    EXPECT_EQ(findLargestCutoff(property), 7.5f);
    property.symmFuncKind = BehlerKind::code;
    property.numRadius = 1;
    property.rcutRadius = 8.0f;
    EXPECT_EQ(findLargestCutoff(property), 8.0f);
}

} // namespace
} // namespace melta::test
