#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace melta {

// Whether element labels are reduced to symbols, as word `index` of a command line says: yes without the
// word. Stops with "cannot read the value of the regularElem." when it is no whole number.
bool readRegularElem(std::span<const std::string> words, std::size_t index);

} // namespace melta
