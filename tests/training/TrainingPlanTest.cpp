#include "training/TrainingPlan.hpp"

#include "support/StopCatcher.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

namespace melta {
namespace {

using test::outputOf;
using test::stopMessageOf;

// Settings of Adam over mini-batches, all data in a super epoch.
Property makeProperty(int batchs) {
    Property property;
    property.lbfgs = 0;
    property.batchs = batchs;
    property.geomsEpoch = 0;
    return property;
}

TEST(TrainingPlan, RoundsIterationsUp) {
    const TrainingPlan plan(makeProperty(30), 70);

    EXPECT_FALSE(plan.fullBatch);
    EXPECT_EQ(plan.batchSize, 30);
    EXPECT_EQ(plan.numIterations, 3);
}

TEST(TrainingPlan, CountsWholeBatchesExactly) {
    EXPECT_EQ(TrainingPlan(makeProperty(35), 70).numIterations, 2);
}

TEST(TrainingPlan, IsFullBatchWithoutABatchSize) {
    for (const int batchs : {0, -1}) {
        const TrainingPlan plan(makeProperty(batchs), 70);

        EXPECT_TRUE(plan.fullBatch);
        EXPECT_EQ(plan.batchSize, 70);
        EXPECT_EQ(plan.numIterations, 1);
    }
}

TEST(TrainingPlan, IsFullBatchWhenABatchHoldsTheSuperEpoch) {
    EXPECT_TRUE(TrainingPlan(makeProperty(70), 70).fullBatch);
    EXPECT_FALSE(TrainingPlan(makeProperty(69), 70).fullBatch);

    Property property = makeProperty(40);
    property.geomsEpoch = 40;
    EXPECT_TRUE(TrainingPlan(property, 70).fullBatch);
}

TEST(TrainingPlan, IgnoresTheBatchSizeWithLbfgs) {
    Property property = makeProperty(30);
    property.lbfgs = 1;
    property.directSF = 1;

    const TrainingPlan plan(property, 70);

    EXPECT_TRUE(plan.fullBatch);
    EXPECT_EQ(plan.batchSize, 70);
    EXPECT_FALSE(plan.direct);
}

TEST(TrainingPlan, RunsOneSuperEpochOverAllData) {
    for (const int geomsEpoch : {0, -3, 200, 201}) {
        Property property = makeProperty(0);
        property.geomsEpoch = geomsEpoch;

        const TrainingPlan plan(property, 200);

        EXPECT_EQ(plan.geomsEpoch, 200);
        EXPECT_EQ(plan.numSuperEpochs, 1);
        EXPECT_FALSE(plan.partial);
    }
}

TEST(TrainingPlan, AddsASuperEpochEvenWhenTheSharesFit) {
    Property property = makeProperty(0);
    property.geomsEpoch = 100;

    const TrainingPlan plan(property, 200);

    EXPECT_EQ(plan.geomsEpoch, 100);
    EXPECT_EQ(plan.numSuperEpochs, 3);
    EXPECT_TRUE(plan.partial);
}

TEST(TrainingPlan, AddsASuperEpochForTheRest) {
    Property property = makeProperty(0);
    property.geomsEpoch = 199;
    EXPECT_EQ(TrainingPlan(property, 200).numSuperEpochs, 2);

    property.geomsEpoch = 7;
    EXPECT_EQ(TrainingPlan(property, 200).numSuperEpochs, 29);
}

TEST(TrainingPlan, TakesTheNumberOfSuperEpochsAsGiven) {
    Property property = makeProperty(0);
    property.superEpochs = 2;
    EXPECT_EQ(TrainingPlan(property, 200).numSuperEpochs, 2);

    property.geomsEpoch = 100;
    EXPECT_EQ(TrainingPlan(property, 200).numSuperEpochs, 2);
}

// directSF and the kind of symmetry functions; what comes out in a mini-batch run.
struct DirectCase {
    int directSF;
    int symmFuncKind;
    bool isDirect;
};

TEST(TrainingPlan, ChoosesWhereSymmetryFunctionsAreKept) {
    const DirectCase cases[] = {
        {1, ChebyshevKind::code, true}, {2, ManyBodyKind::code, true},  {0, ChebyshevKind::code, false},
        {0, ManyBodyKind::code, false}, {-1, BehlerKind::code, false},  {-1, ChebyshevKind::code, false},
        {-1, ManyBodyKind::code, true}, {-2, ManyBodyKind::code, true},
    };
    for (const DirectCase& given : cases) {
        SCOPED_TRACE(testing::Message() << given.directSF << " with kind " << given.symmFuncKind);
        Property property = makeProperty(30);
        property.directSF = given.directSF;
        property.symmFuncKind = given.symmFuncKind;

        EXPECT_EQ(TrainingPlan(property, 70).direct, given.isDirect);

        property.batchs = 0;
        EXPECT_FALSE(TrainingPlan(property, 70).direct);
    }
}

TEST(TrainingPlan, RefusesASuperEpochWithoutGeometries) {
    EXPECT_EQ(stopMessageOf([] { const TrainingPlan plan(makeProperty(0), 0); }),
              "#geometries/#processes per a super epoch is not positive.");
}

TEST(TrainingPlan, SurvivesTheLargestNumbers) {
    constexpr int most = 2147483647;
    Property property = makeProperty(most - 1);
    EXPECT_EQ(TrainingPlan(property, most).numIterations, 2);

    property.batchs = 1;
    property.geomsEpoch = 1;
    property.superEpochs = most;
    EXPECT_EQ(TrainingPlan(property, most).numSuperEpochs, most);
}

TEST(TrainingPlan, TellsOfFullBatches) {
    const TrainingPlan plan(makeProperty(0), 70);

    EXPECT_EQ(outputOf([&] { plan.print(); }), "  * Full-batch algorithm is used.\n\n"
                                               "  * Symmetry functions w/ IN-CORE algorithm.\n\n");
}

TEST(TrainingPlan, TellsOfMiniBatches) {
    Property property = makeProperty(30);
    const std::string head = "  * Mini-batch algorithm is used.\n\n"
                             "  * There are 3 iterations a epoch.\n\n";

    EXPECT_EQ(outputOf([&] { TrainingPlan(property, 70).print(); }),
              head + "  * Symmetry functions w/ IN-CORE algorithm.\n\n");

    property.directSF = 1;
    EXPECT_EQ(outputOf([&] { TrainingPlan(property, 70).print(); }),
              head + "  * Symmetry functions w/ DIRECT algorithm.\n\n");
}

} // namespace
} // namespace melta
