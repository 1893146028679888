// What must not depend on how a configuration is written down. The order of the neighbour list, on which
// pairs of one element depend, is kept but where a test says otherwise.
#include "symmfunc/manybody/ManyBodyFixture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace melta {
namespace {

using test::calculateSymmFunc;
using test::makeManyBody;
using test::makeOrderedStar;
using test::ManyBodySettings;
using test::TestAtom;

using Matrix = std::array<std::array<double, 3>, 3>;

// Rotation by 40 degrees about z, then by 25 degrees about x.
Matrix makeRotation() {
    const double a = 0.6981317;
    const double b = 0.4363323;
    return {{{std::cos(a), -std::sin(a), 0.0},
             {std::cos(b) * std::sin(a), std::cos(b) * std::cos(a), -std::sin(b)},
             {std::sin(b) * std::sin(a), std::sin(b) * std::cos(a), std::cos(b)}}};
}

std::array<double, 3> turn(const Matrix& matrix, const std::array<double, 3>& v) {
    std::array<double, 3> result{};
    for (std::size_t c = 0; c < 3; ++c) {
        result[c] = matrix[c][0] * v[0] + matrix[c][1] * v[1] + matrix[c][2] * v[2];
    }
    return result;
}

std::vector<TestAtom> makeCluster(int numNeighbors, int numElems) {
    std::mt19937 random(77);
    std::normal_distribution<float> normal(0.0f, 1.6f);
    std::vector<TestAtom> others;
    while (static_cast<int>(others.size()) < numNeighbors) {
        const TestAtom atom{static_cast<int>(others.size()) % numElems,
                            {normal(random), normal(random), normal(random)}};
        if (std::hypot(atom.position[0], atom.position[1], atom.position[2]) > 0.7f) {
            others.push_back(atom);
        }
    }
    return others;
}

constexpr ManyBodySettings settings{.numElems = 2, .m2 = 11, .m3 = 6, .rinner = 0.5f, .router = 4.5f};

// Values and derivatives, the latter turned, against those of `first`, in units of the twin's scale.
void expectTurned(const Geometry& first, const Geometry& second, const Matrix& rotation) {
    const auto symmFunc = makeManyBody(settings);
    const auto one = calculateSymmFunc(symmFunc, first, 0);
    const auto two = calculateSymmFunc(symmFunc, second, 0);
    const auto twin = computeTwin(settings, test::makeNeighborhood(first, 0));
    const std::size_t numBasis = one.values.size();
    std::vector<double> turned(one.diff.size());
    std::vector<double> scale(one.diff.size());
    for (std::size_t row = 0; row < one.diff.size() / numBasis; row += 3) {
        for (std::size_t b = 0; b < numBasis; ++b) {
            std::array<double, 3> v{};
            double size = 0.0;
            for (std::size_t c = 0; c < 3; ++c) {
                v[c] = static_cast<double>(one.diff[(row + c) * numBasis + b]);
                size = std::max(size, twin.diffScale[(row + c) * numBasis + b]);
            }
            v = turn(rotation, v);
            for (std::size_t c = 0; c < 3; ++c) {
                turned[(row + c) * numBasis + b] = v[c];
                scale[(row + c) * numBasis + b] = size;
            }
        }
    }

    test::expectWithin(two.values, {one.values.begin(), one.values.end()}, twin.valueScale, 1.0e-5, "value");
    test::expectWithin(two.diff, turned, scale, 1.0e-5, "derivative");
}

TEST(ManyBodyInvarianceTest, Translation) {
    const auto others = makeCluster(20, 2);
    const auto first = makeOrderedStar(others);
    std::vector<TestAtom> moved{{0, {28.5f, 31.25f, 29.0f}}};
    for (const auto& other : others) {
        moved.push_back({other.element,
                         {28.5f + other.position[0], 31.25f + other.position[1], 29.0f + other.position[2]}});
    }
    const auto second = test::makeGeometry(test::openCell(), moved, 20.0f);
    ASSERT_TRUE(std::ranges::equal(first->getNeighbors(0), second->getNeighbors(0)));

    expectTurned(*first, *second, {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}});
}

TEST(ManyBodyInvarianceTest, Rotation) {
    auto others = makeCluster(20, 2);
    const auto first = makeOrderedStar(others);
    const auto rotation = makeRotation();
    for (auto& [element, p] : others) {
        const auto turned =
            turn(rotation, {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])});
        std::ranges::transform(turned, p.begin(), [](double x) { return static_cast<float>(x); });
    }
    const auto second = makeOrderedStar(others);

    expectTurned(*first, *second, rotation);
}

TEST(ManyBodyInvarianceTest, DerivativeRowsSumUpToZero) {
    const auto geometry = makeOrderedStar(makeCluster(20, 2));

    const auto result = calculateSymmFunc(makeManyBody(settings), *geometry, 0);

    const std::size_t numBasis = result.values.size();
    for (std::size_t b = 0; b < numBasis; ++b) {
        for (std::size_t c = 0; c < 3; ++c) {
            double sum = 0.0;
            double size = 0.0;
            for (std::size_t row = c; row < result.diff.size() / numBasis; row += 3) {
                sum += static_cast<double>(result.diff[row * numBasis + b]);
                size += std::fabs(static_cast<double>(result.diff[row * numBasis + b]));
            }
            EXPECT_LE(std::fabs(sum), 1.0e-6 * size) << b << " " << c;
        }
    }
}

// The neighbours of each element keep their order among themselves.
TEST(ManyBodyInvarianceTest, OrderOfDifferentElements) {
    auto others = makeCluster(21, 3);
    const auto symmFunc = makeManyBody({.numElems = 3, .m2 = 11, .m3 = 6, .router = 4.5f});
    const auto first = calculateSymmFunc(symmFunc, *makeOrderedStar(others), 0);
    std::ranges::stable_sort(others, [](const auto& a, const auto& b) { return a.element > b.element; });

    const auto second = calculateSymmFunc(symmFunc, *makeOrderedStar(others), 0);

    EXPECT_EQ(first.values, second.values);
}

void expectSameValuesReversed(std::vector<TestAtom> others, const ManyBodySettings& set) {
    const auto symmFunc = makeManyBody(set);
    const auto geometry = makeOrderedStar(others);
    const auto twin = computeTwin(set, test::makeNeighborhood(*geometry, 0));
    const auto first = calculateSymmFunc(symmFunc, *geometry, 0).values;
    std::ranges::reverse(others);

    const auto second = calculateSymmFunc(symmFunc, *makeOrderedStar(others), 0).values;

    test::expectWithin(second, {first.begin(), first.end()}, twin.valueScale, 1.0e-6, "value");
    EXPECT_GT(*std::max_element(first.begin() + set.m2 * set.numElems, first.end()), 0.1f);
}

TEST(ManyBodyInvarianceTest, AnyOrderWithOneGridPoint) {
    expectSameValuesReversed(makeCluster(20, 2), {.numElems = 2, .m2 = 11, .m3 = 1, .router = 4.5f});
}

TEST(ManyBodyInvarianceTest, AnyOrderOfEquallyDistantNeighbors) {
    const std::vector<TestAtom> octahedron{{0, {2.25f, 0.0f, 0.0f}},  {0, {0.0f, 2.25f, 0.0f}},
                                           {0, {0.0f, 0.0f, 2.25f}},  {0, {-2.25f, 0.0f, 0.0f}},
                                           {0, {0.0f, -2.25f, 0.0f}}, {0, {0.0f, 0.0f, -2.25f}}};

    expectSameValuesReversed(octahedron, {.m2 = 11, .m3 = 7, .router = 5.0f});
}

// The raised cosines of the two grid points add up to 1.
TEST(ManyBodyInvarianceTest, TwoBodyBlockCountsTheNeighborsOfEachElement) {
    const auto geometry = makeOrderedStar(makeCluster(21, 2));

    const auto values =
        calculateSymmFunc(makeManyBody({.numElems = 2, .m2 = 50, .router = 10.0f}), *geometry, 0).values;

    for (const std::size_t element : {0U, 1U}) {
        float sum = 0.0f;
        for (std::size_t k = 0; k < 50; ++k) {
            sum += values[50 * element + k];
        }
        EXPECT_LE(std::fabs(sum - (element == 0 ? 11.0f : 10.0f)), 1.0e-5f);
    }
}

} // namespace
} // namespace melta
