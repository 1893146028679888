#include "support/FmaLoop.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "support/FmaLoop.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta::bench {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes = hn::CappedTag<float, 16>;

// More than latency times units of any processor.
constexpr std::size_t numSums = 12;

float MultiplyAdds(std::size_t numRounds) {
    const Lanes d;
    const auto factor = hn::Set(d, 0.999999f);
    const auto summand = hn::Set(d, 1.0e-6f);
    hn::Vec<Lanes> sums[numSums];
    for (std::size_t i = 0; i < numSums; ++i) {
        sums[i] = hn::Iota(d, static_cast<float>(i));
    }
    for (std::size_t round = 0; round < numRounds; ++round) {
        for (std::size_t i = 0; i < numSums; ++i) {
            sums[i] = hn::MulAdd(sums[i], factor, summand);
        }
    }
    for (std::size_t i = 1; i < numSums; ++i) {
        sums[0] = hn::Add(sums[0], sums[i]);
    }
    return hn::GetLane(hn::SumOfLanes(d, sums[0]));
}

std::size_t NumMultiplyAdds() {
    return numSums * hn::Lanes(Lanes());
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta::bench
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta::bench {

HWY_EXPORT(MultiplyAdds);
HWY_EXPORT(NumMultiplyAdds);

float runMultiplyAdds(std::size_t numRounds) {
    return HWY_DYNAMIC_DISPATCH(MultiplyAdds)(numRounds);
}

std::size_t countMultiplyAdds() {
    return HWY_DYNAMIC_DISPATCH(NumMultiplyAdds)();
}

} // namespace melta::bench
#endif
