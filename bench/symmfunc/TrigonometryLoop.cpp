#include "symmfunc/TrigonometryLoop.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/TrigonometryLoop.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta::bench {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes = hn::CappedTag<float, 16>;

float Trigonometry(std::size_t numVectors) {
    const Lanes d;
    const auto orders = hn::Iota(d, 0.0f);
    auto sum = hn::Zero(d);
    for (std::size_t i = 0; i < numVectors; ++i) {
        // A different angle each time, between 0 and pi.
        const auto angle = hn::Mul(orders, hn::Set(d, 0.0031f * static_cast<float>(i % 1000)));
        sum = hn::Add(sum, hn::Sin(d, angle));
        sum = hn::Add(sum, hn::Cos(d, angle));
    }
    return hn::GetLane(hn::SumOfLanes(d, sum));
}

std::size_t NumLanes() {
    return hn::Lanes(Lanes());
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta::bench
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta::bench {

HWY_EXPORT(Trigonometry);
HWY_EXPORT(NumLanes);

float evaluateTrigonometry(std::size_t numVectors) {
    return HWY_DYNAMIC_DISPATCH(Trigonometry)(numVectors);
}

std::size_t countLanes() {
    return HWY_DYNAMIC_DISPATCH(NumLanes)();
}

} // namespace melta::bench
#endif
