#include "network/DerivativeProducts.hpp"

#include "network/ForceKernels.hpp"
#include "network/Numbers.hpp"
#include "symmfunc/Clusters.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"
#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

using test::randomFloats;

// The same products from stored derivatives.
struct StoredProducts {
    StoredProducts(const SymmFunc& symmFunc, const NeighborArrays& neighbors, std::size_t columns)
        : numRows(3 * (neighbors.size() + 1)), numBasis(static_cast<std::size_t>(symmFunc.getNumBasis())),
          numColumns(columns), lanes(kernels::roundUpToLanes(columns)), derivatives(numRows * numBasis),
          work(numBasis * lanes) {
        std::vector<float> values(numBasis);
        symmFunc.calculateAtom(neighbors, values, derivatives);
    }

    std::vector<float> multiplyByGrads(std::span<const float> grads) {
        std::vector<float> rows(numRows * lanes);
        kernels::multiplyByGrads(numRows, numBasis, numColumns, derivatives.data(), grads.data(), work.data(),
                                 rows.data());
        return rows;
    }

    std::vector<float> multiplyByRows(std::span<const float> rows) {
        std::vector<float> grads(numColumns * numBasis);
        kernels::multiplyByRows(numRows, numBasis, numColumns, derivatives.data(), rows.data(), work.data(),
                                grads.data());
        return grads;
    }

    std::size_t numRows, numBasis, numColumns, lanes;
    std::vector<float> derivatives;
    std::vector<float> work;
};

void expectClose(std::span<const float> values, std::span<const float> expected) {
    float scale = 0.0f;
    for (const float value : expected) {
        scale = std::max(scale, std::fabs(value));
    }
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(values[i], expected[i], 2.0e-5f * scale) << i;
    }
}

void expectStoredProducts(const SymmFunc& symmFunc, const Geometry& geometry, std::size_t numColumns) {
    SCOPED_TRACE(testing::Message() << numColumns << " columns");
    NeighborArrays neighbors;
    neighbors.update(geometry, 1);
    StoredProducts stored(symmFunc, neighbors, numColumns);
    DerivativeProducts products;
    const std::vector<float> grads = randomFloats(numColumns * stored.numBasis, 17, -1.0f, 1.0f);
    std::vector<float> rows(stored.numRows * stored.lanes);

    products.multiplyByGrads(symmFunc, neighbors, grads, rows.data());
    expectClose(rows, stored.multiplyByGrads(grads));

    const std::vector<float> rowGrads = randomFloats(rows.size(), 18, -1.0f, 1.0f);
    std::vector<float> back(grads.size());
    products.multiplyByRows(symmFunc, neighbors, rowGrads.data(), back);
    expectClose(back, stored.multiplyByRows(rowGrads));
}

TEST(DerivativeProductsTest, AreThoseOfStoredDerivatives) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 5.0f, 9);
    SymmFuncCluster cluster(2, true, {5, 3, 4, 2, 4.8f}, SymmFuncCluster::makeChannelWeights(2, 2));
    const SymmFuncChebyshev chebyshev(2, true, false, 4, 3, 4.8f, 4.0f); // goes by its derivatives
    for (const std::size_t numColumns : {1U, 3U, 4U, 9U}) {
        expectStoredProducts(cluster, *geometry, numColumns);
        expectStoredProducts(chebyshev, *geometry, numColumns);
    }
    // Weights that each central element has for itself.
    cluster.setElementWeights(std::vector<float>{1.0f, 0.5f, -0.3f, 0.8f, 0.2f, 1.1f, 0.9f, -0.7f});
    expectStoredProducts(cluster, *geometry, 2);
}

TEST(DerivativeProductsTest, AtomWithoutNeighborsHasNone) {
    const auto geometry =
        test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}, {0, {9.0f, 9.0f, 9.0f}}}, 3.0f);
    const SymmFuncCluster cluster(1, true, {.rcutRadius = 3.0f}, std::vector{1.0f});

    expectStoredProducts(cluster, *geometry, 2);
}

} // namespace
} // namespace melta
