#include "baseline/zbl/ZblTable.hpp"

#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"

#include <algorithm>

namespace melta {
namespace {

const ZblRadii& requireEntry(std::span<const ZblRadii> entries, const std::string& first,
                             const std::string& second, double cutoff, const std::string& fileName) {
    const ZblRadii* const entry = findZblRadii(entries, first, second);
    if (entry == nullptr) {
        stopWithMessage("there are no radii of ZBL for %s and %s: %s", first.c_str(), second.c_str(),
                        fileName.c_str());
    }
    if (entry->outer > cutoff) {
        stopWithMessage("radii of ZBL for %s and %s exceed the cutoff of symmetry functions: %s",
                        first.c_str(), second.c_str(), fileName.c_str());
    }
    return *entry;
}

} // namespace

ZblTable::ZblTable(std::span<const std::string> labels, std::span<const ZblRadii> entries, double cutoff,
                   const std::string& fileName)
    : numElems(labels.size()), pairs(numElems * numElems) {
    for (std::size_t i = 0; i < numElems; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            const int first = findAtomicNumber(labels[i]);
            const int second = findAtomicNumber(labels[j]);
            if (first > 0 && second > 0) {
                const ZblRadii& entry = requireEntry(entries, labels[j], labels[i], cutoff, fileName);
                pairs[numElems * i + j] = makeZblPair(first, second, entry.inner, entry.outer);
                pairs[numElems * j + i] = pairs[numElems * i + j];
                reach = std::max(reach, entry.outer);
            }
        }
    }
}

} // namespace melta
