#include "network/NetworkShape.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

bool operator==(const NNShape& a, const NNShape& b) {
    return a.numModels == b.numModels && a.numLayers == b.numLayers && a.numNodes == b.numNodes &&
           a.activation == b.activation;
}

TEST(NetworkShape, IsThatOfItsKind) {
    Property property;
    property.modelsEnergy = 2;
    property.layersEnergy = 3;
    property.nodesEnergy = 5;
    property.activEnergy = 4;
    property.modelsCharge = 7;

    EXPECT_TRUE(shapeOfNetworks(property, energyNetwork) == (NNShape{2, 3, 5, 4}));
    EXPECT_EQ(shapeOfNetworks(property, chargeNetwork).numModels, 7);
}

TEST(NetworkShape, CanBeMadeWhateverAFileClaims) {
    Property property;
    property.activEnergy = 4;
    property.layersEnergy = 0;
    EXPECT_EQ(shapeOfNetworks(property, energyNetwork).numLayers, 1);

    property.modelsEnergy = -1;
    property.nodesEnergy = -1;
    EXPECT_TRUE(shapeOfNetworks(property, energyNetwork) == (NNShape{0, 1, 1, 4}));
}

// Of 1000 x (1000 + 2 x 1001) weights for each model.
TEST(NetworkShape, IsTooLargeByItsWeights) {
    const NNShape shape{1, 2, 1000, 1};
    EXPECT_FALSE(isTooLarge(shape, 1000, 333));
    EXPECT_TRUE(isTooLarge(shape, 1000, 334));
    EXPECT_TRUE(isTooLarge({334, 2, 1000, 1}, 1000, 1));
    EXPECT_TRUE(isTooLarge({1, 2, 2147483647, 1}, 1, 1));
}

} // namespace
} // namespace melta
