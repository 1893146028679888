// Radial functions and harmonics of a vector of neighbours, one neighbour to a lane. Included once for each
// instruction set.

#if defined(MELTA_CLUSTER_BASIS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CLUSTER_BASIS_INL
#undef MELTA_CLUSTER_BASIS_INL
#else
#define MELTA_CLUSTER_BASIS_INL
#endif

#include <hwy/highway.h>

#include "symmfunc/ShellKernels-inl.hpp"
#include "symmfunc/cluster/ClusterPlan.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// Rows of columns, that is of radial functions, are worked off eight at a time, since there are seldom more.
using Columns = hn::CappedTag<float, ClusterPlan::columnsAtOnce>;

// A quantity of a vector of neighbours takes a row of this many floats.
constexpr std::size_t laneRow = shellPadding;

// Distance, unit vector and argument of the radial polynomials, 2 r / rcut - 1.
template <class V>
struct NeighborLanes {
    V inverse;
    VectorLanes<V> u;
    V x;

    HWY_INLINE NeighborLanes(Lanes d, const NeighborShell& shell, std::size_t n, float rcut) {
        const V r = hn::LoadU(d, shell.r.data() + n);
        inverse = hn::Div(hn::Set(d, 1.0f), r);
        u = {hn::Mul(hn::LoadU(d, shell.dx.data() + n), inverse),
             hn::Mul(hn::LoadU(d, shell.dy.data() + n), inverse),
             hn::Mul(hn::LoadU(d, shell.dz.data() + n), inverse)};
        x = hn::MulSub(r, hn::Set(d, 2.0f / rcut), hn::Set(d, 1.0f));
    }
};

// Calls visit(k, p_k) for the polynomials p_k, k = 0 to count - 1, that begin with p_0 and p_1 and go
// on with p_k+1 = 2 x p_k - p_k-1.
template <class V, class Visit>
HWY_INLINE void ForEachChebyshev(V x, V first, V second, std::size_t count, Visit&& visit) {
    const V twice = hn::Add(x, x);
    for (std::size_t k = 0; k < count; ++k) {
        visit(k, first);
        const V next = hn::MulSub(twice, second, first);
        first = second;
        second = next;
    }
}

// The radial functions of neighbours `n` and following and their derivatives by the distance,
// [numRadius][2][laneRow]. The derivative of the polynomial T_n is n U_n-1; both follow the same recurrence.
template <class V>
HWY_INLINE void FillRadius(Lanes d, const NeighborShell& shell, const ClusterPlan& plan, std::size_t n, V x,
                           float* HWY_RESTRICT rows) {
    const auto fc = hn::LoadU(d, shell.fc.data() + n);
    const auto dfc = hn::LoadU(d, shell.dfc.data() + n);
    const auto byX = hn::Mul(fc, hn::Set(d, 2.0f / plan.rcut));
    const auto one = hn::Set(d, 1.0f);
    ForEachChebyshev(x, one, x, plan.numRadius, [&](std::size_t k, auto t) {
        hn::Store(hn::Mul(fc, t), d, rows + 2 * k * laneRow);
        hn::Store(hn::Mul(dfc, t), d, rows + (2 * k + 1) * laneRow);
    });
    ForEachChebyshev(x, hn::Zero(d), one, plan.numRadius, [&](std::size_t k, auto u) {
        float* const row = rows + (2 * k + 1) * laneRow;
        const auto factor = hn::Mul(hn::Set(d, static_cast<float>(k)), u);
        hn::Store(hn::MulAdd(byX, factor, hn::Load(d, row)), d, row);
    });
}

// The polynomials p_lm, [(L + 1) (L + 2) / 2][laneRow].
template <class V>
HWY_INLINE void FillPolynomials(Lanes d, const HarmonicTables& tables, V z, float* HWY_RESTRICT rows) {
    for (std::size_t m = 0; m <= tables.maxAngular; ++m) {
        V last = hn::Set(d, tables.start[m]);
        V before = hn::Zero(d);
        std::size_t place = m * (m + 1) / 2 + m;
        hn::Store(last, d, rows + place * laneRow);
        for (std::size_t l = m + 1; l <= tables.maxAngular; ++l) {
            place += l;
            const V lower = hn::Mul(hn::Set(d, tables.ofBefore[place]), before);
            before = last;
            last = hn::MulSub(hn::Mul(hn::Set(d, tables.ofLast[place]), z), last, lower);
            hn::Store(last, d, rows + place * laneRow);
        }
    }
}

// Calls visit(m, c, s, c', s') for the orders m = 0 to L, with c + i s = (x + i y)^m, and the dashed ones the
// power before, 0 for m = 0.
template <class V, class Visit>
HWY_INLINE void ForEachOrder(Lanes d, std::size_t maxAngular, V x, V y, Visit&& visit) {
    V c = hn::Set(d, 1.0f), s = hn::Zero(d), lastC = hn::Zero(d), lastS = hn::Zero(d);
    for (std::size_t m = 0; m <= maxAngular; ++m) {
        visit(m, c, s, lastC, lastS);
        lastC = c;
        lastS = s;
        c = hn::MulSub(x, lastC, hn::Mul(y, lastS));
        s = hn::MulAdd(x, lastS, hn::Mul(y, lastC));
    }
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CLUSTER_BASIS_INL
