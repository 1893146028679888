// Trainings that cannot go well: whatever spoils them, the model that was there stays.
#include "training/TrainingRun.hpp"

#include <filesystem>
#include <limits>

namespace melta {
namespace {

using test::makeDataText;
using test::makeSet;
using test::readTextFile;
using test::stopMessageOf;

class Divergence : public test::EnergyTraining {
protected:
    Divergence() {
        property.epochs = 5;
        set = makeSet(property, makeDataText({}));
        train(*set);
        head = readTextFile(network);
        networks = readTextFile(network + "_e");
        distributions = readTextFile(file("dist"));
    }

    std::string stopOf() {
        return stopMessageOf([&] { train(*set); });
    }

    void expectOldModel() const {
        EXPECT_EQ(readTextFile(network), head);
        EXPECT_EQ(readTextFile(network + "_e"), networks);
        EXPECT_EQ(readTextFile(file("dist")), distributions);
    }

    std::unique_ptr<GeometrySet> set;
    std::string head;
    std::string networks;
    std::string distributions;
};

TEST_F(Divergence, AdamWithAnAbsurdRateKeepsTheModel) {
    property.lbfgs = 0;
    property.epochs = 50;
    for (const int restart : {0, 1}) {
        property.restart = restart;
        for (const float rate : {1.0e30f, 3.0e38f}) {
            property.learnRate = rate;
            property.learnRateFinal = rate;

            EXPECT_EQ(stopOf(), "the training diverged: loss");
            expectOldModel();
        }
    }
}

TEST_F(Divergence, WeightsThatAreNotFiniteAreNeverStored) {
    property.lbfgs = 0;
    property.epochs = 1;
    property.learnRate = 3.0e38f; // the only step of the run
    property.learnRateFinal = property.learnRate;
    property.coefEnergy = 1.0e10f;

    const std::string message = stopOf();

    // Either way: nothing but finite numbers is on the disk.
    if (message == "(no stop)") {
        EXPECT_EQ(readTextFile(network + "_e").find_first_of("in"), std::string::npos);
    } else {
        EXPECT_EQ(message, "the training diverged: weights");
        expectOldModel();
    }
}

TEST_F(Divergence, AnEnergyBeyondSinglePrecisionKeepsTheModel) {
    for (const int lbfgs : {0, 8}) {
        for (const double energy : {1.0e300, std::numeric_limits<double>::quiet_NaN()}) {
            SCOPED_TRACE(testing::Message() << lbfgs << " " << energy);
            property.lbfgs = lbfgs;
            set->getGeometry(2).energyTotal = energy;

            const std::string message = stopOf();

            EXPECT_TRUE(message.starts_with("the training diverged: ")) << message;
            expectOldModel();
        }
    }
}

TEST_F(Divergence, AForceThatIsNoNumberKeepsTheModel) {
    for (const int lbfgs : {0, 8}) {
        property.lbfgs = lbfgs;
        set->getGeometry(1).forces[4] = std::numeric_limits<float>::quiet_NaN();

        EXPECT_EQ(stopOf(), "the training diverged: loss");
        expectOldModel();
    }
}

} // namespace
} // namespace melta
