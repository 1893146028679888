#include "training/LearningCourse.hpp"

#include "config/Property.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace melta {
namespace {

using test::stopMessageOf;

// What an epoch works with.
struct Epoch {
    double position;
    float rateScale;
};

class Course : public testing::Test {
protected:
    Course() {
        property.lbfgs = 0;
        property.learnRate = 0.01f;
        property.learnRateFinal = 0.0001f;
        property.learnRateDecay = 0.5f;
        property.epochs = 5;
    }

    // Runs a number of the epochs of a super epoch.
    std::vector<Epoch> run(int number, int numSuperEpochs, int numEpochs) {
        std::vector<Epoch> epochs;
        course.beginSuperEpoch(property, number, numSuperEpochs);
        for (int epoch = 1; epoch <= numEpochs; ++epoch) {
            course.beginEpoch(epoch);
            epochs.push_back({course.getPosition(), course.getRateScale()});
            course.finishEpoch();
        }
        return epochs;
    }

    void expectPositions(const std::vector<Epoch>& epochs, const std::vector<double>& positions) const {
        ASSERT_EQ(epochs.size(), positions.size());
        for (std::size_t e = 0; e < epochs.size(); ++e) {
            EXPECT_LE(std::abs(epochs[e].position - positions[e]), 1.0e-9) << e << " " << epochs[e].position;
        }
    }

    Property property;
    LearningCourse course;
};

TEST_F(Course, GoesFromTheFirstEpochToTheLast) {
    expectPositions(run(0, 1, 5), {0.0, 0.25, 0.5, 0.75, 1.0});
    EXPECT_EQ(course.getStanding().position, 1.0);
}

TEST_F(Course, GoesOverAllSuperEpochs) {
    property.epochs = 2;

    expectPositions(run(0, 3, 2), {0.0, 0.2});
    expectPositions(run(1, 3, 1), {0.4}); // it has converged
    expectPositions(run(2, 3, 2), {0.8, 1.0});
}

TEST_F(Course, OfOneEpochStaysAtItsStart) {
    property.epochs = 1;

    expectPositions(run(0, 1, 1), {0.0});
}

TEST_F(Course, MultipliesTheRateDownToItsFinalValue) {
    property.learnRateFinal = 0.002f;
    const float scales[] = {1.0f, 0.5f, 0.25f, 0.2f, 0.2f};

    for (int number : {0, 1}) {
        const std::vector<Epoch> epochs = run(number, 2, 5);
        for (std::size_t e = 0; e < epochs.size(); ++e) {
            EXPECT_FLOAT_EQ(epochs[e].rateScale, scales[e]) << e;
        }
    }
}

TEST_F(Course, LetsTheRateFallAlongACosine) {
    property.learnRateSchedule = LearnRateSchedule::cosine;

    const std::vector<Epoch> epochs = run(0, 1, 5);

    for (int e = 0; e < 5; ++e) {
        const double share = 0.5 * (1.0 + std::cos(std::numbers::pi * e / 4.0));
        const double expected = 0.01 + 0.99 * share;
        const auto scale = static_cast<double>(epochs[static_cast<std::size_t>(e)].rateScale);
        EXPECT_LE(std::abs(scale - expected), 1.0e-6) << e << " " << scale;
    }
}

// The way of a training with a break is that of one without.
TEST_F(Course, GoesOnWhereItWas) {
    for (const int schedule : {LearnRateSchedule::decay, LearnRateSchedule::cosine}) {
        property.learnRateSchedule = schedule;
        property.epochs = 7;
        course = {};
        const std::vector<Epoch> whole = run(0, 1, 7);
        course = {};
        run(0, 1, 3);
        const auto standing = readStanding(textOf(course.getStanding()), "file");
        course = {};
        course.goOnFrom(standing);
        property.epochs = 4;

        const std::vector<Epoch> rest = run(0, 1, 4);

        for (std::size_t e = 0; e < rest.size(); ++e) {
            EXPECT_LE(std::abs(rest[e].position - whole[e + 3].position), 1.0e-8);
            EXPECT_LE(std::abs(rest[e].rateScale - whole[e + 3].rateScale), 1.0e-6f);
        }
    }
}

TEST_F(Course, WithinAnEpochStandsBeforeIt) {
    course.beginSuperEpoch(property, 0, 1);
    course.beginEpoch(3);

    EXPECT_EQ(course.getStanding().position, 0.5);
}

TEST_F(Course, StaysBehindItsEnd) {
    property.learnRateSchedule = LearnRateSchedule::cosine;
    course.goOnFrom({1.0, 0.01f});

    for (const Epoch& epoch : run(0, 1, 5)) {
        EXPECT_EQ(epoch.position, 1.0);
        EXPECT_LE(std::abs(epoch.rateScale - 0.01f), 1.0e-7f);
    }
}

TEST_F(Course, MovesWeightsByTheSameFactor) {
    EXPECT_EQ(weightAt(0.0, 2.0f, 32.0f), 2.0f);
    EXPECT_FLOAT_EQ(weightAt(0.25, 2.0f, 32.0f), 4.0f);
    EXPECT_FLOAT_EQ(weightAt(0.5, 2.0f, 32.0f), 8.0f);
    EXPECT_FLOAT_EQ(weightAt(1.0, 2.0f, 32.0f), 32.0f);
    EXPECT_FLOAT_EQ(weightAt(0.5, 32.0f, 2.0f), 8.0f);
    EXPECT_EQ(weightAt(0.5, 2.0f, 0.0f), 2.0f);
}

TEST_F(Course, BelongsToSettingsThatMoveAnything) {
    EXPECT_FALSE(hasCourse(property, true));
    property.coefEnergyFinal = 3.0f;
    EXPECT_TRUE(hasCourse(property, true));
    EXPECT_FALSE(hasCourse(property, false));
    property.learnRateSchedule = LearnRateSchedule::cosine;
    EXPECT_TRUE(hasCourse(property, false));
    property.lbfgs = 8;
    EXPECT_FALSE(hasCourse(property, true));
}

TEST_F(Course, RefusesAStandingThatIsNone) {
    for (const char* const text :
         {"", "0.5", "half 1", "-0.1 1", "1.1 1", "0.5 0", "0.5 1.1", "nan 1", "0 inf"}) {
        EXPECT_EQ(stopMessageOf([&] { readStanding(text, "net_e.course"); }),
                  "cannot read the course of the training: net_e.course")
            << text;
    }
}

} // namespace
} // namespace melta
