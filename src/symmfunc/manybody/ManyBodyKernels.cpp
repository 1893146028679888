#include "symmfunc/manybody/ManyBodyKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/manybody/ManyBodyKernels.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/manybody/ManyBodyTriangles-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

HWY_INLINE void AddValues(const Triangle& triangle, ManyBodyBlock block) {
    const Columns d;
    for (std::size_t b = 0; b < 2; b += hn::Lanes(d)) {
        for (std::size_t row = 0; row < 2; ++row) {
            const auto phi = hn::Mul(hn::Set(d, triangle.laterWeights[row]),
                                     LoadColumns(triangle, row, b, triangle.earlierWeights));
            for (std::size_t third = 0; third < 2; ++third) {
                float* const to = block.values + triangle.thirds[third] + triangle.rows[row] + b;
                const auto weight = hn::Set(d, triangle.thirdWeights[third]);
                hn::StoreU(hn::MulAdd(weight, phi, hn::LoadU(d, to)), d, to);
            }
        }
    }
}

// The owner is the later neighbour: its rows, those of the central atom, and the values.
HWY_INLINE void AddLater(const Triangle& triangle, float* own, ManyBodyBlock block) {
    const Columns d;
    for (std::size_t b = 0; b < 2; b += hn::Lanes(d)) {
        for (std::size_t row = 0; row < 2; ++row) {
            const auto columns = LoadColumns(triangle, row, b, triangle.earlierWeights);
            const auto columnSlopes = LoadColumns(triangle, row, b, triangle.earlierWeights + 2);
            const auto laterPhi = hn::Set(d, triangle.laterWeights[row]);
            const auto phi = hn::Mul(laterPhi, columns);
            const auto byLater = hn::Mul(hn::Set(d, triangle.laterWeights[2 + row]), columns);
            const auto byEarlier = hn::Mul(laterPhi, columnSlopes);
            for (std::size_t third = 0; third < 2; ++third) {
                const auto thirdPhi = hn::Set(d, triangle.thirdWeights[third]);
                const auto onLater = hn::Mul(thirdPhi, byLater);
                const auto onEarlier = hn::Mul(thirdPhi, byEarlier);
                const auto onThird = hn::Mul(hn::Set(d, triangle.thirdWeights[2 + third]), phi);
                const std::ptrdiff_t place =
                    triangle.thirds[third] + triangle.rows[row] + static_cast<std::ptrdiff_t>(b);
                float* const to = block.values + place;
                hn::StoreU(hn::MulAdd(thirdPhi, phi, hn::LoadU(d, to)), d, to);
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    const auto shift = static_cast<std::ptrdiff_t>(axis * block.rowStride) + place;
                    const auto later = hn::Set(d, triangle.later[axis]);
                    const auto earlier = hn::Set(d, triangle.earlier[axis]);
                    const auto direct = hn::Mul(onLater, later);
                    float* const toOwn = own + shift;
                    float* const toCenter = block.diff + shift;
                    hn::StoreU(
                        hn::MulAdd(onThird, hn::Sub(later, earlier), hn::Add(hn::LoadU(d, toOwn), direct)), d,
                        toOwn);
                    hn::StoreU(hn::NegMulAdd(onEarlier, earlier, hn::Sub(hn::LoadU(d, toCenter), direct)), d,
                               toCenter);
                }
            }
        }
    }
}

// The owner is the earlier neighbour: its rows alone.
HWY_INLINE void AddEarlier(const Triangle& triangle, float* own, ManyBodyBlock block) {
    const Columns d;
    for (std::size_t b = 0; b < 2; b += hn::Lanes(d)) {
        for (std::size_t row = 0; row < 2; ++row) {
            const auto laterPhi = hn::Set(d, triangle.laterWeights[row]);
            const auto phi = hn::Mul(laterPhi, LoadColumns(triangle, row, b, triangle.earlierWeights));
            const auto byEarlier =
                hn::Mul(laterPhi, LoadColumns(triangle, row, b, triangle.earlierWeights + 2));
            for (std::size_t third = 0; third < 2; ++third) {
                const auto onEarlier = hn::Mul(hn::Set(d, triangle.thirdWeights[third]), byEarlier);
                const auto onThird = hn::Mul(hn::Set(d, triangle.thirdWeights[2 + third]), phi);
                float* const to = own + triangle.thirds[third] + triangle.rows[row] + b;
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    const auto later = hn::Set(d, triangle.later[axis]);
                    const auto earlier = hn::Set(d, triangle.earlier[axis]);
                    float* const toAxis = to + axis * block.rowStride;
                    const auto sum = hn::MulAdd(onEarlier, earlier, hn::LoadU(d, toAxis));
                    hn::StoreU(hn::NegMulAdd(onThird, hn::Sub(later, earlier), sum), d, toAxis);
                }
            }
        }
    }
}

// Triangles with the neighbours before the owner.
template <bool withDiff>
void AddTrianglesBefore(const ManyBodyNeighbors& all, std::size_t owner, const ManyBodyAxis& axis,
                        float router, ManyBodyBlock block, float* own, ManyBodyScratch& scratch) {
    const std::size_t numPartners = SelectPartners<true>(all, owner, 0, owner, router, scratch);
    LocatePoints(scratch.side.span(), numPartners, axis, scratch.points);
    for (std::size_t q = 0; q < numPartners; ++q) {
        const auto partner = static_cast<std::size_t>(scratch.partner[q]);
        const auto triangle = MakeTriangle(all, owner, partner, scratch.points, q, block.triangleSize);
        if constexpr (withDiff) {
            AddLater(triangle, own, block);
        } else {
            AddValues(triangle, block);
        }
    }
}

// Triangles with those behind it.
void AddTrianglesBehind(const ManyBodyNeighbors& all, std::size_t owner, const ManyBodyAxis& axis,
                        float router, ManyBodyBlock block, float* own, ManyBodyScratch& scratch) {
    const std::size_t numPartners = SelectPartners<false>(all, owner, owner + 1, all.size, router, scratch);
    LocatePoints(scratch.side.span(), numPartners, axis, scratch.points);
    for (std::size_t q = 0; q < numPartners; ++q) {
        const auto partner = static_cast<std::size_t>(scratch.partner[q]);
        AddEarlier(MakeTriangle(all, partner, owner, scratch.points, q, block.triangleSize), own, block);
    }
}

void AddTriangles(const ManyBodyNeighbors& all, std::size_t owner, const ManyBodyAxis& axis, float router,
                  const ManyBodyBlock& block, ManyBodyScratch& scratch) {
    if (all.endColumn[owner] == 0) {
        return;
    }
    if (block.diff == nullptr) {
        AddTrianglesBefore<false>(all, owner, axis, router, block, nullptr, scratch);
        return;
    }
    const auto entry = static_cast<std::size_t>(all.entry[owner]);
    float* const own = block.diff + 3 * (entry + 1) * block.rowStride;
    AddTrianglesBefore<true>(all, owner, axis, router, block, own, scratch);
    AddTrianglesBehind(all, owner, axis, router, block, own, scratch);
}

const char* TargetName() {
    return hwy::TargetName(HWY_TARGET);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(LocatePoints);
HWY_EXPORT(AddTriangles);
HWY_EXPORT(TargetName);

void locateManyBodyPoints(std::span<const float> r, std::size_t numDistances, const ManyBodyAxis& axis,
                          ManyBodyPoints& points) {
    HWY_DYNAMIC_DISPATCH(LocatePoints)(r, numDistances, axis, points);
}

void addManyBodyTriangles(const ManyBodyNeighbors& neighbors, std::size_t owner, const ManyBodyAxis& axis,
                          float router, const ManyBodyBlock& block, ManyBodyScratch& scratch) {
    HWY_DYNAMIC_DISPATCH(AddTriangles)(neighbors, owner, axis, router, block, scratch);
}

const char* findManyBodyTarget() {
    return HWY_DYNAMIC_DISPATCH(TargetName)();
}

} // namespace melta
#endif
