#include "symmfunc/manybody/ManyBodyKernels.hpp"

#include <algorithm>
#include <array>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/manybody/ManyBodyKernels.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes = hn::CappedTag<float, manyBodyPadding>;
using IntLanes = hn::RebindToSigned<Lanes>;

constexpr float pi = 3.1415927f;

// The points of one vector of distances. With t the distance from the lower point in steps, the two functions
// are 0.5 (1 + cos(pi t)) = cos^2(pi t / 2) and 0.5 (1 - cos(pi t)) = sin^2(pi t / 2), and their slopes are
// opposite: one sine and one cosine serve both.
HWY_INLINE void LocateVector(hn::Vec<Lanes> r, std::size_t place, const ManyBodyAxis& axis,
                             ManyBodyPoints& points) {
    const Lanes d;
    const IntLanes di;
    const auto step = hn::Set(d, axis.step);
    const auto x = hn::Sub(r, hn::Set(d, axis.start));
    // Kept within what an integer holds; the limits lie where there are no points.
    const auto ratio =
        hn::Min(hn::Max(hn::Div(x, step), hn::Set(d, -4.0f)), hn::Set(d, static_cast<float>(1 << 30)));
    const auto interval = hn::ConvertTo(di, ratio); // towards zero
    const auto one = hn::Set(di, 1);
    const auto end = hn::Set(di, axis.numPoints - 1);
    const auto lowest = hn::Max(interval, hn::Zero(di));
    const auto highest = hn::Min(hn::Add(interval, one), end);
    const auto count = hn::Max(hn::Add(hn::Sub(highest, lowest), one), hn::Zero(di));
    const auto first = hn::Min(lowest, end);
    hn::StoreU(first, di, points.first.data() + place);
    hn::StoreU(count, di, points.count.data() + place);

    const auto t = hn::Div(hn::NegMulAdd(hn::ConvertTo(d, first), step, x), step);
    const auto angle = hn::Mul(t, hn::Set(d, 0.5f * pi));
    const auto sine = hn::Sin(d, angle);
    const auto cosine = hn::Cos(d, angle);
    const auto factor = hn::Div(hn::Set(d, -pi / axis.step), r);
    const auto slope = hn::Mul(hn::Mul(sine, cosine), factor);
    const auto hasLower = hn::RebindMask(d, hn::Gt(count, hn::Zero(di)));
    const auto hasUpper = hn::RebindMask(d, hn::Gt(count, one));
    hn::StoreInterleaved4(hn::IfThenElseZero(hasLower, hn::Mul(cosine, cosine)),
                          hn::IfThenElseZero(hasUpper, hn::Mul(sine, sine)),
                          hn::IfThenElseZero(hasLower, slope), hn::IfThenElseZero(hasUpper, hn::Neg(slope)),
                          d, points.weights.data() + 4 * place);
}

void LocatePoints(std::span<const float> r, std::size_t numDistances, const ManyBodyAxis& axis,
                  ManyBodyPoints& points) {
    const Lanes d;
    for (std::size_t n = 0; n < numDistances; n += hn::Lanes(d)) {
        LocateVector(hn::LoadU(d, r.data() + n), n, axis, points);
    }
}

// Lists the partners `begin` to `end` - 1 whose triangle with `owner` reaches the block: its third side is
// short enough, and the lowest column of the earlier neighbour does not pass the highest of the later one,
// which is the owner for `isLater`. Leaves their third sides in the scratch and returns their number.
template <bool isLater>
std::size_t SelectPartners(const ManyBodyNeighbors& all, std::size_t owner, std::size_t begin,
                           std::size_t end, float router, ManyBodyScratch& scratch) {
    const Lanes d;
    const IntLanes di;
    const auto x = hn::Set(d, all.x[owner]);
    const auto y = hn::Set(d, all.y[owner]);
    const auto z = hn::Set(d, all.z[owner]);
    const auto limit = hn::Set(d, router * router);
    std::size_t numPartners = 0;
    for (std::size_t n = begin; n < end; n += hn::Lanes(d)) {
        const auto wx = hn::Sub(x, hn::LoadU(d, all.x.data() + n));
        const auto wy = hn::Sub(y, hn::LoadU(d, all.y.data() + n));
        const auto wz = hn::Sub(z, hn::LoadU(d, all.z.data() + n));
        const auto square = hn::MulAdd(wx, wx, hn::MulAdd(wy, wy, hn::Mul(wz, wz)));
        const auto reaches =
            isLater ? hn::Lt(hn::LoadU(di, all.column.data() + n), hn::Set(di, all.endColumn[owner]))
                    : hn::Lt(hn::Set(di, all.column[owner]), hn::LoadU(di, all.endColumn.data() + n));
        const auto isInside = hn::And(hn::Lt(square, limit), hn::FirstN(d, end - n));
        const auto chosen = hn::And(hn::RebindMask(di, isInside), reaches);
        const auto index = hn::Iota(di, static_cast<std::int32_t>(n));
        hn::CompressStore(index, chosen, di, scratch.partner.data() + numPartners);
        numPartners += hn::CompressStore(hn::Sqrt(square), hn::RebindMask(d, chosen), d,
                                         scratch.side.data() + numPartners);
    }
    // A harmless length for the lanes behind the last one.
    hn::StoreU(hn::Set(d, 1.0f), d, scratch.side.data() + numPartners);
    return numPartners;
}

// One triangle. It has exactly two grid points for each of its sides, the missing ones with weights of zero,
// and adds to four places, for two rows of the later neighbour at two points of the third side, two columns
// of the earlier one: branches on the numbers of points could not be predicted.
struct Triangle {
    std::array<float, 3> later;   // place of the later neighbour
    std::array<float, 3> earlier; // and of the earlier one
    const float* laterWeights;    // all weights as in ManyBodyPoints
    const float* earlierWeights;
    const float* thirdWeights;
    std::array<std::ptrdiff_t, 2> rows;    // begin of the two rows, at the earlier neighbour's first column
    std::array<std::ptrdiff_t, 2> thirds;  // begin of the packed triangles of the third side's points
    std::array<std::int32_t, 2> numInside; // columns in each row from the earlier neighbour's first one on
};

HWY_INLINE Triangle MakeTriangle(const ManyBodyNeighbors& all, std::size_t later, std::size_t earlier,
                                 const ManyBodyPoints& points, std::size_t place, std::size_t triangleSize) {
    Triangle triangle{.later = {all.x[later], all.y[later], all.z[later]},
                      .earlier = {all.x[earlier], all.y[earlier], all.z[earlier]},
                      .laterWeights = all.weights.data() + 4 * later,
                      .earlierWeights = all.pairWeights.data() + 4 * earlier,
                      .thirdWeights = points.weights.data() + 4 * place,
                      .rows = {},
                      .thirds = {},
                      .numInside = {}};
    const std::int32_t column = all.pairColumn[earlier];
    triangle.rows = {all.rows[2 * later] + column, all.rows[2 * later + 1] + column};
    triangle.numInside = {all.column[later] - column + 1, all.endColumn[later] - column};
    const auto size = static_cast<std::ptrdiff_t>(triangleSize);
    triangle.thirds[0] = points.first[place] * size;
    triangle.thirds[1] =
        triangle.thirds[0] + (points.count[place] >> 1) * size; // one further if there are two
    return triangle;
}

// The two columns of a place: one vector, or two where there are none so long.
using Columns = hn::CappedTag<float, 2>;
using ColumnVector = hn::Vec<Columns>;

// Weights of the earlier neighbour in the row `row` from column `b` on; zero behind the end of the row, which
// is outside the triangle.
HWY_INLINE ColumnVector LoadColumns(const Triangle& triangle, std::size_t row, std::size_t b,
                                    const float* weights) {
    const Columns d;
    const hn::RebindToSigned<Columns> di;
    const auto isInside =
        hn::Lt(hn::Iota(di, static_cast<std::int32_t>(b)), hn::Set(di, triangle.numInside[row]));
    return hn::IfThenElseZero(hn::RebindMask(d, isInside), hn::LoadU(d, weights + b));
}

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

const char* obtainManyBodyTarget() {
    return HWY_DYNAMIC_DISPATCH(TargetName)();
}

} // namespace melta
#endif
