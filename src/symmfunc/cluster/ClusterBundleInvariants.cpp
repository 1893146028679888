// Between values and densities, for a bundle of columns: the values change by the Jacobian times the change
// of the densities, and derivatives come back by its transpose. Three-body values have their two densities
// for a Jacobian.

#include "symmfunc/cluster/ClusterBundleKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterBundleInvariants.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBundle-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// The densities, the Jacobian of the four-body values, and how bundles lie beside them.
struct Invariants {
    const ClusterPlan& plan;
    const float* density;
    const float* jacobian;
    std::size_t lanes;

    // Length of a harmonic's rows.
    [[nodiscard]] std::size_t length() const { return plan.startOfSquares() * lanes; }

    // The harmonics of degree l, radial function n of channel k: their densities, a stride apart, and their
    // places in a bundle, a length apart.
    [[nodiscard]] const float* densityOf(std::size_t k, std::size_t l, std::size_t n) const {
        return density + l * l * plan.stride() + k * plan.numRadius + n;
    }
    [[nodiscard]] std::size_t placeOf(std::size_t k, std::size_t l, std::size_t n) const {
        return l * l * length() + (k * plan.numRadius + n) * lanes;
    }

    // Where values begin in a bundle: the squares of channel k and degree l, behind which the products with
    // the next radial function stand, the products of two channels, and the triples.
    [[nodiscard]] std::size_t squaresOf(std::size_t k, std::size_t l) const {
        return (plan.startOfSquares() + (k * plan.maxAngular + l - 1) * (2 * plan.numRadius - 1)) * lanes;
    }
    [[nodiscard]] std::size_t pairsOf(std::size_t j, std::size_t k, std::size_t l) const {
        const std::size_t upper = std::max(j, k);
        const std::size_t pair = upper * (upper - 1) / 2 + std::min(j, k);
        return (plan.startOfPairs() + (pair * plan.maxAngular + l - 1) * plan.numRadius) * lanes;
    }
    [[nodiscard]] std::size_t triplesOf(std::size_t k) const {
        return (plan.startOfTriples() + k * plan.numTriples() * plan.numRadius4) * lanes;
    }

    // Rows of degree l for a triple of channel k, a Jacobian's stride apart.
    [[nodiscard]] const float* jacobianOf(std::size_t k, std::size_t triple, std::size_t l) const {
        const std::size_t row = (k * plan.numTriples() + triple) * plan.numHarmonics() + l * l;
        return jacobian + row * countJacobianStride(plan);
    }
};

// Adds a value's derivative times one factor for each harmonic.
template <std::size_t count, class D, class V>
HWY_INLINE void AddFactors(D d, V byValue, const float* HWY_RESTRICT factors, std::size_t stride,
                           V (&sums)[count]) {
    for (std::size_t i = 0; i < count; ++i) {
        sums[i] = hn::MulAdd(hn::Set(d, factors[i * stride]), byValue, sums[i]);
    }
}

// The way back to the harmonics of degree l, `count` of them, from all values.
template <std::size_t count, class D>
HWY_INLINE void SumBack(D d, const Invariants& of, const float* HWY_RESTRICT byValues, std::size_t k,
                        std::size_t n, float* HWY_RESTRICT byDensity) {
    constexpr std::size_t l = (count - 1) / 2;
    const ClusterPlan& plan = of.plan;
    const float* const same = byValues + of.squaresOf(k, l) + n * of.lanes;
    const float* const upper = same + plan.numRadius * of.lanes;
    const auto bySame = hn::Load(d, same);
    hn::Vec<D> sums[count];
    for (auto& sum : sums) {
        sum = hn::Zero(d);
    }
    AddFactors(d, hn::Add(bySame, bySame), of.densityOf(k, l, n), plan.stride(), sums);
    if (n > 0) {
        AddFactors(d, hn::Load(d, upper - of.lanes), of.densityOf(k, l, n - 1), plan.stride(), sums);
    }
    if (n + 1 < plan.numRadius) {
        AddFactors(d, hn::Load(d, upper), of.densityOf(k, l, n + 1), plan.stride(), sums);
    }
    for (std::size_t j = 0; j < plan.numChannels; ++j) {
        if (j != k) {
            const auto byPair = hn::Load(d, byValues + of.pairsOf(j, k, l) + n * of.lanes);
            AddFactors(d, byPair, of.densityOf(j, l, n), plan.stride(), sums);
        }
    }
    if (n < plan.numRadius4) {
        const float* byTriple = byValues + of.triplesOf(k) + n * of.lanes;
        for (std::size_t t = 0; t < plan.numTriples(); ++t, byTriple += plan.numRadius4 * of.lanes) {
            AddFactors(d, hn::Load(d, byTriple), of.jacobianOf(k, t, l) + n, countJacobianStride(plan), sums);
        }
    }
    float* const to = byDensity + of.placeOf(k, l, n);
    for (std::size_t i = 0; i < count; ++i) {
        hn::Store(sums[i], d, to + i * of.length());
    }
}

template <std::size_t l, class D>
void ComputeDegree(D d, const Invariants& of, const float* HWY_RESTRICT byValues,
                   float* HWY_RESTRICT byDensity) {
    if (l > of.plan.maxAngular) {
        return;
    }
    for (std::size_t k = 0; k < of.plan.numChannels; ++k) {
        for (std::size_t n = 0; n < of.plan.numRadius; ++n) {
            SumBack<2 * l + 1>(d, of, byValues, k, n, byDensity);
        }
    }
}

// Each degree has code of its own, so that its sums stay in registers.
template <class D>
void ComputeAdjointOf(D d, const Invariants& of, const float* HWY_RESTRICT byValues,
                      float* HWY_RESTRICT byDensity) {
    std::copy_n(byValues, of.length(), byDensity);
    ComputeDegree<1>(d, of, byValues, byDensity);
    ComputeDegree<2>(d, of, byValues, byDensity);
    ComputeDegree<3>(d, of, byValues, byDensity);
    ComputeDegree<4>(d, of, byValues, byDensity);
    ComputeDegree<5>(d, of, byValues, byDensity);
    ComputeDegree<6>(d, of, byValues, byDensity);
}

// How squares change, and the products with the next radial function, which behind the last one are not
// asked for.
template <class D>
HWY_INLINE void ChangeSquares(D d, const Invariants& of, const float* HWY_RESTRICT tangent, std::size_t k,
                              std::size_t l, std::size_t n, float* HWY_RESTRICT squares) {
    const bool hasNext = n + 1 < of.plan.numRadius;
    const float* c = of.densityOf(k, l, n);
    const float* t = tangent + of.placeOf(k, l, n);
    const std::size_t next = hasNext ? of.lanes : 0;
    auto square = hn::Zero(d), product = hn::Zero(d), crossed = hn::Zero(d);
    for (std::size_t m = 0; m <= 2 * l; ++m, c += of.plan.stride(), t += of.length()) {
        const auto own = hn::Set(d, c[0]);
        const auto change = hn::Load(d, t);
        square = hn::MulAdd(own, change, square);
        product = hn::MulAdd(own, hn::Load(d, t + next), product);
        crossed = hn::MulAdd(hn::Set(d, c[1]), change, crossed);
    }
    hn::Store(hn::Add(square, square), d, squares + n * of.lanes);
    if (hasNext) {
        hn::Store(hn::Add(product, crossed), d, squares + (of.plan.numRadius + n) * of.lanes);
    }
}

// How the product of radial function n of two channels changes.
template <class D>
HWY_INLINE hn::Vec<D> ChangePair(D d, const Invariants& of, const float* HWY_RESTRICT tangent, std::size_t j,
                                 std::size_t k, std::size_t l, std::size_t n) {
    const float* c = of.densityOf(0, l, n);
    const float* t = tangent + of.placeOf(0, l, n);
    const std::size_t first = j * of.plan.numRadius;
    const std::size_t second = k * of.plan.numRadius;
    auto ofFirst = hn::Zero(d), ofSecond = hn::Zero(d);
    for (std::size_t m = 0; m <= 2 * l; ++m, c += of.plan.stride(), t += of.length()) {
        ofFirst = hn::MulAdd(hn::Set(d, c[second]), hn::Load(d, t + first * of.lanes), ofFirst);
        ofSecond = hn::MulAdd(hn::Set(d, c[first]), hn::Load(d, t + second * of.lanes), ofSecond);
    }
    return hn::Add(ofFirst, ofSecond);
}

// How the value of a triple changes, one sum over the harmonics for each of its different degrees.
template <class D>
HWY_INLINE hn::Vec<D> ChangeTriple(D d, const Invariants& of, const float* HWY_RESTRICT tangent,
                                   std::size_t k, std::size_t triple, std::size_t n) {
    auto sum = hn::Zero(d);
    std::size_t before = 0;
    for (const int degree : of.plan.triples.degrees[triple]) {
        const auto l = static_cast<std::size_t>(degree);
        const float* factor = of.jacobianOf(k, triple, l) + n;
        const float* t = tangent + of.placeOf(k, l, n);
        for (std::size_t m = 0; l != before && m <= 2 * l; ++m) {
            sum = hn::MulAdd(hn::Set(d, *factor), hn::Load(d, t), sum);
            factor += countJacobianStride(of.plan);
            t += of.length();
        }
        before = l;
    }
    return sum;
}

// Three-body values of channel k and degree l, its own and those with the channels before.
template <class D>
void ChangeProducts(D d, const Invariants& of, const float* HWY_RESTRICT tangent, std::size_t k,
                    std::size_t l, float* HWY_RESTRICT changes) {
    for (std::size_t n = 0; n < of.plan.numRadius; ++n) {
        ChangeSquares(d, of, tangent, k, l, n, changes + of.squaresOf(k, l));
    }
    for (std::size_t j = 0; j < k; ++j) {
        float* const pairs = changes + of.pairsOf(j, k, l);
        for (std::size_t n = 0; n < of.plan.numRadius; ++n) {
            hn::Store(ChangePair(d, of, tangent, j, k, l, n), d, pairs + n * of.lanes);
        }
    }
}

template <class D>
void ComputeChangesOf(D d, const Invariants& of, const float* HWY_RESTRICT tangent,
                      float* HWY_RESTRICT changes) {
    const ClusterPlan& plan = of.plan;
    std::copy_n(tangent, of.length(), changes);
    for (std::size_t k = 0; k < plan.numChannels; ++k) {
        for (std::size_t l = 1; l <= plan.maxAngular; ++l) {
            ChangeProducts(d, of, tangent, k, l, changes);
        }
        float* to = changes + of.triplesOf(k);
        for (std::size_t t = 0; t < plan.numTriples(); ++t) {
            for (std::size_t n = 0; n < plan.numRadius4; ++n, to += of.lanes) {
                hn::Store(ChangeTriple(d, of, tangent, k, t, n), d, to);
            }
        }
    }
}

void ComputeAdjoint(const ClusterPlan& plan, std::span<const float> density, std::span<const float> jacobian,
                    std::span<const float> byValues, std::size_t lanes, std::span<float> byDensity) {
    const Invariants of{plan, density.data(), jacobian.data(), lanes};
    WithLanes(lanes, [&](auto d) { ComputeAdjointOf(d, of, byValues.data(), byDensity.data()); });
}

void ComputeChanges(const ClusterPlan& plan, std::span<const float> density, std::span<const float> jacobian,
                    std::span<const float> tangent, std::size_t lanes, std::span<float> changes) {
    const Invariants of{plan, density.data(), jacobian.data(), lanes};
    WithLanes(lanes, [&](auto d) { ComputeChangesOf(d, of, tangent.data(), changes.data()); });
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(ComputeAdjoint);
HWY_EXPORT(ComputeChanges);

void computeClusterBundleAdjoint(const ClusterPlan& plan, std::span<const float> density,
                                 std::span<const float> jacobian, std::span<const float> byValues,
                                 std::size_t lanes, std::span<float> byDensity) {
    HWY_DYNAMIC_DISPATCH(ComputeAdjoint)(plan, density, jacobian, byValues, lanes, byDensity);
}

void computeClusterBundleChanges(const ClusterPlan& plan, std::span<const float> density,
                                 std::span<const float> jacobian, std::span<const float> tangent,
                                 std::size_t lanes, std::span<float> changes) {
    HWY_DYNAMIC_DISPATCH(ComputeChanges)(plan, density, jacobian, tangent, lanes, changes);
}

} // namespace melta
#endif
