#include "training/BeginningWatch.hpp"

#include "training/TrainingRun.hpp"

#include <filesystem>

namespace melta {
namespace {

using test::makeDataText;
using test::makeSet;
using test::readTextFile;

// A good model, and a training that goes on with it.
class GoingOn : public test::EnergyTraining {
protected:
    GoingOn() {
        property.epochs = 60;
        set = makeSet(property, makeDataText({.numGeoms = 8}));
        train(*set);
        head = readTextFile(network);
        networks = readTextFile(network + "_e");
        property.restart = 1;
        property.lbfgs = 0;
        property.epochs = 1;
    }

    void setRate(float rate) {
        property.learnRate = rate;
        property.learnRateFinal = rate;
    }

    // The line that tells of the kept files.
    [[nodiscard]] std::string warning() const {
        return "  * WARNING: the loss is more than twice that of the networks that the training began with; "
               "they "
               "are kept in the files: " +
               network + ".begin, " + network + "_e.begin\n\n";
    }

    [[nodiscard]] bool hasKept() const {
        return std::filesystem::exists(network + ".begin") || std::filesystem::exists(network + "_e.begin");
    }

    std::unique_ptr<GeometrySet> set;
    std::string head;
    std::string networks;
};

TEST_F(GoingOn, KeepsTheNetworksOfTheBeginningWhereItSpoilsThem) {
    for (const int batchs : {0, 3}) {
        for (const int geomsEpoch : {0, 4}) {
            for (const int directSF : {0, 1}) {
                SCOPED_TRACE(testing::Message() << batchs << " " << geomsEpoch << " " << directSF);
                test::writeTextFile(network, head);
                test::writeTextFile(network + "_e", networks);
                property.batchs = batchs;
                property.geomsEpoch = geomsEpoch;
                property.superEpochs = 1;
                property.directSF = directSF;
                setRate(5.0f);

                const std::string output = train(*set);

                EXPECT_EQ(test::countOf(output, warning()), 1) << output;
                EXPECT_EQ(readTextFile(network + ".begin"), head);
                EXPECT_EQ(readTextFile(network + "_e.begin"), networks);
                EXPECT_NE(readTextFile(network + "_e"), networks);
                std::filesystem::remove(network + ".begin");
                std::filesystem::remove(network + "_e.begin");
            }
        }
    }
}

TEST_F(GoingOn, KeepsThemOnceAlthoughItStoresInEachEpoch) {
    property.epochs = 4;
    property.epochsStore = 1;
    setRate(5.0f);

    const std::string output = train(*set);

    EXPECT_EQ(test::countOf(output, warning()), 1) << output;
    EXPECT_EQ(readTextFile(network + ".begin"), head);
    EXPECT_EQ(readTextFile(network + "_e.begin"), networks);
}

TEST_F(GoingOn, ReplacesNoBeginningOfAnEarlierRun) {
    setRate(5.0f);
    train(*set);
    const std::string spoiled = readTextFile(network + "_e");
    setRate(500.0f);

    train(*set);

    EXPECT_EQ(readTextFile(network + "_e.begin"), networks);
    EXPECT_EQ(readTextFile(network + "_e.begin.2"), spoiled);
    EXPECT_EQ(readTextFile(network + ".begin.2"), readTextFile(network + ".begin"));
}

TEST_F(GoingOn, KeepsNothingWhereTheNetworksStayGood) {
    for (const int batchs : {0, 3}) {
        property.batchs = batchs;
        setRate(1.0e-7f);

        const std::string output = train(*set);

        EXPECT_EQ(output.find("WARNING"), std::string::npos) << output;
        EXPECT_FALSE(hasKept());
    }
}

TEST_F(GoingOn, KeepsNothingForLbfgs) {
    property.lbfgs = 4;

    train(*set);

    EXPECT_FALSE(hasKept());
}

TEST_F(GoingOn, KeepsNothingOfATrainingFromTheStart) {
    property.restart = 0;
    property.epochs = 3;
    property.epochsStore = 1;
    setRate(0.5f);

    train(*set);

    EXPECT_FALSE(hasKept());
}

// The measure of the beginning must not change the training.
TEST_F(GoingOn, LeavesTheTrainingAsItIs) {
    std::vector<std::string> results;
    for (const int epochsStore : {1, 0}) {
        test::writeTextFile(network, head);
        test::writeTextFile(network + "_e", networks);
        sharedRandom().seed(5);
        property.epochs = 5;
        property.batchs = 3;
        property.epochsStore = epochsStore;
        setRate(1.0e-3f);

        train(*set);

        results.push_back(readTextFile(network + "_e"));
    }
    EXPECT_EQ(results[0], results[1]);
}

} // namespace
} // namespace melta
