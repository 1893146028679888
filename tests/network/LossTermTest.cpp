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

// Sum over atoms and entries of their lists of position times derivative, [3][3], eV: a quantity that no
// training knows.
class Virial final : public DerivativeQuantity {
public:
    QuantityNames getNames() const override { return {"W", "Virial", "eV"}; }
    std::size_t numValues(const Geometry& /*geometry*/) const override { return 9; }
    float referenceOf(const Geometry& /*geometry*/, std::size_t value) const override {
        return 0.1f * static_cast<float>(value);
    }
    std::size_t elementOf(const Geometry& /*geometry*/, std::size_t /*value*/) const override { return 0; }
    std::size_t divisorOf(const BatchCounts& counts) const override { return 9 * counts.geometries; }

    void collect(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* rows,
                 float* values) const override {
        forEachComponent(geometry, atom, [&](float distance, std::size_t value, std::size_t row) {
            for (std::size_t m = 0; m < lanes; ++m) {
                values[value * lanes + m] += distance * rows[row * lanes + m];
            }
        });
    }

    void spread(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* valueGrads,
                float* rowGrads) const override {
        const std::size_t numRows = 3 * (geometry.getNeighbors(static_cast<int>(atom)).size() + 1);
        std::fill_n(rowGrads, numRows * lanes, 0.0f);
        forEachComponent(geometry, atom, [&](float distance, std::size_t value, std::size_t row) {
            for (std::size_t m = 0; m < lanes; ++m) {
                rowGrads[row * lanes + m] += distance * valueGrads[value * lanes + m];
            }
        });
    }

private:
    template <class Work>
    static void forEachComponent(const Geometry& geometry, std::size_t atom, Work&& work) {
        const auto neighbors = geometry.getNeighbors(static_cast<int>(atom));
        for (std::size_t n = 0; n < neighbors.size(); ++n) {
            const std::array<float, 3> position = geometry.computeNeighborPosition(neighbors[n]);
            for (std::size_t i = 0; i < 9; ++i) {
                const float distance = position[i / 3] - geometry.positions[3 * atom + i / 3];
                work(distance, i, 3 * (n + 1) + i % 3);
            }
        }
    }
};

// Components of the dipole moment of the charges, e Angstrom.
class Dipole final : public OutputQuantity {
public:
    QuantityNames getNames() const override { return {"D", "Dipole", "e Angstrom"}; }
    std::size_t numValues(const Geometry& /*geometry*/) const override { return 3; }
    float referenceOf(const Geometry& /*geometry*/, std::size_t /*value*/) const override { return 0.3f; }
    std::size_t elementOf(const Geometry& /*geometry*/, std::size_t /*value*/) const override { return 0; }
    std::size_t divisorOf(const BatchCounts& counts) const override { return 3 * counts.geometries; }

    void collect(const Geometry& geometry, std::size_t numModels, std::span<const float> outputs,
                 std::span<float> values) const override {
        std::ranges::fill(values, 0.0f);
        for (std::size_t i = 0; i < geometry.positions.size(); ++i) {
            for (std::size_t m = 0; m < numModels; ++m) {
                values[i % 3 * numModels + m] += geometry.positions[i] * outputs[i / 3 * numModels + m];
            }
        }
    }

    void spread(const Geometry& geometry, std::size_t numModels, std::span<const float> valueGrads,
                std::span<float> outputGrads) const override {
        std::ranges::fill(outputGrads, 0.0f);
        for (std::size_t i = 0; i < geometry.positions.size(); ++i) {
            for (std::size_t m = 0; m < numModels; ++m) {
                outputGrads[i / 3 * numModels + m] +=
                    geometry.positions[i] * valueGrads[i % 3 * numModels + m];
            }
        }
    }
};

// Losses of model 1 and their gradient against differences, for the weights of its first layer.
void expectSlopes(BatchFixture& fixture, std::vector<LossTerm> terms) {
    NetworkPass pass;
    pass.setBatch(fixture.view(), BatchLayout::Cut::geometries);
    const auto lossNow = [&] {
        fixture.clearGrads();
        pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);
        double loss = 0.0;
        for (const LossTerm& term : terms) {
            loss += static_cast<double>(term.getLoss()[1]);
        }
        return loss;
    };
    lossNow();
    const std::span<float> weights = fixture.ensembles[0].getInterLayers()[0].weightOf(1);
    std::vector<float> grads = fixture.gradsOf(0, 1);
    grads.resize(weights.size());
    std::vector<double> slopes;
    constexpr float step = 4.0e-3f;
    for (float& weight : weights) {
        const float kept = weight;
        weight = kept + step;
        const double above = lossNow();
        weight = kept - step;
        slopes.push_back((above - lossNow()) / (2.0 * static_cast<double>(step)));
        weight = kept;
    }
    EXPECT_LE(worstError(grads, slopes), 2.0e-3);
}

// Whatever is linear in the outputs or the derivatives can be a term, also beside the usual ones.
TEST(LossTerm, TakesFurtherQuantities) {
    constexpr std::array<int, 3> sizes{3, 2, 4};
    const Virial virial;
    const Dipole dipole;
    for (const bool isRoot : {false, true}) {
        SCOPED_TRACE(isRoot);
        BatchFixture fixture({2, 2, 5, 5}, 2, sizes);

        expectSlopes(fixture, {{virial, {1.0f}, isRoot}});
        expectSlopes(fixture, {{dipole, {1.0f}, isRoot}});
        fixture.geometryOf(0).stressVolume = {0.1f, -0.2f, 0.3f, -0.4f, 0.5f, -0.6f};
        fixture.geometryOf(2).stressVolume = {0.5f, 0, 0, 0.1f, 0, 0};
        expectSlopes(fixture, {{cellStress(), {1.0f}, isRoot}});
        expectSlopes(fixture, {{totalEnergy(), {1.0f}, isRoot},
                               {atomicForce(), {1.0f, 1.0f}, isRoot},
                               {dipole, {0.1f}, isRoot},
                               {cellStress(), {0.3f}, isRoot},
                               {virial, {0.1f}, isRoot}});
    }
}

// The mean of a quantity is the same in training, at once and in cut geometries.
TEST(LossTerm, MeasuresFurtherQuantities) {
    constexpr std::array<int, 2> sizes{7, 4};
    const Virial virial;
    const DerivativeQuantity* const quantities[] = {&virial, &atomicForce()};
    BatchFixture fixture({2, 2, 5, 5}, 2, sizes);
    std::vector<LossTerm> terms{{virial, {1.0f}, false}};
    NetworkPass training;
    training.setBatch(fixture.view(), BatchLayout::Cut::geometries);
    NetworkPass cut;
    cut.setBatch(fixture.view(), BatchLayout::Cut::atoms);
    QuantityError ofTraining{&virial};
    QuantityError ofCut{&virial};

    training.evaluateLoss(terms, ForceGradient::none, fixture.ensembles);
    training.addSquaredErrors(ofTraining);
    cut.evaluate(quantities);
    cut.addSquaredErrors(ofCut);

    EXPECT_GT(ofTraining.sum, 0.0f);
    EXPECT_NEAR(ofCut.sum, ofTraining.sum, 1.0e-5f * ofTraining.sum);
    EXPECT_EQ(ofCut.count, 18U);
}

} // namespace
} // namespace melta
