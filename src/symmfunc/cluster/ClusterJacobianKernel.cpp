// The derivatives of the four-body values by the densities. The lanes hold consecutive radial functions.

#include "symmfunc/cluster/ClusterBundleKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterJacobianKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBasis-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Adds a product to radial functions `n` and following of a row. They end before the next row; what the
// vectors hold behind the last radial function is finite and not read.
template <class V>
HWY_INLINE void AddProduct(Columns d, V a, V b, float* HWY_RESTRICT row) {
    hn::Store(hn::MulAdd(a, b, hn::Load(d, row)), d, row);
}

// The monomials of a triple that share the first harmonic stand together, so that its sum stays in a register
// from one to the next.
void AddTriple(const ClusterPlan& plan, const float* density, std::size_t triple, float* jacobian) {
    const Columns d;
    const std::size_t from = plan.stride();
    const std::size_t to = countJacobianStride(plan);
    const ClusterMonomial* const begin = plan.triples.monomials.data() + plan.triples.starts[triple];
    const ClusterMonomial* const end = plan.triples.monomials.data() + plan.triples.starts[triple + 1];
    for (std::size_t n = 0; n < plan.numRadius4; n += hn::Lanes(d)) {
        for (const ClusterMonomial* monomial = begin; monomial < end;) {
            const std::size_t first = monomial->harmonics[0];
            const auto a = hn::LoadU(d, density + first * from + n);
            auto byA = hn::Zero(d);
            for (; monomial < end && monomial->harmonics[0] == first; ++monomial) {
                const std::size_t second = monomial->harmonics[1];
                const std::size_t third = monomial->harmonics[2];
                const auto coefficient = hn::Set(d, monomial->coefficient);
                const auto b = hn::LoadU(d, density + second * from + n);
                const auto c = hn::Mul(coefficient, hn::LoadU(d, density + third * from + n));
                byA = hn::MulAdd(b, c, byA);
                // One after the other, because the two may be the same.
                AddProduct(d, a, c, jacobian + second * to + n);
                AddProduct(d, a, hn::Mul(coefficient, b), jacobian + third * to + n);
            }
            float* const row = jacobian + first * to + n;
            hn::Store(hn::Add(hn::Load(d, row), byA), d, row);
        }
    }
}

void ComputeJacobian(const ClusterPlan& plan, std::span<const float> density, std::span<float> jacobian) {
    const std::size_t length = plan.numHarmonics() * countJacobianStride(plan);
    float* to = jacobian.data();
    std::ranges::fill(jacobian, 0.0f);
    for (std::size_t k = 0; k < plan.numChannels; ++k) {
        for (std::size_t t = 0; t < plan.numTriples(); ++t, to += length) {
            AddTriple(plan, density.data() + k * plan.numRadius, t, to);
        }
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(ComputeJacobian);

std::size_t countClusterJacobian(const ClusterPlan& plan) {
    return plan.numChannels * plan.numTriples() * plan.numHarmonics() * countJacobianStride(plan);
}

void computeClusterJacobian(const ClusterPlan& plan, std::span<const float> density,
                            std::span<float> jacobian) {
    HWY_DYNAMIC_DISPATCH(ComputeJacobian)(plan, density, jacobian);
}

} // namespace melta
#endif
