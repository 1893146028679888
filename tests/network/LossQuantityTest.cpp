#include "network/LossQuantity.hpp"

#include "network/BatchFixture.hpp"
#include "network/LossTerm.hpp"
#include "network/NetworkPass.hpp"
#include "network/Numbers.hpp"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace melta {
namespace {

using test::BatchFixture;

// Numbers between -1 and 1.
std::vector<float> makeNumbers(std::size_t count, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> draw(-1.0f, 1.0f);
    std::vector<float> numbers(count);
    for (float& number : numbers) {
        number = draw(engine);
    }
    return numbers;
}

std::size_t numRowsOf(const Geometry& geometry, int atom) {
    return 3 * (static_cast<std::size_t>(geometry.numNeighbors(atom)) + 1);
}

// The symmetric part of the sum over the entries of an atom's list of way times row, in double precision,
// for lane `lane`.
std::array<double, 6> stressByHand(const Geometry& geometry, int atom, std::size_t lanes, std::size_t lane,
                                   const std::vector<float>& rows) {
    std::array<std::array<double, 3>, 3> sum{};
    const auto list = geometry.getNeighbors(atom);
    for (std::size_t n = 0; n < list.size(); ++n) {
        const std::array<float, 3> place = geometry.computeNeighborPosition(list[n]);
        for (std::size_t a = 0; a < 3; ++a) {
            const double way =
                static_cast<double>(place[a]) -
                static_cast<double>(geometry.positions[3 * static_cast<std::size_t>(atom) + a]);
            for (std::size_t b = 0; b < 3; ++b) {
                sum[a][b] += way * static_cast<double>(rows[(3 * n + 3 + b) * lanes + lane]);
            }
        }
    }
    return {sum[0][0],
            sum[1][1],
            sum[2][2],
            (sum[1][2] + sum[2][1]) / 2,
            (sum[0][2] + sum[2][0]) / 2,
            (sum[0][1] + sum[1][0]) / 2};
}

TEST(CellStress, IsTheSymmetricSumOfWayTimesRow) {
    constexpr std::size_t lanes = 8;
    Geometry geometry = test::makeGeometry(5, 2, 3, 14.0f);
    geometry.stressVolume.emplace();
    ASSERT_GT(geometry.numNeighbors(0), 64); // more than fit into one part
    for (int atom = 0; atom < geometry.numAtoms; ++atom) {
        const std::vector<float> rows = makeNumbers(numRowsOf(geometry, atom) * lanes, 7);
        std::vector<float> values(6 * lanes, 0.5f);

        cellStress().collect(geometry, static_cast<std::size_t>(atom), lanes, rows.data(), values.data());

        for (const std::size_t lane : {std::size_t{0}, lanes - 1}) {
            const std::array<double, 6> expected = stressByHand(geometry, atom, lanes, lane, rows);
            for (std::size_t v = 0; v < expected.size(); ++v) {
                EXPECT_NEAR(static_cast<double>(values[v * lanes + lane]), 0.5 + expected[v], 1.0e-3)
                    << atom << " " << v;
            }
        }
    }
}

// grads . collect(rows) = spread(grads) . rows for all rows and gradients.
TEST(CellStress, SpreadsByTheTransposeOfCollect) {
    constexpr std::size_t lanes = 4;
    Geometry geometry = test::makeGeometry(4, 2, 11, 14.0f);
    geometry.stressVolume.emplace();
    for (std::size_t atom = 0; atom < 4; ++atom) {
        const std::size_t length = numRowsOf(geometry, static_cast<int>(atom)) * lanes;
        const std::vector<float> rows = makeNumbers(length, 1);
        const std::vector<float> grads = makeNumbers(6 * lanes, 2);
        std::vector<float> values(6 * lanes, 0.0f);
        std::vector<float> rowGrads(length, 100.0f);

        cellStress().collect(geometry, atom, lanes, rows.data(), values.data());
        cellStress().spread(geometry, atom, lanes, grads.data(), rowGrads.data());

        double left = 0.0;
        double right = 0.0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            left += static_cast<double>(values[i]) * static_cast<double>(grads[i]);
        }
        for (std::size_t i = 0; i < length; ++i) {
            right += static_cast<double>(rows[i]) * static_cast<double>(rowGrads[i]);
        }
        EXPECT_NEAR(left, right, 5.0e-3) << atom;
        EXPECT_GT(std::abs(left), 1.0) << atom;
    }
}

TEST(CellStress, LeavesGeometriesWithoutReferenceOut) {
    constexpr std::array<int, 3> sizes{3, 2, 4};
    BatchFixture fixture({2, 2, 5, 5}, 2, sizes);
    const DerivativeQuantity* const quantities[] = {&cellStress()};
    const auto measure = [&] {
        NetworkPass pass;
        pass.setBatch(fixture.view(), BatchLayout::Cut::atoms);
        pass.evaluate(quantities);
        QuantityError error{&cellStress()};
        pass.addSquaredErrors(error);
        return error;
    };
    EXPECT_EQ(measure().count, 0U);
    EXPECT_EQ(measure().sum, 0.0f);
    fixture.geometryOf(1).stressVolume = {100, 100, 100, 0, 0, 0};
    const QuantityError one = measure();
    EXPECT_EQ(one.count, 6U);
    EXPECT_NEAR(one.rootMeanSquare(), 35.0f, 10.0f); // 50 eV/atom in three of six
    std::vector<float> spread(numRowsOf(fixture.geometryOf(0), 0), 1.0f);

    cellStress().spread(fixture.geometryOf(0), 0, 1, nullptr, spread.data());

    EXPECT_EQ(spread, std::vector<float>(spread.size(), 0.0f));
}

} // namespace
} // namespace melta
