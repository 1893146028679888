#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>

namespace melta::test {

// While it lives, vector kernels run the code of this instruction set.
class ForcedTarget {
public:
    explicit ForcedTarget(std::int64_t target) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    ~ForcedTarget() {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    ForcedTarget(const ForcedTarget&) = delete;
    ForcedTarget& operator=(const ForcedTarget&) = delete;
};

// Runs an action once for each instruction set that was compiled and that this machine has.
template <class Action>
void onEachTarget(Action&& action) {
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        const ForcedTarget forced(target);
        action();
    }
}

} // namespace melta::test
