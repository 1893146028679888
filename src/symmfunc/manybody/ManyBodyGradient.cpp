// The way back through the sums over triangles. A triangle takes the gradient by the values from the eight
// places it has added to, so that a large and nearly empty array of derivatives is never made.

#include "symmfunc/manybody/ManyBodyKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/manybody/ManyBodyGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/manybody/ManyBodyTriangles-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Derivatives by the three sides of a triangle, each over the side's length.
struct SideSlopes {
    float later, earlier, third;
};

HWY_INLINE SideSlopes SumPlaces(const Triangle& triangle, const float* gradient) {
    const Columns d;
    auto later = hn::Zero(d), earlier = hn::Zero(d), third = hn::Zero(d);
    for (std::size_t b = 0; b < 2; b += hn::Lanes(d)) {
        for (std::size_t row = 0; row < 2; ++row) {
            const auto columns = LoadColumns(triangle, row, b, triangle.earlierWeights);
            const auto columnSlopes = LoadColumns(triangle, row, b, triangle.earlierWeights + 2);
            const float* const from = gradient + triangle.rows[row] + b;
            const auto lower = hn::LoadU(d, from + triangle.thirds[0]);
            const auto upper = hn::LoadU(d, from + triangle.thirds[1]);
            const auto value = hn::MulAdd(hn::Set(d, triangle.thirdWeights[0]), lower,
                                          hn::Mul(hn::Set(d, triangle.thirdWeights[1]), upper));
            const auto slope = hn::MulAdd(hn::Set(d, triangle.thirdWeights[2]), lower,
                                          hn::Mul(hn::Set(d, triangle.thirdWeights[3]), upper));
            const auto laterPhi = hn::Set(d, triangle.laterWeights[row]);
            const auto laterSlope = hn::Set(d, triangle.laterWeights[2 + row]);
            later = hn::MulAdd(hn::Mul(laterSlope, columns), value, later);
            earlier = hn::MulAdd(hn::Mul(laterPhi, columnSlopes), value, earlier);
            third = hn::MulAdd(hn::Mul(laterPhi, columns), slope, third);
        }
    }
    return {hn::GetLane(hn::SumOfLanes(d, later)), hn::GetLane(hn::SumOfLanes(d, earlier)),
            hn::GetLane(hn::SumOfLanes(d, third))};
}

void AddTriangle(const ManyBodyNeighbors& all, std::size_t owner, std::size_t partner,
                 const SideSlopes& slopes, const ShellGradient& to) {
    const auto add = [&](std::span<const float> place, std::span<float> sums) {
        const float alongThird = slopes.third * (place[owner] - place[partner]);
        sums[owner] += slopes.later * place[owner] + alongThird;
        sums[partner] += slopes.earlier * place[partner] - alongThird;
    };
    add(all.x, to.x);
    add(all.y, to.y);
    add(all.z, to.z);
}

void TriangleGradient(const ManyBodyNeighbors& all, const ManyBodyAxis& axis, float router,
                      const float* gradient, std::size_t triangleSize, const ShellGradient& result,
                      ManyBodyScratch& scratch) {
    for (std::size_t owner = 1; owner < all.size; ++owner) {
        if (all.endColumn[owner] == 0) {
            continue;
        }
        const std::size_t numPartners = SelectPartners<true>(all, owner, 0, owner, router, scratch);
        LocatePoints(scratch.side.span(), numPartners, axis, scratch.points);
        for (std::size_t q = 0; q < numPartners; ++q) {
            const auto partner = static_cast<std::size_t>(scratch.partner[q]);
            const Triangle triangle = MakeTriangle(all, owner, partner, scratch.points, q, triangleSize);
            AddTriangle(all, owner, partner, SumPlaces(triangle, gradient), result);
        }
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(TriangleGradient);

void addManyBodyGradient(const ManyBodyNeighbors& neighbors, const ManyBodyAxis& axis, float router,
                         const float* gradient, std::size_t triangleSize, const ShellGradient& result,
                         ManyBodyScratch& scratch) {
    HWY_DYNAMIC_DISPATCH(TriangleGradient)(neighbors, axis, router, gradient, triangleSize, result, scratch);
}

} // namespace melta
#endif
