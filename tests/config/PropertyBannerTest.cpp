#include "config/PropertyFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <omp.h>

namespace melta::test {
namespace {

// The threads that the banner tells of are set, so that its whole text is known.
class PropertyBannerTest : public testing::Test {
protected:
    PropertyBannerTest() { omp_set_num_threads(3); }
    ~PropertyBannerTest() override { omp_set_num_threads(previousThreads); }

    std::string bannerText(bool testing, bool chargeMode) {
        return outputOf([&] { property.printBanner(testing, chargeMode); });
    }

    void expectLines(const std::string& lines, bool chargeMode = false) {
        const std::string text = bannerText(false, chargeMode);
        EXPECT_NE(text.find("\n" + lines), std::string::npos) << text;
    }

    // Symmetry functions, up to the empty line in front of the network.
    std::string symmFuncText() {
        const std::string text = bannerText(true, false);
        const std::size_t start = text.find("  Symmetry Function");
        return text.substr(start, text.find("  Neural Network") - start);
    }

    int previousThreads = omp_get_max_threads();
    Property property;
};

const std::string head = "  Melta Neural Network Potential (MELTA); Ver.1.9.2\n"
                         "  -----------------------------------------------------\n"
                         "                             < using SINGLE PRECISION >\n"
                         "                                       < using OpenMP >\n"
                         "\n";

const std::string testingMode = "  This is Testing Mode.\n"
                                "          ^^^^^^^\n"
                                "\n";

const std::string trainingMode = "  This is Training Mode.\n"
                                 "          ^^^^^^^^\n"
                                 "\n";

const std::string parallel = "  Parallel:\n"
                             "    #Processes of MPI               = 1\n"
                             "    #Threads of OpenMP, per Process = 3\n"
                             "\n";

const std::string chebyshev = "  Symmetry Function (Chebyshev polynomial w/ tanh3-cutoff):\n"
                              "    Element Weight = Yes\n"
                              "    Number of C2s  = 50\n"
                              "    Number of C3s  = 30\n"
                              "    Rcut for C2    = 6.000 Angstrom\n"
                              "    Rcut for C3    = 6.000 Angstrom\n"
                              "\n"
                              "  N. Artrith, A. Urban, and G. Ceder, Rhys. Rev. B 96, 014112 (2017)\n"
                              "\n";

const std::string energyNetwork = "  Neural Network for Energy:\n"
                                  "    Number of Models    = 16\n"
                                  "    Number of Layers    = 2\n"
                                  "    Number of Nodes     = 40\n"
                                  "    Activation Func.    = Twisted tanh : tanh(x) + 0.16 * x\n"
                                  "    With Atomic Charge  = No\n"
                                  "    LJ-like Potential   = No\n"
                                  "    ReaxFF Potential    = No\n";

const std::string chargeNetwork = "  Neural Network for Charge:\n"
                                  "    Number of Models    = 3\n"
                                  "    Number of Layers    = 4\n"
                                  "    Number of Nodes     = 5\n"
                                  "    Activation Func.    = sigmoid\n";

const std::string epochs = "    Size of Mini-batch  = Auto\n"
                           "    Maximum Epochs      = 500\n"
                           "    Maximum SuperEpochs = Auto\n"
                           "    #Geoms a SuperEpoch = 500\n";

const std::string energyTargets = "    RMSE of Energy      = 1.000e-02 eV\n"
                                  "    RMSE of Force       = 1.000e-01 eV/Angstrom\n"
                                  "    Training Algorithm  = HDNNP\n";

const std::string energyRates = "    Energy Mixing Rate  = 1.0000000 eV^-2\n"
                                "    Force Mixing Rate   = 1.0000000 (Angstrom/eV)^2\n";

const std::string lbfgs = "    Optimizer for NN    = L-BFGS\n"
                          "    L-BFGS's Dimension  = 32\n"
                          "    Line Search Method  = More-Thuente\n"
                          "    Line Search #Steps  = 32\n"
                          "\n";

const std::string adam = "    Optimizer for NN    = Adam\n"
                         "    Adam's Beta1        = 0.8999999\n"
                         "    Adam's Beta2        = 0.9990000\n"
                         "    Learning Rate       = 1.000e-04 -> 2.000e-05\n"
                         "    Decay Coef. of LR   = 0.9999000\n"
                         "\n";

const std::string trainingCitation =
    "  Y. Huang, J. Kang, W. A. Goddard III, and L.-W. Wang, Rhys. Rev. B 99, 064103 (2019)\n"
    "\n";

TEST_F(PropertyBannerTest, TrainingOfEnergyWithLbfgs) {
    EXPECT_EQ(bannerText(false, false), head + trainingMode + parallel + chebyshev + energyNetwork + epochs +
                                            energyTargets + energyRates + lbfgs + trainingCitation);
}

TEST_F(PropertyBannerTest, TestingOfEnergyEndsWithItsNetwork) {
    EXPECT_EQ(bannerText(true, false), head + testingMode + parallel + chebyshev + energyNetwork + "\n");
}

TEST_F(PropertyBannerTest, TestingWithChargeShowsBothNetworks) {
    property.withCharge = 1;
    property.modelsCharge = 3;
    property.layersCharge = 4;
    property.nodesCharge = 5;
    property.activCharge = Activation::sigmoid;
    std::string network = energyNetwork;
    network.replace(network.find("Charge  = No"), 12, "Charge  = Yes");

    const std::string expected =
        head + testingMode + parallel + chebyshev + network + "\n" + chargeNetwork + "\n";
    EXPECT_EQ(bannerText(true, false), expected);
    EXPECT_EQ(bannerText(true, true), expected);
}

TEST_F(PropertyBannerTest, TrainingOfChargeWithAdam) {
    property.withCharge = 1;
    property.modelsCharge = 3;
    property.layersCharge = 4;
    property.nodesCharge = 5;
    property.activCharge = Activation::sigmoid;
    property.lbfgs = 0;
    property.adamBeta1 = 0.89999992f;
    property.learnRateFinal = 2.0e-5f;
    property.coefCharge = 0.25f;

    EXPECT_EQ(bannerText(false, true), head + trainingMode + parallel + chebyshev + chargeNetwork + epochs +
                                           "    RMSE of Charge      = 1.000e-02 e\n"
                                           "    Training Algorithm  = MELTA\n"
                                           "    Charge Mixing Rate  = 0.2500000 e^-2\n" +
                                           adam + trainingCitation);
}

TEST_F(PropertyBannerTest, TrainingOfEnergyWithChargeShowsNoChargeNetwork) {
    property.withCharge = 1;

    EXPECT_EQ(bannerText(false, false).find("Neural Network for Charge:"), std::string::npos);
}

TEST_F(PropertyBannerTest, ManyBody) {
    property.symmFuncKind = ManyBodyKind::code;
    property.rinner = 0.5f;

    EXPECT_EQ(symmFuncText(), "  Symmetry Function (Many-Body Method):\n"
                              "    M2     = 100\n"
                              "    M3     = 10\n"
                              "    Rinner = 0.500 Angstrom\n"
                              "    Router = 6.000 Angstrom\n"
                              "\n" +
                                  trainingCitation);
}

TEST_F(PropertyBannerTest, ChebyshevWithCosineCutoff) {
    property.tanhCutoff = 0;
    property.elemWeight = 0;
    property.rcutAngle = 4.25f;

    EXPECT_EQ(symmFuncText(), "  Symmetry Function (Chebyshev polynomial w/ cosine-cutoff):\n"
                              "    Element Weight = No\n"
                              "    Number of C2s  = 50\n"
                              "    Number of C3s  = 30\n"
                              "    Rcut for C2    = 6.000 Angstrom\n"
                              "    Rcut for C3    = 4.250 Angstrom\n"
                              "\n"
                              "  N. Artrith, A. Urban, and G. Ceder, Rhys. Rev. B 96, 014112 (2017)\n"
                              "\n");
}

TEST_F(PropertyBannerTest, UnknownSymmetryFunctionsAreLeftOut) {
    property.symmFuncKind = 0;

    EXPECT_EQ(bannerText(true, false), head + testingMode + parallel + energyNetwork + "\n");
}

const std::string behlerCitations = "\n"
                                    "  J. Behler, Int. J. Quant. Chem. 115, 1032 (2015)\n"
                                    "  M. Gastegger, L. Schwiedrzik, M. Bittermann, F. Berzsenyi, "
                                    "and P. Marquetand, J. Chem. Phys. 148, 241709 (2018)\n"
                                    "\n";

TEST_F(PropertyBannerTest, BehlerG3) {
    property.symmFuncKind = BehlerKind::code;
    property.numRadius = 2;
    property.numAngle = 3;
    property.radiusEta = {0.5f, 0.02f};
    property.radiusShift = {0.5f, 5.5f};
    property.angleEta = {0.25f, 0.5f, 0.016529f};
    property.angleZeta = {1.0f, 4.0f, 2.0f};
    property.angleShift = {0.0f, 0.0f, 0.0f};

    EXPECT_EQ(symmFuncText(), "  Symmetry Function (Behler's G2 & G3 w/ tanh3-cutoff):\n"
                              "    Element Weight = Yes\n"
                              "    Number of G2s  = 2\n"
                              "    Number of G3s  = 3 x 2\n"
                              "    Rcut for G2    = 6.000 Angstrom\n"
                              "    Rcut for G3    = 6.000 Angstrom\n"
                              "    Eta  for G2    = 0.020 ~ 0.500 Angstorm^-2\n"
                              "    Rs   for G2    = 0.500 ~ 5.500 Angstrom\n"
                              "    Eta  for G3    = 0.017 ~ 0.500 Angstrom^-2\n"
                              "    Zeta for G3    = 1.000 ~ 4.000\n"
                              "    Rs   for G3    = 0.000 ~ 0.000 Angstrom\n" +
                                  behlerCitations);
}

TEST_F(PropertyBannerTest, BehlerG4WithWideNumbers) {
    property.symmFuncKind = BehlerKind::code;
    property.behlerG4 = 1;
    property.elemWeight = 0;
    property.tanhCutoff = 0;
    property.numRadius = 1;
    property.numAngle = 1;
    property.rcutRadius = 5.5f;
    property.rcutAngle = 4.5f;
    property.radiusEta = {0.02f};
    property.radiusShift = {0.5f};
    property.angleEta = {10.5f};
    property.angleZeta = {1.0f};
    property.angleShift = {0.25f};

    EXPECT_EQ(symmFuncText(), "  Symmetry Function (Behler's G2 & G4 w/ cosine-cutoff):\n"
                              "    Element Weight = No\n"
                              "    Number of G2s  = 1\n"
                              "    Number of G4s  = 1 x 2\n"
                              "    Rcut for G2    = 5.500 Angstrom\n"
                              "    Rcut for G4    = 4.500 Angstrom\n"
                              "    Eta  for G2    =  0.020 ~  0.020 Angstorm^-2\n"
                              "    Rs   for G2    =  0.500 ~  0.500 Angstrom\n"
                              "    Eta  for G4    = 10.500 ~ 10.500 Angstrom^-2\n"
                              "    Zeta for G4    =  1.000 ~  1.000\n"
                              "    Rs   for G4    =  0.250 ~  0.250 Angstrom\n" +
                                  behlerCitations);
}

TEST_F(PropertyBannerTest, EachBehlerRangeWidensAll) {
    property.symmFuncKind = BehlerKind::code;
    std::vector<float> Property::*const arrays[] = {&Property::radiusEta, &Property::radiusShift,
                                                    &Property::angleEta, &Property::angleZeta,
                                                    &Property::angleShift};
    for (const auto array : arrays) {
        property.*array = {9.9994f};
        EXPECT_EQ(symmFuncText().find("=  0.000"), std::string::npos);
        property.*array = {9.9995f};
        EXPECT_NE(symmFuncText().find("=  0.000"), std::string::npos);
        property.*array = {};
    }
}

TEST_F(PropertyBannerTest, BehlerWithoutAngularFunctionsHasZeroRanges) {
    property.symmFuncKind = BehlerKind::code;
    property.numRadius = 1;
    property.numAngle = 0;
    property.radiusEta = {0.02f};
    property.radiusShift = {0.5f};

    const std::string text = symmFuncText();
    EXPECT_NE(text.find("    Number of G3s  = 0 x 2\n"), std::string::npos);
    EXPECT_NE(text.find("    Eta  for G3    = 0.000 ~ 0.000 Angstrom^-2\n"
                        "    Zeta for G3    = 0.000 ~ 0.000\n"
                        "    Rs   for G3    = 0.000 ~ 0.000 Angstrom\n"),
              std::string::npos);
}

TEST_F(PropertyBannerTest, TextsOfActivation) {
    const char* const texts[] = {
        "???", "Not Used", "sigmoid", "tanh", "eLU", "Twisted tanh : tanh(x) + 0.16 * x", "GELU", "???"};
    for (int activ = 0; activ < 8; ++activ) {
        property.activEnergy = activ;
        expectLines("    Activation Func.    = " + std::string(texts[activ]) + "\n");
    }
}

TEST_F(PropertyBannerTest, ReaxFFShowsCutoffAndRate) {
    property.withCharge = 1;
    property.withReaxFF = 1;
    property.rcutReaxFF = 7.5f;

    expectLines("    With Atomic Charge  = Yes\n"
                "    LJ-like Potential   = No\n"
                "    ReaxFF Potential    = Yes\n"
                "    Rcut for ReaxFF     = 7.500 Angstrom\n"
                "    Rate of ReaxFF      = 0.500\n"
                "    Size of Mini-batch  = Auto\n");
}

TEST_F(PropertyBannerTest, LjLikePotential) {
    property.withClassical = 1;

    expectLines("    LJ-like Potential   = Yes\n"
                "    ReaxFF Potential    = No\n"
                "    Size of Mini-batch  = Auto\n");
}

TEST_F(PropertyBannerTest, SizesOfEpochs) {
    property.batchs = 1;
    property.epochs = 10;
    property.superEpochs = 2;
    property.geomsEpoch = 0;
    expectLines("    Size of Mini-batch  = 1\n"
                "    Maximum Epochs      = 10\n"
                "    Maximum SuperEpochs = 2\n"
                "    #Geoms a SuperEpoch = Auto\n");
}

TEST_F(PropertyBannerTest, WhatMovesIsShownWithItsEnd) {
    property.lbfgs = 0;
    property.coefEnergyFinal = 30.0f;
    property.learnRate = 0.007f;
    property.learnRateFinal = 1.0e-5f;
    property.learnRateSchedule = LearnRateSchedule::cosine;

    expectLines("    Energy Mixing Rate  = 1.0000000 -> 30.0000000 eV^-2\n"
                "    Force Mixing Rate   = 1.0000000 (Angstrom/eV)^2\n");
    expectLines("    Learning Rate       = 7.000e-03 -> 1.000e-05\n"
                "    Schedule of LR      = Cosine\n"
                "\n");
}

TEST_F(PropertyBannerTest, WeightOfTheStressMovesByItself) {
    property.lbfgs = 0;
    property.hasStressCoef = 1;
    property.coefStress = 0.5f;
    property.coefStressFinal = 20.0f;

    expectLines("    Energy Mixing Rate  = 1.0000000 eV^-2\n"
                "    Force Mixing Rate   = 1.0000000 (Angstrom/eV)^2\n"
                "    Stress Mixing Rate  = 0.5000000 -> 20.0000000 eV^-2\n");
}

TEST_F(PropertyBannerTest, WeightsStayWithLbfgs) {
    property.coefEnergyFinal = 30.0f;

    expectLines(energyRates);
}

TEST_F(PropertyBannerTest, DataByWhichNetworksAreKept) {
    property.insituTest = 1;
    property.keepBest = 1;
    expectLines("    Line Search #Steps  = 32\n"
                "    Networks to Keep    = Best of testing data\n"
                "\n");

    property.insituValid = 1;
    expectLines("    Networks to Keep    = Best of validation data\n"
                "\n");
}

TEST_F(PropertyBannerTest, AlgorithmOfAtomicEnergies) {
    property.withHDNNP = 0;

    expectLines("    Training Algorithm  = MELTA\n");
}

TEST_F(PropertyBannerTest, UnitsOfMixingRatesFollowTheLoss) {
    struct Case {
        int renormLoss;
        int sqrtLoss;
        const char* energy;
        const char* force;
        const char* charge;
    };
    const Case cases[] = {{1, 0, "", " Angstrom^2", ""},
                          {1, 1, "", " Angstrom", ""},
                          {0, 1, " eV^-1", " Angstrom/eV", " e^-1"},
                          {0, 0, " eV^-2", " (Angstrom/eV)^2", " e^-2"}};
    property.coefEnergy = 0.0f;
    property.coefForce = 0.1f;
    property.coefCharge = 12.5f;
    for (const Case& each : cases) {
        property.renormLoss = each.renormLoss;
        property.sqrtLoss = each.sqrtLoss;
        expectLines(std::string("    Energy Mixing Rate  = 0.0000000") + each.energy +
                    "\n    Force Mixing Rate   = 0.1000000" + each.force + "\n    Optimizer");
        expectLines(std::string("    Charge Mixing Rate  = 12.5000000") + each.charge + "\n    Optimizer",
                    true);
    }
}

TEST_F(PropertyBannerTest, TheRateOfStressStandsWhereItIsInUse) {
    property.coefForce = 0.1f;
    property.coefStress = 2.5f;
    property.hasStressCoef = 1;
    expectLines("    Force Mixing Rate   = 0.1000000 (Angstrom/eV)^2\n"
                "    Stress Mixing Rate  = 2.5000000 eV^-2\n    Optimizer");
    property.hasStressCoef = 0;
    expectLines("    Force Mixing Rate   = 0.1000000 (Angstrom/eV)^2\n    Optimizer");
}

TEST_F(PropertyBannerTest, LineSearches) {
    const char* const texts[] = {"More-Thuente", "Armijo", "Wolfe", "Strong-Wolfe"};
    property.lbfgs = 1;
    property.lineSteps = 9;
    for (int lineSearch = 0; lineSearch < 4; ++lineSearch) {
        property.lineSearch = lineSearch;
        expectLines(std::string("    L-BFGS's Dimension  = 1\n    Line Search Method  = ") +
                    texts[lineSearch] + "\n    Line Search #Steps  = 9\n\n");
    }
}

} // namespace
} // namespace melta::test
