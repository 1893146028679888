// What the sums over the triangles of an atom share: grid points of distances, third sides, and one triangle.
// Included once for each instruction set.

#if defined(MELTA_MANY_BODY_TRIANGLES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_MANY_BODY_TRIANGLES_INL
#undef MELTA_MANY_BODY_TRIANGLES_INL
#else
#define MELTA_MANY_BODY_TRIANGLES_INL
#endif

#include "symmfunc/manybody/ManyBodyKernels.hpp"

#include <algorithm>
#include <array>

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

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

HWY_INLINE void LocatePoints(std::span<const float> r, std::size_t numDistances, const ManyBodyAxis& axis,
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
HWY_INLINE std::size_t SelectPartners(const ManyBodyNeighbors& all, std::size_t owner, std::size_t begin,
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

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_MANY_BODY_TRIANGLES_INL
