#include "symmfunc/cluster/ClusterKind.hpp"

#include "base/LineReader.hpp"
#include "config/HeadReader.hpp"
#include "config/PropertyFiles.hpp"
#include "symmfunc/InputMap.hpp"
#include "symmfunc/SymmFuncFactory.hpp"

#include <array>

namespace melta {
namespace {

using test::stopMessageOf;
using test::writeTextFile;

// Settings that choose these functions, from a properties file.
class ClusterKindTest : public test::PropertyFiles {
protected:
    [[nodiscard]] const SymmFuncKind& kind() const { return symmFuncKindOf(property); }

    // The line of the head that these settings make.
    std::string writtenHead() {
        FilePointer file = openForWriting(headName);
        kind().writeHead(file.get(), property);
        closeWritten(std::move(file), headName);
        return test::readTextFile(headName);
    }

    // What a reading of this line takes over; the message where it stops.
    std::string takeHead(const std::string& line) {
        writeTextFile(headName, line);
        LineReader lines(headName);
        HeadReader head(lines, taken, "FILE");
        return stopMessageOf([&] { kind().readHead(head); });
    }

    // The message of a comparison of this line with the settings.
    std::string compareHead(const std::string& line) {
        writeTextFile(headName, line);
        LineReader lines(headName);
        HeadReader head(lines, property, "FILE", true, true);
        return stopMessageOf([&] { kind().readHead(head); });
    }

    Property taken;
};

TEST_F(ClusterKindTest, HasDefaultsOfItsOwn) {
    readText("symmFunc cluster\n");

    EXPECT_EQ(property.symmFuncKind, ClusterKind::code);
    EXPECT_EQ(property.numRadius, 8);
    EXPECT_EQ(kind().countInputs(property, 1), 104.0);
    EXPECT_TRUE(scalesEachFunction(property));
    EXPECT_FALSE(kind().dependsOnElements(property));
}

TEST_F(ClusterKindTest, KeysCountWhereverTheKindIsChosen) {
    readText("numRadius 5\nnumRadius4 3\nsymmFunc cluster\nmaxAngular 2\nsymmScale shared\n");

    EXPECT_EQ(property.numRadius, 5);
    EXPECT_FALSE(scalesEachFunction(property));
    // 5 radial, 2 degrees of 9 products, 2 triples of 3 radial functions.
    EXPECT_EQ(kind().countInputs(property, 1), 5.0 + 2 * 9 + 2 * 3);
}

TEST_F(ClusterKindTest, OtherKindsKeepTheirDefaults) {
    readText("symmFunc chebyshev\n");

    EXPECT_EQ(property.numRadius, 50);
    EXPECT_FALSE(scalesEachFunction(property));
    property.symmScale = SymmScale::each;
    EXPECT_TRUE(scalesEachFunction(property));
}

TEST_F(ClusterKindTest, CountsWhatItCreates) {
    for (const int order : {2, 3, 4}) {
        for (const int numElems : {1, 2, 5}) {
            for (const int channels : {0, 1, 3}) {
                property = Property();
                readText("symmFunc cluster\nnumRadius 3\nmaxAngular 3\nnumRadius4 2\nbodyOrder " +
                         std::to_string(order) + "\nchannels " + std::to_string(channels) + "\n");
                const auto symmFunc = SymmFuncFactory().createSymmFunc(numElems, property);

                EXPECT_EQ(kind().countInputs(property, numElems), symmFunc->getNumBasis());
                EXPECT_EQ(kind().mapInputs(property, std::array{0}, numElems).targets.size(),
                          static_cast<std::size_t>(symmFunc->getNumBasis()));
            }
        }
    }
}

TEST_F(ClusterKindTest, ElementsSettleTheChannels) {
    readText("symmFunc cluster\n");
    const auto channelsFor = [&](int numElems) {
        Property settled = property;
        kind().fitToElements(settled, numElems);
        return settled.kindSettings.at("channels");
    };

    EXPECT_EQ(channelsFor(1), 1.0);
    EXPECT_EQ(channelsFor(2), 2.0);
    EXPECT_EQ(channelsFor(4), 2.0);
    property.kindSettings["channels"] = 3.0;
    EXPECT_EQ(channelsFor(2), 3.0);
}

TEST_F(ClusterKindTest, TrainsTheChannelsOfMoreThanTwoElements) {
    readText("symmFunc cluster\n");
    EXPECT_FALSE(kind().trainsElementWeights(property, 1));
    EXPECT_FALSE(kind().trainsElementWeights(property, 2));
    EXPECT_TRUE(kind().trainsElementWeights(property, 3));

    readText("symmFunc cluster\ntrainChannels 1\n");
    EXPECT_TRUE(kind().trainsElementWeights(property, 2));

    readText("symmFunc cluster\ntrainChannels 0\n");
    EXPECT_FALSE(kind().trainsElementWeights(property, 3));
}

TEST_F(ClusterKindTest, RefusesSettingsThatDoNotFit) {
    const auto stopOf = [&](const std::string& keys) {
        property = Property();
        return stopOfText("symmFunc cluster\n" + keys);
    };

    EXPECT_EQ(stopOf("bodyOrder 5\n"), about("bodyOrder is none of 2, 3 and 4"));
    EXPECT_EQ(stopOf("bodyOrder 1\n"), about("bodyOrder is none of 2, 3 and 4"));
    EXPECT_EQ(stopOf("maxAngular 7\n"), about("maxAngular is larger than 6"));
    EXPECT_EQ(stopOf("maxAngular 0\n"), about("maxAngular is not positive"));
    EXPECT_EQ(stopOf("numRadius 3\nnumRadius4 4\n"), about("numRadius4 > numRadius"));
    EXPECT_EQ(stopOf("channels -1\n"), about("channels is negative"));
    EXPECT_EQ(stopOf("numRadius 3\n"), "(no stop)"); // the default of numRadius4 follows
    EXPECT_EQ(stopOf("symmScale both\n"), "incorrect symmScale (both): " + propertyName);
}

TEST_F(ClusterKindTest, BannerTellsTheSizes) {
    const std::string banner = readText("symmFunc cluster\nrcutRadius 5\n");

    EXPECT_NE(banner.find("  Symmetry Function (Cluster Functions w/ tanh3-cutoff):\n"
                          "    Body Order     = 4\n"
                          "    Number of Rs   = 8\n"
                          "    Largest Degree = 4\n"
                          "    Rs of 4 Bodies = 4\n"
                          "    Channels       = Auto\n"
                          "    Train Weights  = Auto\n"
                          "    Rcut           = 5.000 Angstrom\n"),
              std::string::npos);
    EXPECT_NE(banner.find("    Scale of Inputs     = Each Function\n"), std::string::npos);
}

TEST_F(ClusterKindTest, TemplateHasItsKeys) {
    readText("symmFunc cluster\nmaxAngular 3\nnumRadius4 2\n");

    EXPECT_EQ(kind().templateText(property), "tanhCutoff     1\n"
                                             "numRadius      8\n"
                                             "maxAngular     3\n"
                                             "bodyOrder      4\n"
                                             "numRadius4     2\n"
                                             "rcutRadius     6.000\n");
}

TEST_F(ClusterKindTest, HeadIsReadAsItIsWritten) {
    readText("symmFunc cluster\nnumRadius 7\nmaxAngular 3\nnumRadius4 2\nrcutRadius 5.25\n");
    kind().fitToElements(property, 3);
    const std::string line = writtenHead();

    EXPECT_EQ(line, "7 3 4 2 2 5.25000000e+00\n");
    EXPECT_EQ(takeHead(line), "(no stop)");
    EXPECT_TRUE(kind().isSame(property, taken));
    EXPECT_EQ(compareHead(line), "(no stop)");
    taken.kindSettings["channels"] = 1.0;
    EXPECT_FALSE(kind().isSame(property, taken));
}

TEST_F(ClusterKindTest, ComparisonNamesWhatDiffers) {
    readText("symmFunc cluster\nchannels 2\n");

    EXPECT_EQ(compareHead("7 4 4 4 2 6\n"), "incorrect #radial functions of clusters: FILE");
    EXPECT_EQ(compareHead("8 3 4 4 2 6\n"), "incorrect largest degree of clusters: FILE");
    EXPECT_EQ(compareHead("8 4 3 4 2 6\n"), "incorrect body order of clusters: FILE");
    EXPECT_EQ(compareHead("8 4 4 2 2 6\n"), "incorrect #four-body radial functions of clusters: FILE");
    EXPECT_EQ(compareHead("8 4 4 4 1 6\n"), "incorrect #channels of clusters: FILE");
    EXPECT_EQ(compareHead("8 4 4 4 2 5\n"), "(no stop)"); // cutoffs are read past
}

TEST_F(ClusterKindTest, DamagedHeadsAreRefused) {
    readText("symmFunc cluster\nchannels 2\n");

    for (const char* const line :
         {"8 4 4 4 6\n", "8 4 4 x 2 6\n", "8 4 4 4 2 0\n", "8 4 4 4 2 nan\n", "\n"}) {
        EXPECT_EQ(takeHead(line), "cannot read cluster functions: FILE") << line;
    }
    for (const char* const line : {"0 4 4 4 2 6\n", "8 7 4 4 2 6\n", "8 0 4 4 2 6\n", "8 4 5 4 2 6\n",
                                   "8 4 4 9 2 6\n", "8 4 4 0 2 6\n", "8 4 4 4 0 6\n"}) {
        EXPECT_EQ(takeHead(line), "incorrect cluster functions: FILE") << line;
    }
    EXPECT_EQ(compareHead(""), "cannot read cluster functions.");
    EXPECT_EQ(taken.kindSettings.size(), 0U);
}

} // namespace
} // namespace melta
