#include "config/PropertyReader.hpp"

#include "config/PropertyFiles.hpp"

#include <algorithm>

namespace melta::test {
namespace {

class PropertyReaderTest : public PropertyFiles {};

struct IntKey {
    const char* key;
    int Property::*field;
};

struct FloatKey {
    const char* key;
    float Property::*field;
};

const IntKey intKeys[] = {
    {"directSF", &Property::directSF},
    {"m2", &Property::m2},
    {"m3", &Property::m3},
    {"numRadius", &Property::numRadius},
    {"numAngle", &Property::numAngle},
    {"models", &Property::modelsEnergy},
    {"layers", &Property::layersEnergy},
    {"nodes", &Property::nodesEnergy},
    {"lbfgs", &Property::lbfgs},
    {"lineSteps", &Property::lineSteps},
    {"batchs", &Property::batchs},
    {"epochs", &Property::epochs},
    {"epochsStore", &Property::epochsStore},
    {"epochsOnlyE", &Property::epochsOnlyE},
    {"epochsApproxF", &Property::epochsApproxF},
    {"superEpochs", &Property::superEpochs},
    {"geomsEpoch", &Property::geomsEpoch},
    {"classicalTry", &Property::classicalTry},
    {"gpuThreads", &Property::gpuThreads},
    {"gpuAtomBlock", &Property::gpuAtomBlock},
};

const IntKey switchKeys[] = {
    {"restart", &Property::restart},
    {"insituTest", &Property::insituTest},
    {"regularElem", &Property::regularElem},
    {"elemWeight", &Property::elemWeight},
    {"tanhCutoff", &Property::tanhCutoff},
    {"sqrtLoss", &Property::sqrtLoss},
    {"renormLoss", &Property::renormLoss},
    {"withCharge", &Property::withCharge},
    {"withHDNNP", &Property::withHDNNP},
    {"withReaxFF", &Property::withReaxFF},
    {"insituValid", &Property::insituValid},
    {"approxForce", &Property::approxForce},
    {"withClassical", &Property::withClassical},
    {"withLJlike", &Property::withClassical},
    {"keepBest", &Property::keepBest},
};

const FloatKey floatKeys[] = {
    {"maxForce", &Property::maxForce},
    {"minEDev", &Property::minEDev},
    {"maxEDev", &Property::maxEDev},
    {"minQDev", &Property::minQDev},
    {"maxQDev", &Property::maxQDev},
    {"rinner", &Property::rinner},
    {"router", &Property::router},
    {"rcutRadius", &Property::rcutRadius},
    {"rcutAngle", &Property::rcutAngle},
    {"rcutReaxFF", &Property::rcutReaxFF},
    {"rateReaxFF", &Property::rateReaxFF},
    {"rmseEnergy", &Property::rmseEnergy},
    {"rmseForce", &Property::rmseForce},
    {"rmseCharge", &Property::rmseCharge},
    {"coefEnergy", &Property::coefEnergy},
    {"coefForce", &Property::coefForce},
    {"coefStress", &Property::coefStress},
    {"coefCharge", &Property::coefCharge},
    {"learnRate", &Property::learnRate},
    {"learnRateFinal", &Property::learnRateFinal},
    {"learnRateDecay", &Property::learnRateDecay},
    {"adamBeta1", &Property::adamBeta1},
    {"adamBeta2", &Property::adamBeta2},
    {"classicalLower", &Property::classicalLower},
    {"coefEnergyFinal", &Property::coefEnergyFinal},
    {"coefStressFinal", &Property::coefStressFinal},
};

const char* const wordKeys[] = {"symmFunc", "activ", "lineSearch", "learnRateSchedule"};

// The name of a key in the message about a value that cannot be read.
std::string unreadable(const std::string& key) {
    return "incorrect '" + (key == "activ" ? "acctiv" : key) + "'";
}

TEST_F(PropertyReaderTest, EveryIntegerKeySetsItsField) {
    std::string text;
    const std::size_t numKeys = std::size(intKeys);
    for (std::size_t i = 0; i < numKeys; ++i) {
        text += std::string(intKeys[i].key) + " " + std::to_string(1000 + i) + "\n";
    }

    writeTextFile(propertyName, text);
    readPropertyKeys(property, propertyName, false);

    for (std::size_t i = 0; i < numKeys; ++i) {
        EXPECT_EQ(property.*intKeys[i].field, static_cast<int>(1000 + i)) << intKeys[i].key;
    }
}

TEST_F(PropertyReaderTest, EverySwitchIsStoredAsZeroOrOne) {
    for (const IntKey& row : switchKeys) {
        for (const int before : {0, 1}) {
            for (const int value : {-2147483647, -1, 0, 1, 2, 2147483647}) {
                property.*row.field = before;

                writeTextFile(propertyName, std::string(row.key) + " " + std::to_string(value) + "\n");
                readPropertyKeys(property, propertyName, false);

                EXPECT_EQ(property.*row.field, value != 0 ? 1 : 0) << row.key << " " << value;
            }
        }
    }
}

TEST_F(PropertyReaderTest, SwitchesThatAreOnStayAsTheNetworkFileSays) {
    property.elemWeight = 2;
    readText("elemWeight 1\n");
    EXPECT_EQ(property.elemWeight, 2);

    readText("elemWeight 0\n");
    EXPECT_EQ(property.elemWeight, 0);
}

TEST_F(PropertyReaderTest, EveryFloatKeySetsItsField) {
    std::string text;
    float value = 0.001f;
    for (const FloatKey& key : floatKeys) {
        const std::string sign = std::string(key.key) == "classicalLower" ? "-" : "";
        text += std::string(key.key) + " " + sign + std::to_string(value) + "\n";
        value += 0.001f;
    }

    writeTextFile(propertyName, text);
    readPropertyKeys(property, propertyName, false);

    value = 0.001f;
    for (const FloatKey& key : floatKeys) {
        EXPECT_NEAR(std::abs(property.*key.field), value, 1.0e-6f) << key.key;
        value += 0.001f;
    }
    EXPECT_LT(property.classicalLower, 0.0f);
}

TEST_F(PropertyReaderTest, EveryWordIsStoredAsItsCode) {
    readText("symmFunc many-body\nelemWeight 0\nactiv asis\nlineSearch armijo\n");
    EXPECT_EQ(property.symmFuncKind, 1);
    EXPECT_EQ(property.activEnergy, 1);
    EXPECT_EQ(property.lineSearch, 1);

    readText("symmFunc chebyshev\nactiv GELU\nlineSearch strong-wolfe\n");
    EXPECT_EQ(property.symmFuncKind, 3);
    EXPECT_EQ(property.activEnergy, 6);
    EXPECT_EQ(property.lineSearch, 3);

    readText("activ sigmoid\nlineSearch more-thuente\n");
    EXPECT_EQ(property.activEnergy, 2);
    EXPECT_EQ(property.lineSearch, 0);
}

TEST_F(PropertyReaderTest, ChargeModeMovesOnlyTheNetworkKeys) {
    readText("withCharge 1\nmodels 3\nlayers 4\nnodes 5\nactiv tanh\nnumRadius 6\n", true);

    EXPECT_EQ(property.modelsCharge, 3);
    EXPECT_EQ(property.layersCharge, 4);
    EXPECT_EQ(property.nodesCharge, 5);
    EXPECT_EQ(property.activCharge, 3);
    EXPECT_EQ(property.numRadius, 6);
    EXPECT_EQ(property.modelsEnergy, 16);
    EXPECT_EQ(property.layersEnergy, 2);
    EXPECT_EQ(property.nodesEnergy, 40);
    EXPECT_EQ(property.activEnergy, 5);
}

TEST_F(PropertyReaderTest, EnergyModeLeavesTheChargeNetworkAlone) {
    readText("models 3\nlayers 4\nnodes 5\nactiv tanh\n");

    EXPECT_EQ(property.modelsEnergy, 3);
    EXPECT_EQ(property.activEnergy, 3);
    EXPECT_EQ(property.modelsCharge, 16);
    EXPECT_EQ(property.layersCharge, 2);
    EXPECT_EQ(property.nodesCharge, 40);
    EXPECT_EQ(property.activCharge, 5);
}

TEST_F(PropertyReaderTest, EveryKeyWithoutValueIsRefused) {
    for (const IntKey& key : intKeys) {
        EXPECT_EQ(stopOfText(std::string(key.key) + "\n"), unreadable(key.key));
    }
    for (const FloatKey& key : floatKeys) {
        EXPECT_EQ(stopOfText(std::string(key.key) + "\n"), unreadable(key.key));
    }
    for (const char* const key : wordKeys) {
        EXPECT_EQ(stopOfText(std::string(key) + "   \n"), unreadable(key));
    }
}

TEST_F(PropertyReaderTest, UnreadableIntegersAreRefused) {
    for (const IntKey& key : intKeys) {
        for (const char* const value : {"yes", "# 1", "2147483648", "-2147483649", "99999999999999999999"}) {
            EXPECT_EQ(stopOfText(std::string(key.key) + " " + value), unreadable(key.key)) << value;
        }
    }
}

TEST_F(PropertyReaderTest, UnreadableAndInfiniteFloatsAreRefused) {
    for (const FloatKey& key : floatKeys) {
        for (const char* const value :
             {"much", "nan", "NAN(1)", "-nan", "inf", "-infinity", "1e39", "-1e39"}) {
            EXPECT_EQ(stopOfText(std::string(key.key) + " " + value), unreadable(key.key)) << value;
        }
    }
}

TEST_F(PropertyReaderTest, LargestIntegersAreAccepted) {
    readText("models 2147483647\nnodes 2000000000\nnumRadius 2000000000\ndirectSF -2147483648\n");

    EXPECT_EQ(property.modelsEnergy, 2147483647);
    EXPECT_EQ(property.directSF, -2147483647 - 1);
}

struct Refusal {
    const char* line;
    const char* complaint;
};

class PropertyRefusalTest : public PropertyFiles, public testing::WithParamInterface<Refusal> {};

TEST_P(PropertyRefusalTest, StopsWithTheMessageOfTheKey) {
    EXPECT_EQ(stopOfText(std::string(GetParam().line) + "\n"), about(GetParam().complaint));
}

INSTANTIATE_TEST_SUITE_P(
    Limits, PropertyRefusalTest,
    testing::Values(
        Refusal{"minEDev 0", "minEDev is not positive"}, Refusal{"maxEDev -1", "maxEDev is not positive"},
        Refusal{"minQDev 0.0", "minQDev is not positive"}, Refusal{"maxQDev -0.0", "maxQDev is not positive"},
        Refusal{"m2 0", "m2 is not positive"}, Refusal{"m3 -1", "m3 is negative"},
        Refusal{"rinner -0.1", "rinner is negative"}, Refusal{"router 0", "router is not positive"},
        Refusal{"numRadius 0", "numRadius is not positive"}, Refusal{"numAngle -1", "numAngle is negative"},
        Refusal{"rcutRadius 0", "rcutRadius is not positive"},
        Refusal{"rcutAngle -1e-9", "rcutAngle is negative"}, Refusal{"models 0", "models is not positive"},
        Refusal{"layers -3", "layers is not positive"}, Refusal{"nodes 0", "nodes is not positive"},
        Refusal{"lbfgs -1", "lbfgs is negative"}, Refusal{"lineSteps 0", "lineStep is not positive"},
        Refusal{"epochs 0", "epochs is not positive"}, Refusal{"rcutReaxFF 0", "rcutReaxFF is not positive"},
        Refusal{"rateReaxFF 0", "rateReaxFF is not positive"},
        Refusal{"rmseEnergy 0", "rmseEnergy is not positive"},
        Refusal{"rmseForce -1", "rmseForce is not positive"},
        Refusal{"rmseCharge 0", "rmseCharge is not positive"},
        Refusal{"coefEnergy -1", "coefEnergy is negative"},
        Refusal{"coefEnergyFinal 0", "coefEnergyFinal is not positive"},
        Refusal{"coefStressFinal 0", "coefStressFinal is not positive"},
        Refusal{"coefForce -1e-20", "coefForce is negative"},
        Refusal{"coefStress -1e-20", "coefStress is negative"},
        Refusal{"coefCharge 0", "coefCharge is not positive"},
        Refusal{"coefCharge -1", "coefCharge is not positive"},
        Refusal{"learnRate 0", "learnRate is not positive"},
        Refusal{"learnRateFinal 0", "learnRateFinal is not positive"},
        Refusal{"learnRateDecay 0", "learnRateDecay is out of range"},
        Refusal{"learnRateDecay 1.0000002", "learnRateDecay is out of range"},
        Refusal{"adamBeta1 0", "adamBeta1 is out of range"},
        Refusal{"adamBeta1 1", "adamBeta1 is out of range"},
        Refusal{"adamBeta2 0", "adamBeta2 is out of range"},
        Refusal{"adamBeta2 1", "adamBeta2 is out of range"},
        Refusal{"classicalTry 0", "classicalTry is not positive"},
        Refusal{"classicalLower 0", "classicalLower is not negative"},
        Refusal{"classicalLower 1", "classicalLower is not negative"},
        Refusal{"gpuThreads 0", "gpuThreads is not positive"},
        Refusal{"gpuAtomBlock -1", "gpuAtomBlock is not positive"}));

INSTANTIATE_TEST_SUITE_P(Words, PropertyRefusalTest,
                         testing::Values(Refusal{"learnRateSchedule Cosine",
                                                 "incorrect learnRateSchedule (Cosine)"},
                                         Refusal{"symmFunc spline", "incorrect symmFunc (spline)"},
                                         Refusal{"symmFunc Behler", "incorrect symmFunc (Behler)"},
                                         Refusal{"symmFunc 3", "incorrect symmFunc (3)"},
                                         Refusal{"activ relu", "incorrect activ (relu)"},
                                         Refusal{"activ          Not Used", "incorrect activ (Not)"},
                                         Refusal{"lineSearch Wolfe", "incorrect lineSearch (Wolfe)"}));

TEST_F(PropertyReaderTest, ValuesAtTheLimitsAreAccepted) {
    readText(
        "m2 1\nm3 0\nrinner 0\nnumRadius 1\nnumAngle 0\nrcutAngle 0\nmodels 1\nlayers 1\nnodes 1\nlbfgs 0\n"
        "lineSteps 1\nepochs 1\ncoefForce 0\nlearnRateDecay 1\nclassicalTry 1\ngpuThreads 1\n");

    EXPECT_EQ(property.m3, 0);
    EXPECT_EQ(property.lbfgs, 0);
    EXPECT_EQ(property.learnRateDecay, 1.0f);
}

TEST_F(PropertyReaderTest, OtherKeysTakeAnyNumber) {
    readText("maxForce -3.5\nbatchs -1\nepochsStore 0\nepochsOnlyE -5\nsuperEpochs -1\ngeomsEpoch "
             "0\ndirectSF -7\n");

    EXPECT_EQ(property.maxForce, -3.5f);
    EXPECT_EQ(property.batchs, -1);
    EXPECT_EQ(property.epochsStore, 0);
    EXPECT_EQ(property.epochsOnlyE, -5);
    EXPECT_EQ(property.directSF, -7);
}

TEST_F(PropertyReaderTest, TextBehindTheValueIsIgnored) {
    readText("epochs 12 # enough\nactiv tanh or so\nmaxForce 3.5eV/A\nmodels 4.7\n");

    EXPECT_EQ(property.epochs, 12);
    EXPECT_EQ(property.activEnergy, 3);
    EXPECT_EQ(property.maxForce, 3.5f);
    EXPECT_EQ(property.modelsEnergy, 4);
}

TEST_F(PropertyReaderTest, LastOfRepeatedKeysCounts) {
    readText("epochs 12\nepochs 13\nwithLJlike 1\nwithClassical 0\n");

    EXPECT_EQ(property.epochs, 13);
    EXPECT_EQ(property.withClassical, 0);
}

TEST_F(PropertyReaderTest, BothNamesOfTheLjLikePotentialSetIt) {
    readText("withLJlike 1\n");
    EXPECT_EQ(property.withClassical, 1);

    readText("withClassical 0\n");
    EXPECT_EQ(property.withClassical, 0);
}

TEST_F(PropertyReaderTest, CommentsAndBlankLinesAreSkipped) {
    readText("# epochs 1\n#epochs 2\n!epochs 3\n  ! unknown\n\n   \t \n\tepochs\t14\r\n");

    EXPECT_EQ(property.epochs, 14);
}

TEST_F(PropertyReaderTest, KeysBehindTheEndAreIgnored) {
    readText("epochs 12\nendProperty # of file\nepochs 13\nnonsense\nmodels zero\n");

    EXPECT_EQ(property.epochs, 12);
}

TEST_F(PropertyReaderTest, UnknownKeysAreRefused) {
    EXPECT_EQ(stopOfText("epoch 12\n"), "unknown key word: epoch");
    EXPECT_EQ(stopOfText("Epochs 12\n"), "unknown key word: Epochs");
    EXPECT_EQ(stopOfText("epochs 12\nendproperty\n"), "unknown key word: endproperty");
    EXPECT_EQ(stopOfText("behlerG4 1\n"), "unknown key word: behlerG4");
    EXPECT_EQ(stopOfText("forceLbfgs 1\n"), "unknown key word: forceLbfgs");
}

TEST_F(PropertyReaderTest, LastLineNeedsNoLineEnd) {
    readText("epochs 12\nmodels 3");

    EXPECT_EQ(property.modelsEnergy, 3);
}

TEST_F(PropertyReaderTest, CoefficientsUpToTheLimitCountAsZero) {
    readText("coefEnergy 1.0e-20\ncoefCharge 1.0e-16\n");

    EXPECT_EQ(property.coefEnergy, 0.0f);
    EXPECT_EQ(property.hasEnergyCoef, 0);
    EXPECT_EQ(property.coefCharge, 0.0f);
    EXPECT_EQ(property.hasChargeCoef, 0);
    EXPECT_EQ(property.hasForceCoef, 1);
}

TEST_F(PropertyReaderTest, LaterCoefficientBringsTheFlagBack) {
    readText("coefForce 0\ncoefForce 1.1e-16\n");

    EXPECT_EQ(property.coefForce, 1.1e-16f);
    EXPECT_EQ(property.hasForceCoef, 1);
}

TEST_F(PropertyReaderTest, StressIsInTheLossOnlyWhereAsked) {
    EXPECT_EQ(property.hasStressCoef, 0);
    EXPECT_EQ(property.coefStress, 0.0f);
    EXPECT_EQ(property.givesStressCoef, 0);

    readText("coefStress 0.5\n");

    EXPECT_EQ(property.hasStressCoef, 1);
    EXPECT_TRUE(property.hasDerivativeCoef());
    readText("coefStress 0\n");
    EXPECT_EQ(property.hasStressCoef, 0);
    EXPECT_EQ(property.givesStressCoef, 1);
    EXPECT_TRUE(property.hasDerivativeCoef());
    readText("coefForce 0\n");
    EXPECT_FALSE(property.hasDerivativeCoef());
}

TEST_F(PropertyReaderTest, ForcedLbfgsIgnoresTheChoiceOfAdam) {
    property = Property(true);

    readText("lbfgs 0\n");
    EXPECT_EQ(property.lbfgs, 32);

    readText("lbfgs 8\n");
    EXPECT_EQ(property.lbfgs, 8);
    EXPECT_EQ(stopOfText("lbfgs -1\n"), about("lbfgs is negative"));
}

TEST_F(PropertyReaderTest, LongLinesAndWordsAreSafe) {
    const std::string many(100000, 'x');
    const std::string label(300, 'y');

    EXPECT_EQ(stopOfText(many + " 1\n"), "unknown key word: " + many);
    EXPECT_EQ(stopOfText("activ " + many + "\n"), about("incorrect activ (" + many + ")"));
    EXPECT_EQ(stopOfText("symmFunc " + label + "\n"), about("incorrect symmFunc (" + label + ")"));
    readText("# " + many + "\nepochs " + std::string(100000, ' ') + "15 " + many + "\nmodels 3\n");
    EXPECT_EQ(property.epochs, 15);
    EXPECT_EQ(property.modelsEnergy, 3);
}

TEST_F(PropertyReaderTest, NumbersOfManyDigitsAreReadOrRefused) {
    readText("epochs " + std::string(5000, '0') + "7\nrouter 6." + std::string(5000, '0') + "\n");
    EXPECT_EQ(property.epochs, 7);
    EXPECT_EQ(property.router, 6.0f);

    EXPECT_EQ(stopOfText("epochs " + std::string(5000, '7')), "incorrect 'epochs'");
    EXPECT_EQ(stopOfText("router " + std::string(5000, '7')), "incorrect 'router'");
}

TEST_F(PropertyReaderTest, BinaryJunkIsAnUnknownKey) {
    std::string junk;
    for (int i = 0; i < 4096; ++i) {
        junk.push_back(static_cast<char>((i * 197 + 131) % 256));
    }

    EXPECT_TRUE(stopOfText(junk).starts_with("unknown key word: "));
}

TEST_F(PropertyReaderTest, NulEndsALine) {
    readText(std::string("\0models 3\nepochs 12\0 34\n", 23));

    EXPECT_EQ(property.modelsEnergy, 16);
    EXPECT_EQ(property.epochs, 12);
}

TEST_F(PropertyReaderTest, MissingFileIsRefused) {
    const std::string missing = directory.file("none");

    EXPECT_EQ(stopMessageOf([&] { readPropertyKeys(property, missing, false); }),
              "cannot open file: " + missing);
}

} // namespace
} // namespace melta::test
