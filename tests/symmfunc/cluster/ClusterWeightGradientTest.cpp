#include "symmfunc/cluster/ClusterWeightGradient.hpp"

#include "network/Numbers.hpp"
#include "network/VectorTargets.hpp"
#include "symmfunc/cluster/ClusterFixture.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace melta {
namespace {

using test::ClusterTwinSettings;
using test::Neighborhood;
using test::randomFloats;

// A sum of values and of their changes, with random coefficients.
struct LinearForm {
    LinearForm(std::size_t numBasis, std::size_t numNeighbors, std::size_t numColumns)
        : length(numBasis), neighbors(numNeighbors), columns(numColumns),
          byValues(randomFloats(numColumns * numBasis, 61, -1.0f, 1.0f)),
          bySlopes(randomFloats(numColumns * numBasis, 62, -1.0f, 1.0f)),
          directions(randomFloats(numColumns * 3 * numNeighbors, 63, -1.0f, 1.0f)) {}

    [[nodiscard]] double evaluate(const test::TwinResult& twin) const {
        double sum = 0.0;
        for (std::size_t i = 0; i < columns * length; ++i) {
            sum += static_cast<double>(byValues[i]) * twin.values[i % length];
        }
        for (std::size_t c = 0; c < columns && withSlopes; ++c) {
            for (std::size_t row = 0; row < 3 * neighbors; ++row) {
                const float step = directions[3 * c * neighbors + row % 3 * neighbors + row / 3];
                for (std::size_t b = 0; b < length; ++b) {
                    sum += static_cast<double>(bySlopes[c * length + b]) * static_cast<double>(step) *
                           twin.diff[(row + 3) * length + b];
                }
            }
        }
        return sum;
    }

    std::size_t length, neighbors, columns;
    std::vector<float> byValues, bySlopes, directions;
    bool withSlopes = true;
};

// Values are polynomials of third degree in the weights, for which two differences together are exact; the
// weights and the steps have few bits, so that nothing is rounded.
double differentiateTwin(const ClusterTwinSettings& set, const Neighborhood& hood, const LinearForm& form,
                         std::size_t weight) {
    const auto difference = [&](float step) {
        ClusterTwinSettings moved = set;
        moved.weights[weight] = set.weights[weight] + step;
        const double above = form.evaluate(computeTwin(moved, hood));
        moved.weights[weight] = set.weights[weight] - step;
        return (above - form.evaluate(computeTwin(moved, hood))) / (2.0 * static_cast<double>(step));
    };
    return (4.0 * difference(0.25f) - difference(0.5f)) / 3.0;
}

// Weights that differ from one central element to the next; those of `central` are those of the settings.
std::vector<float> makeOwnWeights(const ClusterTwinSettings& set, int central) {
    std::vector<float> weights;
    for (int c = 0; c < set.numElems; ++c) {
        for (const float weight : set.weights) {
            weights.push_back(c == central ? weight : weight + 0.5f);
        }
    }
    return weights;
}

void expectTwinGradient(const ClusterTwinSettings& set, const Geometry& geometry, bool withSlopes) {
    const Neighborhood hood = test::makeNeighborhood(geometry, 0);
    NeighborArrays neighbors;
    neighbors.update(geometry, 0);
    SymmFuncCluster symmFunc = test::makeCluster(set);
    symmFunc.setElementWeights(makeOwnWeights(set, geometry.elements[0]));
    LinearForm form(static_cast<std::size_t>(symmFunc.getNumBasis()), neighbors.size(), 2);
    form.withSlopes = withSlopes;
    std::vector<double> expected;
    double largest = 0.0;
    for (std::size_t w = 0; w < set.weights.size(); ++w) {
        expected.push_back(differentiateTwin(set, hood, form, w));
        largest = std::max(largest, std::fabs(expected.back()));
    }
    const std::span<const float> none;
    test::onEachTarget([&] {
        std::vector<float> gradients(set.weights.size(), 7.0f);
        symmFunc.addElementWeightGradients(neighbors, form.byValues, withSlopes ? form.bySlopes : none,
                                           withSlopes ? form.directions : none, gradients);
        for (std::size_t w = 0; w < expected.size(); ++w) {
            EXPECT_LE(std::fabs(static_cast<double>(gradients[w]) - 7.0 - expected[w]), 4.0e-6 * largest)
                << w << " of " << largest;
        }
    });
}

std::vector<float> someWeights(std::size_t count) {
    std::vector<float> weights;
    for (std::size_t i = 0; i < count; ++i) {
        weights.push_back(0.125f * static_cast<float>((5 * i + 3) % 17) - 0.875f);
    }
    return weights;
}

TEST(ClusterWeightGradientTest, IsThatOfTheTwinOnEveryInstructionSet) {
    for (const int numElems : {1, 2, 4}) {
        const auto geometry = test::makeRandomCell({7.1f, 0.2f, 0.1f, 1.3f, 6.7f, 0.4f, -0.8f, 0.9f, 7.3f},
                                                   12, numElems, 4.5f, 12);
        for (const std::size_t channels : {1U, 2U, 3U}) {
            for (const int bodyOrder : {2, 3, 4}) {
                ClusterTwinSettings set{.numElems = numElems, .sizes = {5, 2, bodyOrder, 3, 4.5f}};
                set.weights = someWeights(static_cast<std::size_t>(numElems) * channels);
                SCOPED_TRACE(testing::Message()
                             << numElems << " elements, " << channels << " channels, order " << bodyOrder);
                expectTwinGradient(set, *geometry, true);
            }
        }
    }
}

TEST(ClusterWeightGradientTest, IsThatOfTheValuesAloneWithoutDirections) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 3, 4.0f, 9);
    ClusterTwinSettings set{.numElems = 3, .sizes = {9, 3, 4, 9, 4.0f}};
    set.weights = someWeights(6);

    expectTwinGradient(set, *geometry, false);
    expectTwinGradient(set, *geometry, true);
}

TEST(ClusterWeightGradientTest, RestingNeighborsChangeNothing) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 4.0f, 9);
    const auto symmFunc =
        test::makeCluster({.numElems = 2, .sizes = {4, 2, 4, 2, 4.0f}, .weights = {1.0f, 0.5f}});
    NeighborArrays neighbors;
    neighbors.update(*geometry, 0);
    const std::vector<float> coefficients(static_cast<std::size_t>(symmFunc.getNumBasis()), 1.0f);
    const std::vector<float> none(coefficients.size(), 0.0f);
    const std::vector<float> resting(3 * neighbors.size(), 0.0f);
    std::vector<float> gradients(2, 3.0f);

    symmFunc.addElementWeightGradients(neighbors, none, coefficients, resting, gradients);

    EXPECT_EQ(gradients, std::vector<float>(2, 3.0f));
}

TEST(ClusterWeightGradientTest, AtomWithoutNeighborsAddsNothing) {
    const auto geometry = test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}}, 6.0f);
    const auto symmFunc = test::makeCluster({.sizes = {2, 1, 3}});
    NeighborArrays neighbors;
    neighbors.update(*geometry, 0);
    const std::vector<float> coefficients(5, 1.0f);
    std::vector<float> gradients(1, 3.0f);

    symmFunc.addElementWeightGradients(neighbors, coefficients, coefficients, {}, gradients);

    EXPECT_EQ(gradients, std::vector<float>(1, 3.0f));
}

} // namespace
} // namespace melta
