// From densities to values, and the way back. The lanes hold consecutive radial functions of a channel. What
// a vector holds behind the last one is finite, and is left out when values are stored; on the way back it
// meets zeros.

#include "symmfunc/cluster/ClusterKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterInvariantKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBlocks-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

template <class V>
HWY_INLINE void AddTo(Columns d, V v, float* HWY_RESTRICT sums) {
    hn::StoreU(hn::Add(hn::LoadU(d, sums), v), d, sums);
}

// Squares and products of neighbouring radial functions of degree l, from the first column of the channel.
void SumSquares(const ClusterPlan& plan, const float* density, std::size_t l, float* HWY_RESTRICT values) {
    const Columns d;
    const std::size_t numRadius = plan.numRadius;
    for (std::size_t n = 0; n < numRadius; n += hn::Lanes(d)) {
        auto squares = hn::Zero(d), products = hn::Zero(d);
        for (std::size_t h = l * l; h < (l + 1) * (l + 1); ++h) {
            const float* const row = density + h * plan.stride() + n;
            const auto c = hn::LoadU(d, row);
            squares = hn::MulAdd(c, c, squares);
            products = hn::MulAdd(c, hn::LoadU(d, row + 1), products);
        }
        StoreColumns(d, squares, numRadius - n, values + n);
        if (n + 1 < numRadius) {
            StoreColumns(d, products, numRadius - 1 - n, values + numRadius + n);
        }
    }
}

// Products of the same radial function of two channels.
void SumPairs(const ClusterPlan& plan, const float* first, const float* second, std::size_t l,
              float* HWY_RESTRICT values) {
    const Columns d;
    for (std::size_t n = 0; n < plan.numRadius; n += hn::Lanes(d)) {
        auto products = hn::Zero(d);
        for (std::size_t h = l * l; h < (l + 1) * (l + 1); ++h) {
            const std::size_t place = h * plan.stride() + n;
            products = hn::MulAdd(hn::LoadU(d, first + place), hn::LoadU(d, second + place), products);
        }
        StoreColumns(d, products, plan.numRadius - n, values + n);
    }
}

void SumTriple(const ClusterPlan& plan, const float* density, std::size_t triple,
               float* HWY_RESTRICT values) {
    const Columns d;
    const auto& triples = plan.triples;
    const std::size_t stride = plan.stride();
    for (std::size_t n = 0; n < plan.numRadius4; n += hn::Lanes(d)) {
        auto sum = hn::Zero(d);
        for (std::size_t i = triples.starts[triple]; i < triples.starts[triple + 1]; ++i) {
            const auto& [harmonics, coefficient] = triples.monomials[i];
            const auto a = hn::LoadU(d, density + harmonics[0] * stride + n);
            const auto b = hn::LoadU(d, density + harmonics[1] * stride + n);
            const auto c = hn::LoadU(d, density + harmonics[2] * stride + n);
            sum = hn::MulAdd(hn::Mul(hn::Set(d, coefficient), a), hn::Mul(b, c), sum);
        }
        StoreColumns(d, sum, plan.numRadius4 - n, values + n);
    }
}

void ComputeValues(const ClusterPlan& plan, std::span<const float> density, std::span<float> values) {
    const float* const c = density.data();
    std::copy_n(c, plan.startOfSquares(), values.data());
    ForEachBlock(
        plan,
        [&](std::size_t column, std::size_t l, std::size_t value) {
            SumSquares(plan, c + column, l, values.data() + value);
        },
        [&](std::size_t first, std::size_t second, std::size_t l, std::size_t value) {
            SumPairs(plan, c + first, c + second, l, values.data() + value);
        },
        [&](std::size_t column, std::size_t triple, std::size_t value) {
            SumTriple(plan, c + column, triple, values.data() + value);
        });
}

// Derivatives by a block of values, with zeros around them.
struct Staged {
    float* HWY_RESTRICT same;  // [numRadius + padding], of squares, or of what else there is one of
    float* HWY_RESTRICT lower; // [numRadius + padding], one earlier, of the products with the function below

    Staged(ScratchCarver carver, const ClusterPlan& plan)
        : same(carver.take(plan.stride())), lower(carver.take(plan.stride())) {
        std::fill_n(same, plan.stride(), 0.0f);
        std::fill_n(lower, plan.stride(), 0.0f);
    }
};

void AddSquaresAdjoint(const ClusterPlan& plan, const float* density, std::size_t l, const Staged& staged,
                       float* byDensity) {
    const Columns d;
    for (std::size_t n = 0; n < plan.numRadius; n += hn::Lanes(d)) {
        const auto same = hn::LoadU(d, staged.same + n);
        const auto twice = hn::Add(same, same);
        const auto lower = hn::LoadU(d, staged.lower + n);
        const auto upper = hn::LoadU(d, staged.lower + n + 1);
        for (std::size_t h = l * l; h < (l + 1) * (l + 1); ++h) {
            const std::size_t place = h * plan.stride() + n;
            auto sum = hn::LoadU(d, byDensity + place);
            sum = hn::MulAdd(twice, hn::LoadU(d, density + place), sum);
            // In the first column this is the padding of the row before, or the channel before, and meets 0.
            sum = hn::MulAdd(lower, hn::LoadU(d, density + place - 1), sum);
            sum = hn::MulAdd(upper, hn::LoadU(d, density + place + 1), sum);
            hn::StoreU(sum, d, byDensity + place);
        }
    }
}

void AddPairsAdjoint(const ClusterPlan& plan, const float* density, std::size_t first, std::size_t second,
                     std::size_t l, const Staged& staged, float* byDensity) {
    const Columns d;
    for (std::size_t n = 0; n < plan.numRadius; n += hn::Lanes(d)) {
        const auto same = hn::LoadU(d, staged.same + n);
        for (std::size_t h = l * l; h < (l + 1) * (l + 1); ++h) {
            const std::size_t row = h * plan.stride() + n;
            AddTo(d, hn::Mul(same, hn::LoadU(d, density + row + second)), byDensity + row + first);
            AddTo(d, hn::Mul(same, hn::LoadU(d, density + row + first)), byDensity + row + second);
        }
    }
}

// The monomials of a triple that share the first harmonic stand together, so that its sum stays in a register
// from one to the next.
void AddTripleAdjoint(const ClusterPlan& plan, const float* density, std::size_t triple, const Staged& staged,
                      float* byDensity) {
    const Columns d;
    const std::size_t stride = plan.stride();
    const ClusterMonomial* const begin = plan.triples.monomials.data() + plan.triples.starts[triple];
    const ClusterMonomial* const end = plan.triples.monomials.data() + plan.triples.starts[triple + 1];
    for (std::size_t n = 0; n < plan.numRadius4; n += hn::Lanes(d)) {
        const auto same = hn::LoadU(d, staged.same + n);
        for (const ClusterMonomial* monomial = begin; monomial < end;) {
            const std::size_t first = monomial->harmonics[0];
            const auto ofFirst = hn::Mul(same, hn::LoadU(d, density + first * stride + n));
            auto products = hn::Zero(d);
            for (; monomial < end && monomial->harmonics[0] == first; ++monomial) {
                const std::size_t atB = monomial->harmonics[1] * stride + n;
                const std::size_t atC = monomial->harmonics[2] * stride + n;
                const auto coefficient = hn::Set(d, monomial->coefficient);
                const auto byB = hn::Mul(coefficient, hn::LoadU(d, density + atC));
                const auto b = hn::LoadU(d, density + atB);
                products = hn::MulAdd(byB, b, products);
                // One after the other, because the two may be the same.
                AddTo(d, hn::Mul(ofFirst, byB), byDensity + atB);
                AddTo(d, hn::Mul(ofFirst, hn::Mul(coefficient, b)), byDensity + atC);
            }
            AddTo(d, hn::Mul(same, products), byDensity + first * stride + n);
        }
    }
}

void ComputeAdjoint(const ClusterPlan& plan, std::span<const float> density, std::span<const float> byValues,
                    std::span<float> byDensity, std::span<float> scratch) {
    const float* const c = density.data();
    float* const sums = byDensity.data();
    const Staged staged(ScratchCarver(scratch), plan);
    const auto stage = [&](std::size_t value, std::size_t count) {
        std::copy_n(byValues.data() + value, count, staged.same);
    };
    std::fill_n(sums, byDensity.size(), 0.0f);
    std::copy_n(byValues.data(), plan.startOfSquares(), sums);
    ForEachBlock(
        plan,
        [&](std::size_t column, std::size_t l, std::size_t value) {
            stage(value, plan.numRadius);
            std::copy_n(byValues.data() + value + plan.numRadius, plan.numRadius - 1, staged.lower + 1);
            AddSquaresAdjoint(plan, c + column, l, staged, sums + column);
        },
        [&](std::size_t first, std::size_t second, std::size_t l, std::size_t value) {
            stage(value, plan.numRadius);
            AddPairsAdjoint(plan, c, first, second, l, staged, sums);
        },
        [&](std::size_t column, std::size_t triple, std::size_t value) {
            std::fill(staged.same + plan.numRadius4, staged.same + plan.numRadius, 0.0f);
            stage(value, plan.numRadius4);
            AddTripleAdjoint(plan, c + column, triple, staged, sums + column);
        });
}

const char* NameTarget() {
    return hwy::TargetName(HWY_TARGET);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(ComputeValues);
HWY_EXPORT(ComputeAdjoint);
HWY_EXPORT(NameTarget);

void computeClusterValues(const ClusterPlan& plan, std::span<const float> density, std::span<float> values) {
    HWY_DYNAMIC_DISPATCH(ComputeValues)(plan, density, values);
}

void computeClusterAdjoint(const ClusterPlan& plan, std::span<const float> density,
                           std::span<const float> byValues, std::span<float> byDensity,
                           std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(ComputeAdjoint)(plan, density, byValues, byDensity, scratch);
}

const char* findClusterTarget() {
    return HWY_DYNAMIC_DISPATCH(NameTarget)();
}

} // namespace melta
#endif
