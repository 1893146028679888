// What the kernels over a shell of neighbours share. Included once for each instruction set. Everything runs
// over the columns of a block, one column to a lane.

#if defined(MELTA_SHELL_KERNELS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_SHELL_KERNELS_INL
#undef MELTA_SHELL_KERNELS_INL
#else
#define MELTA_SHELL_KERNELS_INL
#endif

#include "symmfunc/BasisBlock.hpp"
#include "symmfunc/NeighborShell.hpp"
#include "symmfunc/ShellGradient.hpp"

#include <cstddef>
#include <span>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Sixteen lanes at most, as many as the arrays of a shell have entries to spare.
using Lanes = hn::CappedTag<float, shellPadding>;

// Takes arrays one after the other from a scratch array.
class ScratchCarver {
public:
    explicit ScratchCarver(std::span<float> scratch) : rest(scratch) {}

    float* take(std::size_t count) {
        float* const begin = rest.data();
        rest = rest.subspan(count);
        return begin;
    }

private:
    std::span<float> rest;
};

// Three components of a vector for each neighbour.
struct Components {
    float* HWY_RESTRICT x;
    float* HWY_RESTRICT y;
    float* HWY_RESTRICT z;

    Components(ScratchCarver& carver, std::size_t count)
        : x(carver.take(count)), y(carver.take(count)), z(carver.take(count)) {}
};

template <class V>
HWY_INLINE V Dot(V ax, V ay, V az, V bx, V by, V bz) {
    return hn::MulAdd(ax, bx, hn::MulAdd(ay, by, hn::Mul(az, bz)));
}

// The same vector in all lanes, or N consecutive ones.
template <class V>
struct VectorLanes {
    V x, y, z;
};

template <class V>
HWY_INLINE V Dot(const VectorLanes<V>& a, const VectorLanes<V>& b) {
    return Dot(a.x, a.y, a.z, b.x, b.y, b.z);
}

HWY_INLINE VectorLanes<hn::Vec<Lanes>> SpreadVector(Lanes d, const Components& from, std::size_t index) {
    return {hn::Set(d, from.x[index]), hn::Set(d, from.y[index]), hn::Set(d, from.z[index])};
}

HWY_INLINE VectorLanes<hn::Vec<Lanes>> LoadVectors(Lanes d, const Components& from, std::size_t index) {
    return {hn::LoadU(d, from.x + index), hn::LoadU(d, from.y + index), hn::LoadU(d, from.z + index)};
}

// Unit vector u towards each neighbour of a shell.
HWY_INLINE void PrepareDirections(const NeighborShell& shell, NeighborRange range, const Components& u,
                                  std::size_t origin) {
    const Lanes d;
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const auto inverse = hn::Div(hn::Set(d, 1.0f), hn::LoadU(d, shell.r.data() + n));
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.dx.data() + n), inverse), d, u.x + n - origin);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.dy.data() + n), inverse), d, u.y + n - origin);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.dz.data() + n), inverse), d, u.z + n - origin);
    }
}

// Adds to the gradient the derivatives by distance of neighbours `n` and following, the first `count` lanes.
template <class V>
HWY_INLINE void AddAlong(Lanes d, const NeighborShell& shell, std::size_t n, std::size_t count, V byR,
                         const ShellGradient& to) {
    const V factor = hn::IfThenElseZero(hn::FirstN(d, count), hn::Div(byR, hn::LoadU(d, shell.r.data() + n)));
    const auto add = [&](std::span<const float> component, std::span<float> sums) {
        float* const sum = sums.data() + n;
        hn::StoreU(hn::MulAdd(factor, hn::LoadU(d, component.data() + n), hn::LoadU(d, sum)), d, sum);
    };
    add(shell.dx, to.x);
    add(shell.dy, to.y);
    add(shell.dz, to.z);
}

// The unit vector u towards each neighbour, and two more, e1 and e2, that make a frame with it.
struct NeighborFrames {
    Components u, e1, e2; // [numNeighbors]

    static constexpr std::size_t numFloats = 9; // for each neighbour
    NeighborFrames(ScratchCarver& carver, std::size_t numNeighbors)
        : u(carver, numNeighbors), e1(carver, numNeighbors), e2(carver, numNeighbors) {}
};

// The frame is that of T. Duff et al., J. Comput. Graph. Tech. 6 (1), 1 (2017), eq. 4.
HWY_INLINE void PrepareFrames(const NeighborShell& shell, NeighborRange range, const NeighborFrames& frames) {
    const Lanes d;
    const auto one = hn::Set(d, 1.0f);
    PrepareDirections(shell, range, frames.u, 0);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const auto [x, y, z] = LoadVectors(d, frames.u, n);
        const auto sign = hn::CopySign(one, z);
        const auto a = hn::Neg(hn::Div(one, hn::Add(sign, z)));
        const auto b = hn::Mul(hn::Mul(x, y), a);
        hn::StoreU(hn::MulAdd(hn::Mul(sign, hn::Mul(x, x)), a, one), d, frames.e1.x + n);
        hn::StoreU(hn::Mul(sign, b), d, frames.e1.y + n);
        hn::StoreU(hn::Neg(hn::Mul(sign, x)), d, frames.e1.z + n);
        hn::StoreU(b, d, frames.e2.x + n);
        hn::StoreU(hn::MulAdd(hn::Mul(y, y), a, sign), d, frames.e2.y + n);
        hn::StoreU(hn::Neg(y), d, frames.e2.z + n);
    }
}

// Stores the first `count` lanes, and touches nothing behind them.
template <class V>
HWY_INLINE void StorePart(Lanes d, V v, std::size_t count, float* HWY_RESTRICT to) {
    if (count >= hn::Lanes(d)) {
        hn::StoreU(v, d, to);
        return;
    }
#if HWY_TARGET <= HWY_AVX3
    hn::BlendedStore(v, hn::FirstN(d, count), d, to);
#else
    HWY_ALIGN float lanes[shellPadding];
    hn::Store(v, d, lanes);
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = lanes[i];
    }
#endif
}

// The sums of a block while its neighbours are worked off. Rows of columns are padded to whole vectors.
struct BlockSums {
    std::size_t stride;          // length of a padded row of columns
    float* HWY_RESTRICT values;  // [stride]
    float* HWY_RESTRICT central; // [3][stride], sums of the neighbours' rows

    BlockSums(ScratchCarver& carver, std::size_t paddedColumns)
        : stride(paddedColumns), values(carver.take(stride)), central(carver.take(3 * stride)) {}

    void clear() const {
        for (std::size_t k = 0; k < stride; ++k) {
            values[k] = 0.0f;
        }
        for (std::size_t k = 0; k < 3 * stride; ++k) {
            central[k] = 0.0f;
        }
    }
};

// First row of neighbour `n` in the derivatives of a block.
HWY_INLINE float* FindRows(const NeighborShell& shell, std::size_t n, const BasisBlock& block) {
    return block.diff + 3 * (static_cast<std::size_t>(shell.entry[n]) + 1) * block.rowStride;
}

// Writes columns `column` and following of one of a neighbour's rows, and adds them to the central atom's.
template <class V>
HWY_INLINE void StoreRow(Lanes d, V row, std::size_t axis, std::size_t column, const BasisBlock& block,
                         const BlockSums& sums, float* HWY_RESTRICT rows) {
    float* const central = sums.central + axis * sums.stride + column;
    hn::Store(hn::Add(hn::Load(d, central), row), d, central);
    StorePart(d, row, block.values.size() - column, rows + axis * block.rowStride + column);
}

// Writes columns `column` and following of the three rows of neighbour `n`, given by their parts in the
// directions of its frame.
template <class V>
HWY_INLINE void StoreFramedRows(Lanes d, const NeighborFrames& frames, std::size_t n, V alongU, V alongE1,
                                V alongE2, std::size_t column, const BasisBlock& block, const BlockSums& sums,
                                float* HWY_RESTRICT rows) {
    const float* const u[3] = {frames.u.x + n, frames.u.y + n, frames.u.z + n};
    const float* const e1[3] = {frames.e1.x + n, frames.e1.y + n, frames.e1.z + n};
    const float* const e2[3] = {frames.e2.x + n, frames.e2.y + n, frames.e2.z + n};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto row =
            Dot(hn::Set(d, *u[axis]), hn::Set(d, *e1[axis]), hn::Set(d, *e2[axis]), alongU, alongE1, alongE2);
        StoreRow(d, row, axis, column, block, sums, rows);
    }
}

// Adds a neighbour's radial term to the values and, with rows, writes its rows: `value` and its derivative by
// the distance, in columns `column` and following. `n` counts in `u`.
template <bool withDiff, class V>
HWY_INLINE void AddRadialTerm(Lanes d, V value, V byR, const Components& u, std::size_t n, std::size_t column,
                              const BasisBlock& block, const BlockSums& sums, float* HWY_RESTRICT rows) {
    hn::Store(hn::Add(hn::Load(d, sums.values + column), value), d, sums.values + column);
    if constexpr (withDiff) {
        StoreRow(d, hn::Mul(hn::Set(d, u.x[n]), byR), 0, column, block, sums, rows);
        StoreRow(d, hn::Mul(hn::Set(d, u.y[n]), byR), 1, column, block, sums, rows);
        StoreRow(d, hn::Mul(hn::Set(d, u.z[n]), byR), 2, column, block, sums, rows);
    }
}

// Writes the accumulated values, and the central atom's rows, which are minus the sums of the neighbours'
// rows.
HWY_INLINE void StoreBlock(Lanes d, const BasisBlock& block, const BlockSums& sums) {
    const std::size_t numColumns = block.values.size();
    for (std::size_t k = 0; k < numColumns; k += hn::Lanes(d)) {
        StorePart(d, hn::Load(d, sums.values + k), numColumns - k, block.values.data() + k);
        for (std::size_t c = 0; c < 3 && block.diff != nullptr; ++c) {
            StorePart(d, hn::Neg(hn::Load(d, sums.central + c * sums.stride + k)), numColumns - k,
                      block.diff + c * block.rowStride + k);
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_SHELL_KERNELS_INL
