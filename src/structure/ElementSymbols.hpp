#pragma once

#include <array>
#include <string>
#include <string_view>

namespace melta {

// Symbols of the chemical elements from H (atomic number 1) to Pu (94), in the order of the periodic table.
inline constexpr int numElementSymbols = 94;
extern const std::array<std::string_view, numElementSymbols> elementSymbols;

// Reduces an element label to a symbol, in place: at most its first two characters, cut in front of the first
// digit, blank, or one of # * + - : _ ~. Fe2 becomes Fe, O_1 becomes O.
void regularizeElement(std::string& label);

// Atomic number of an element label, which may carry what regularizeElement removes; 0 if the rest is no
// symbol.
[[nodiscard]] int findAtomicNumber(const std::string& label);

// The same for a label that has to name an element.
// Stops with "cannot resolve the atomic number of the element: %s" (the label) if the rest is no symbol.
[[nodiscard]] int atomicNumberOf(const std::string& label);

} // namespace melta
