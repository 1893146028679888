// How the values change with the densities: the product rule, term by term.

#include "symmfunc/cluster/ClusterKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterTangentKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBlocks-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Densities and their change, from the first column of a channel.
struct Change {
    const float* density;
    const float* tangent;

    [[nodiscard]] Change from(std::size_t column) const { return {density + column, tangent + column}; }
};

// Adds the change of a product of two densities.
template <class V>
HWY_INLINE V AddProduct(Columns d, const Change& a, const Change& b, std::size_t place, V sum) {
    sum = hn::MulAdd(hn::LoadU(d, a.density + place), hn::LoadU(d, b.tangent + place), sum);
    return hn::MulAdd(hn::LoadU(d, a.tangent + place), hn::LoadU(d, b.density + place), sum);
}

// Products of the first `count` columns of two places.
void SumProducts(const ClusterPlan& plan, const Change& a, const Change& b, std::size_t l, std::size_t count,
                 float* HWY_RESTRICT values) {
    const Columns d;
    for (std::size_t n = 0; n < count; n += hn::Lanes(d)) {
        auto sum = hn::Zero(d);
        for (std::size_t h = l * l; h < (l + 1) * (l + 1); ++h) {
            sum = AddProduct(d, a, b, h * plan.stride() + n, sum);
        }
        StoreColumns(d, sum, count - n, values + n);
    }
}

void SumTriple(const ClusterPlan& plan, const Change& change, std::size_t triple,
               float* HWY_RESTRICT values) {
    const Columns d;
    const auto& triples = plan.triples;
    for (std::size_t n = 0; n < plan.numRadius4; n += hn::Lanes(d)) {
        auto sum = hn::Zero(d);
        for (std::size_t i = triples.starts[triple]; i < triples.starts[triple + 1]; ++i) {
            const auto& [harmonics, coefficient] = triples.monomials[i];
            const Change a = change.from(harmonics[0] * plan.stride() + n);
            const Change b = change.from(harmonics[1] * plan.stride() + n);
            const Change c = change.from(harmonics[2] * plan.stride() + n);
            const auto ofBC = AddProduct(d, b, c, 0, hn::Zero(d));
            const auto bc = hn::Mul(hn::LoadU(d, b.density), hn::LoadU(d, c.density));
            const auto product =
                hn::MulAdd(hn::LoadU(d, a.density), ofBC, hn::Mul(hn::LoadU(d, a.tangent), bc));
            sum = hn::MulAdd(hn::Set(d, coefficient), product, sum);
        }
        StoreColumns(d, sum, plan.numRadius4 - n, values + n);
    }
}

void ComputeValueTangent(const ClusterPlan& plan, std::span<const float> density,
                         std::span<const float> tangent, std::span<float> values) {
    const Change change{density.data(), tangent.data()};
    std::copy_n(tangent.data(), plan.startOfSquares(), values.data());
    ForEachBlock(
        plan,
        [&](std::size_t column, std::size_t l, std::size_t value) {
            const Change channel = change.from(column);
            float* const to = values.data() + value;
            SumProducts(plan, channel, channel, l, plan.numRadius, to);
            SumProducts(plan, channel, channel.from(1), l, plan.numRadius - 1, to + plan.numRadius);
        },
        [&](std::size_t first, std::size_t second, std::size_t l, std::size_t value) {
            SumProducts(plan, change.from(first), change.from(second), l, plan.numRadius,
                        values.data() + value);
        },
        [&](std::size_t column, std::size_t triple, std::size_t value) {
            SumTriple(plan, change.from(column), triple, values.data() + value);
        });
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(ComputeValueTangent);

void computeClusterValueTangent(const ClusterPlan& plan, std::span<const float> density,
                                std::span<const float> tangent, std::span<float> values) {
    HWY_DYNAMIC_DISPATCH(ComputeValueTangent)(plan, density, tangent, values);
}

} // namespace melta
#endif
