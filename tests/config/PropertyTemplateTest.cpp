#include "config/PropertyFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

namespace melta::test {
namespace {

class PropertyTemplateTest : public PropertyFiles {
protected:
    std::string writtenText(bool chargeMode = false) {
        property.writeTemplate(propertyName, chargeMode, true);
        return readTextFile(propertyName);
    }

    // The line of a template that begins with this key.
    std::string writtenLine(const std::string& key) {
        std::string text("\n");
        text += writtenText();
        const std::size_t start = text.find("\n" + key + " ") + 1;
        return text.substr(start, text.find('\n', start) - start);
    }
};

const char* const runLines = "restart        0\n"
                             "insituTest     0\n"
                             "withCharge     0\n"
                             "withClassical  0\n"
                             "withReaxFF     0\n"
                             "rateReaxFF     0.500\n"
                             "\n";

const char* const networkLines = "models         16\n"
                                 "layers         2\n"
                                 "nodes          40\n"
                                 "activ          twtanh\n";

const char* const optimiserLines = "lbfgs          32\n"
                                   "epochs         500\n"
                                   "superEpochs    0\n"
                                   "geomsEpoch     500\n"
                                   "withHDNNP      1\n"
                                   "\n"
                                   "rmseEnergy     0.010\n"
                                   "rmseForce      0.100\n"
                                   "rmseCharge     0.010\n"
                                   "maxForce       10.00\n";

TEST_F(PropertyTemplateTest, DefaultsWithChebyshev) {
    EXPECT_EQ(writtenText(), std::string(runLines) +
                                 "symmFunc       chebyshev\n"
                                 "elemWeight     1\n"
                                 "tanhCutoff     1\n"
                                 "numRadius      50\n"
                                 "numAngle       30\n"
                                 "rcutRadius     6.000\n"
                                 "rcutAngle      6.000\n"
                                 "\n" +
                                 networkLines + optimiserLines);
}

TEST_F(PropertyTemplateTest, ManyBody) {
    property.symmFuncKind = ManyBodyKind::code;
    property.rinner = 0.25f;

    EXPECT_EQ(writtenText(), std::string(runLines) +
                                 "symmFunc       many-body\n"
                                 "m2             100\n"
                                 "m3             10\n"
                                 "rinner         0.250\n"
                                 "router         6.000\n"
                                 "\n" +
                                 networkLines + optimiserLines);
}

TEST_F(PropertyTemplateTest, Behler) {
    property.symmFuncKind = BehlerKind::code;
    property.elemWeight = 0;

    EXPECT_EQ(writtenText(), std::string(runLines) +
                                 "symmFunc       behler\n"
                                 "elemWeight     0\n"
                                 "tanhCutoff     1\n"
                                 "\n" +
                                 networkLines + optimiserLines);
}

TEST_F(PropertyTemplateTest, UnknownKind) {
    property.symmFuncKind = 7;

    EXPECT_EQ(writtenText(),
              std::string(runLines) + "symmFunc       ???\n\n" + networkLines + optimiserLines);
}

TEST_F(PropertyTemplateTest, EveryLineShowsItsField) {
    property.restart = 1;
    property.insituTest = 2;
    property.withCharge = 3;
    property.withClassical = 4;
    property.withReaxFF = 5;
    property.rateReaxFF = 0.125f;
    property.elemWeight = 6;
    property.tanhCutoff = 7;
    property.numRadius = 8;
    property.numAngle = 9;
    property.rcutRadius = 1.5f;
    property.rcutAngle = 2.5f;
    property.lbfgs = 10;
    property.epochs = 11;
    property.superEpochs = 12;
    property.geomsEpoch = 13;
    property.withHDNNP = 14;
    property.rmseEnergy = 0.015f;
    property.rmseForce = 0.25f;
    property.rmseCharge = 0.375f;
    property.maxForce = 5.5f;

    EXPECT_EQ(writtenText(), "restart        1\n"
                             "insituTest     2\n"
                             "withCharge     3\n"
                             "withClassical  4\n"
                             "withReaxFF     5\n"
                             "rateReaxFF     0.125\n"
                             "\n"
                             "symmFunc       chebyshev\n"
                             "elemWeight     6\n"
                             "tanhCutoff     7\n"
                             "numRadius      8\n"
                             "numAngle       9\n"
                             "rcutRadius     1.500\n"
                             "rcutAngle      1.500\n"
                             "\n"
                             "models         16\n"
                             "layers         2\n"
                             "nodes          40\n"
                             "activ          twtanh\n"
                             "lbfgs          10\n"
                             "epochs         11\n"
                             "superEpochs    12\n"
                             "geomsEpoch     13\n"
                             "withHDNNP      14\n"
                             "\n"
                             "rmseEnergy     0.015\n"
                             "rmseForce      0.250\n"
                             "rmseCharge     0.375\n"
                             "maxForce       5.500\n");
}

TEST_F(PropertyTemplateTest, ChargeModeShowsTheChargeNetwork) {
    property.modelsCharge = 3;
    property.layersCharge = 4;
    property.nodesCharge = 5;
    property.activCharge = Activation::sigmoid;

    const std::string chargeText = writtenText(true);
    const std::string energyText = writtenText(false);

    EXPECT_NE(
        chargeText.find("models         3\nlayers         4\nnodes          5\nactiv          sigmoid\n"),
        std::string::npos);
    EXPECT_NE(energyText.find(networkLines), std::string::npos);
}

TEST_F(PropertyTemplateTest, WordsOfActivation) {
    const char* const words[] = {"???", "Not Used", "sigmoid", "tanh", "eLU", "twtanh", "GELU", "???"};
    for (int activ = 0; activ < 8; ++activ) {
        property.activEnergy = activ;
        EXPECT_EQ(writtenLine("activ"), std::string("activ          ") + words[activ]);
    }
}

TEST_F(PropertyTemplateTest, DecimalsOfTheForceLimitFollowItsSize) {
    const std::pair<float, const char*> cases[] = {
        {-1.0f, "-1.000"}, {0.0f, "0.000"},   {9.9999f, "10.000"},   {10.0f, "10.00"},
        {99.99f, "99.99"}, {100.0f, "100.0"}, {12345.67f, "12345.7"}};
    for (const auto& [limit, text] : cases) {
        property.maxForce = limit;
        EXPECT_EQ(writtenLine("maxForce"), std::string("maxForce       ") + text);
    }
}

TEST_F(PropertyTemplateTest, ExistingFileStaysWithoutOverwrite) {
    writeTextFile(propertyName, "mine");

    property.writeTemplate(propertyName, false, false);
    EXPECT_EQ(readTextFile(propertyName), "mine");

    property.writeTemplate(propertyName, false, true);
    EXPECT_TRUE(readTextFile(propertyName).starts_with("restart "));
}

TEST_F(PropertyTemplateTest, MissingFileIsWrittenWithoutOverwrite) {
    property.writeTemplate(propertyName, false, false);

    EXPECT_TRUE(readTextFile(propertyName).starts_with("restart "));
}

TEST_F(PropertyTemplateTest, UnwritableFileIsRefused) {
    const std::string name = directory.file("none/melta.prop");

    EXPECT_EQ(stopMessageOf([&] { property.writeTemplate(name, false, true); }), "cannot open file: " + name);
}

TEST_F(PropertyTemplateTest, ReadingATemplateBringsItsSettingsBack) {
    Property written;
    written.restart = 1;
    written.insituTest = 1;
    written.withCharge = 1;
    written.withReaxFF = 1;
    written.rateReaxFF = 0.25f;
    written.elemWeight = 0;
    written.tanhCutoff = 0;
    written.numRadius = 12;
    written.numAngle = 7;
    written.rcutRadius = 5.5f;
    written.rcutAngle = 4.5f;
    written.modelsCharge = 3;
    written.activCharge = Activation::GELU;
    written.lbfgs = 0;
    written.epochs = 9;
    written.maxForce = 25.5f;
    written.writeTemplate(propertyName, true, true);

    const std::string banner =
        outputWithoutStop([&] { property.readProperty(propertyName, behlerName, true); });

    EXPECT_EQ(property.restart, 1);
    EXPECT_EQ(property.insituTest, 1);
    EXPECT_EQ(property.rateReaxFF, 0.25f);
    EXPECT_EQ(property.rcutRadius, 5.5f);
    EXPECT_EQ(property.rcutAngle, 5.5f) << "a template has one cutoff";
    EXPECT_EQ(property.maxForce, 25.5f);
    written.rcutAngle = 5.5f;
    EXPECT_EQ(banner, outputOf([&] { written.printBanner(false, true); }));
    property.writeTemplate(directory.file("again"), true, true);
    EXPECT_EQ(readTextFile(directory.file("again")), readTextFile(propertyName));
}

TEST_F(PropertyTemplateTest, ManyBodyTemplateIsReadBack) {
    Property written;
    written.symmFuncKind = ManyBodyKind::code;
    written.elemWeight = 0;
    written.m2 = 30;
    written.router = 7.25f;
    written.writeTemplate(propertyName, false, true);
    property.elemWeight = 0;

    outputWithoutStop([&] { property.readProperty(propertyName, behlerName, false); });

    EXPECT_EQ(property.symmFuncKind, ManyBodyKind::code);
    EXPECT_EQ(property.m2, 30);
    EXPECT_EQ(property.router, 7.25f);
}

TEST_F(PropertyTemplateTest, TemplateOfAnIdentityNetworkIsRefused) {
    property.activEnergy = Activation::asis;
    property.writeTemplate(propertyName, false, true);

    EXPECT_EQ(stopMessageOf([&] { property.readProperty(propertyName, behlerName, false); }),
              about("incorrect activ (Not)"));
}

} // namespace
} // namespace melta::test
