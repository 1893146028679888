#include "config/BaselineKind.hpp"

#include "base/Reporting.hpp"

#include <algorithm>

namespace melta {

const BaselineKind* baselineKindOf(const Property& property) {
    const BaselineKind* found = nullptr;
    for (const BaselineKind* const kind : baselineKinds()) {
        found = kind->isOn(property) ? kind : found;
    }
    return found;
}

const BaselineKind* findBaselineKind(int code) {
    constexpr int codeOfOlderFiles = 2;
    const auto kinds = baselineKinds();
    const auto find = [&](int wanted) {
        const auto found = std::ranges::find(kinds, wanted, &BaselineKind::getCode);
        return found == kinds.end() ? nullptr : *found;
    };
    const BaselineKind* const exact = find(code);
    return exact == nullptr && code > codeOfOlderFiles ? find(codeOfOlderFiles) : exact;
}

void requireOneBaseline(const Property& property, const std::string& fileName) {
    const BaselineKind* first = nullptr;
    for (const BaselineKind* const kind : baselineKinds()) {
        if (!kind->isOn(property)) {
            continue;
        }
        if (first != nullptr) {
            stopWithMessage("you cannot use %s & %s at the same time: %s", first->getKey(), kind->getKey(),
                            fileName.c_str());
        }
        first = kind;
    }
}

} // namespace melta
