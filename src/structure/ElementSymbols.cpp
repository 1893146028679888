#include "structure/ElementSymbols.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cstddef>

namespace melta {

// clang-format off
const std::array<std::string_view, numElementSymbols> elementSymbols = {
    "H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na", "Mg", "Al", "Si", "P",  "S",
    "Cl", "Ar", "K",  "Ca", "Sc", "Ti", "V",  "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn", "Ga", "Ge",
    "As", "Se", "Br", "Kr", "Rb", "Sr", "Y",  "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd",
    "In", "Sn", "Sb", "Te", "I",  "Xe", "Cs", "Ba", "La", "Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd",
    "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu", "Hf", "Ta", "W",  "Re", "Os", "Ir", "Pt", "Au", "Hg",
    "Tl", "Pb", "Bi", "Po", "At", "Rn", "Fr", "Ra", "Ac", "Th", "Pa", "U",  "Np", "Pu",
};
// clang-format on

void regularizeElement(std::string& label) {
    constexpr std::size_t longestSymbol = 2;
    const std::size_t end = label.find_first_of("0123456789 #*+-:_~");
    label.resize(std::min({label.size(), end, longestSymbol}));
}

int findAtomicNumber(const std::string& label) {
    std::string symbol = label;
    regularizeElement(symbol);
    const auto* const found = std::find(elementSymbols.begin(), elementSymbols.end(), symbol);
    return found == elementSymbols.end() ? 0 : static_cast<int>(found - elementSymbols.begin()) + 1;
}

int atomicNumberOf(const std::string& label) {
    const int atomicNumber = findAtomicNumber(label);
    if (atomicNumber < 1) {
        stopWithMessage("cannot resolve the atomic number of the element: %s", label.c_str());
    }
    return atomicNumber;
}

} // namespace melta
