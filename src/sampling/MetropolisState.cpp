#include "sampling/MetropolisState.hpp"

#include "base/FileReplacement.hpp"
#include "structure/Units.hpp"

#include <cstdio>

namespace melta {
namespace {

// Three lengths in Angstrom, in Bohr. The quotient is taken in single precision.
void writeVector(std::FILE* file, std::span<const float> vector) {
    std::fprintf(file, "%.8e %.8e %.8e", static_cast<double>(vector[0] / units::bohr),
                 static_cast<double>(vector[1] / units::bohr), static_cast<double>(vector[2] / units::bohr));
}

} // namespace

void writeMetropolisState(const std::string& fileName, const GeometryCard& card,
                          std::span<const std::string> networkNames) {
    FileReplacement replacement;
    std::FILE* const file = replacement.open(fileName);
    std::fprintf(file, "%zu %d %.8e\n", card.elemAtoms.size(), 0, 0.0);
    for (std::size_t row = 0; row < 3; ++row) {
        writeVector(file, std::span(card.lattice).subspan(3 * row, 3));
        std::fputs("\n", file);
    }
    for (std::size_t i = 0; i < card.elemAtoms.size(); ++i) {
        std::fprintf(file, "%s ", networkNames[static_cast<std::size_t>(card.elemAtoms[i])].c_str());
        writeVector(file, std::span(card.positions).subspan(3 * i, 3));
        std::fputs(" 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0\n", file);
    }
    replacement.commit();
}

} // namespace melta
