#include "sampling/MetropolisState.hpp"

#include "base/FileReplacement.hpp"
#include "structure/io/DataFile.hpp"

#include <vector>

namespace melta {

void writeMetropolisState(const std::string& fileName, const GeometryCard& card,
                          std::span<const std::string> networkNames) {
    std::vector<std::string> labels;
    labels.reserve(card.elemAtoms.size());
    for (const std::int32_t element : card.elemAtoms) {
        labels.push_back(networkNames[static_cast<std::size_t>(element)]);
    }
    FileReplacement replacement;
    writeBareStructure(replacement.open(fileName), card.lattice, labels, card.positions);
    replacement.commit();
}

} // namespace melta
