#include "network/LossTerm.hpp"

#include "network/BatchFixture.hpp"
#include "network/LossTerms.hpp"
#include "network/NetworkPass.hpp"
#include "network/Numbers.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

namespace melta {
namespace {

using test::BatchFixture;
using test::worstError;

// Three atoms of elements 0, 1, 0.
Geometry makeThreeAtoms() {
    Geometry geometry = test::makeGeometry(3, 2, 5, 3.6f);
    geometry.elements = {0, 1, 0};
    geometry.energyTotal = 6.0;
    geometry.energies = {1.0, 2.0, 3.0};
    geometry.charges = {-1.0f, 0.0f, 1.0f};
    return geometry;
}

TEST(LossTerm, DividesByTheWholeBatch) {
    const Geometry geometry = makeThreeAtoms();
    const LossTerm term(totalEnergy(), {18.0f, 7.0f}, false);
    std::array<float, 2> values{8.0f, 5.0f};
    std::array<double, 2> loss{100.0, 200.0};

    term.differentiate(geometry, {4, 50}, 2, std::array{1.0f, 3.0f}, values.data(), loss);

    // 18 / 3^2 / 4 = 0.5
    EXPECT_EQ(loss, (std::array{102.0, 200.5}));
    EXPECT_EQ(values, (std::array{2.0f, -3.0f}));
}

TEST(LossTerm, WeighsEachElement) {
    const Geometry geometry = makeThreeAtoms();
    const LossTerm term(atomicCharge(), {8.0f, 16.0f}, false);
    std::array<float, 3> values{1.0f, 1.0f, 1.0f};
    std::array<double, 1> loss{0.0};

    term.differentiate(geometry, {2, 4}, 1, std::array{1.0f}, values.data(), loss);

    EXPECT_EQ(loss[0], 2.0 * 4.0 + 4.0 * 1.0);
    EXPECT_EQ(values, (std::array{8.0f, 8.0f, 0.0f}));
}

TEST(LossTerm, TakesTheRootOnlyWhereAsked) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    LossTerm plain(atomicForce(), {1.0f}, false);
    LossTerm root(atomicForce(), {1.0f}, true);

    EXPECT_EQ(plain.setLoss(std::array{4.0, 1.0e-14}), (std::vector<float>{1.0f, 1.0f}));
    EXPECT_EQ(plain.getLoss()[0], 4.0f);
    EXPECT_EQ(root.setLoss(std::array{4.0, 1.0e-14, static_cast<double>(nan)}),
              (std::vector<float>{0.25f, 0.0f, 0.0f}));
    EXPECT_EQ(root.getLoss()[0], 2.0f);
    EXPECT_TRUE(std::isnan(root.getLoss()[2]));
}

TEST(LossTerm, IsMeasuredWhereItCostsNothing) {
    const LossTerm energy(atomicEnergy(), {}, false);
    const LossTerm force(atomicForce(), {}, false);
    const std::vector<LossTerm> terms{{totalEnergy(), {1.0f}, false}, {atomicForce(), {1.0f}, false}, force};

    EXPECT_TRUE(energy.isMeasured());
    EXPECT_FALSE(energy.isInLoss());
    EXPECT_FALSE(force.isMeasured());
    EXPECT_EQ(derivativesIn(terms), std::vector<const DerivativeQuantity*>{&atomicForce()});
}

TEST(LossTerm, ErrorsOfTotalsAreForEachAtom) {
    const Geometry geometry = makeThreeAtoms();
    QuantityError error{&totalEnergy()};
    double sum = 1.0;

    addSquaredErrors(totalEnergy(), geometry, std::array{12.0f}, sum);

    EXPECT_EQ(sum, 5.0);
    error.sum = 8.0f;
    error.count = 2;
    EXPECT_EQ(error.rootMeanSquare(), 2.0f);
}

// The fixture says how large the whole batch is, also where a pass gets a part of it.
TEST(LossTerm, PartsOfABatchAddUp) {
    constexpr std::array<int, 4> sizes{4, 2, 5, 3};
    BatchFixture fixture({3, 2, 7, 5}, 2, sizes);
    const auto evaluate = [&](std::size_t first, std::size_t count, std::vector<float>& losses) {
        BatchView view = fixture.view();
        view.geometries = view.geometries.subspan(first, count);
        view.symm = view.symm.subspan(first, count);
        std::vector<LossTerm> terms{{totalEnergy(), {1.3f, 1.3f}, false},
                                    {atomicEnergy(), {0.3f, 0.8f}, false},
                                    {atomicForce(), {0.7f, 1.9f}, false}};
        NetworkPass pass;
        pass.setBatch(view, BatchLayout::Cut::geometries);
        pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);
        for (std::size_t t = 0; t < terms.size(); ++t) {
            losses[t] += terms[t].getLoss()[1];
        }
    };
    std::vector<float> whole(3, 0.0f);
    fixture.clearGrads();
    evaluate(0, 4, whole);
    const std::vector<float> gradsOfWhole = fixture.gradsOf(1, 1);
    std::vector<float> parts(3, 0.0f);
    fixture.clearGrads();

    evaluate(0, 1, parts);
    evaluate(1, 3, parts);

    EXPECT_LE(worstError(parts, test::toDouble(whole)), 1.0e-6);
    EXPECT_LE(worstError(fixture.gradsOf(1, 1), test::toDouble(gradsOfWhole)), 2.0e-6);
}

TEST(LossTerm, GradientsOfTermsAddUp) {
    constexpr std::array<int, 4> sizes{4, 2, 5, 3};
    BatchFixture fixture({3, 2, 7, 5}, 2, sizes);
    const std::vector<LossTerm> all{{totalEnergy(), {1.3f, 1.3f}, false},
                                    {atomicEnergy(), {0.3f, 0.8f}, false},
                                    {atomicForce(), {0.7f, 1.9f}, false},
                                    {atomicForce(), {1.1f, 0.4f}, false}};
    const auto gradsWith = [&](std::vector<LossTerm> terms) {
        NetworkPass pass;
        pass.setBatch(fixture.view(), BatchLayout::Cut::geometries);
        fixture.clearGrads();
        pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);
        return test::toDouble(fixture.gradsOf(0, 2));
    };
    std::vector<double> sums(gradsWith(all).size(), 0.0);
    for (const LossTerm& term : all) {
        std::ranges::transform(sums, gradsWith({term}), sums.begin(), std::plus<>());
    }

    EXPECT_LE(worstError(gradsWith(all), sums), 2.0e-6);
}

} // namespace
} // namespace melta
