// Whether the symmetry functions of a run have room before any of them is computed.
#pragma once

#include "structure/Geometry.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace melta {

class Property;

// What symmetry functions are computed for.
enum class SymmUse { allGeometries, batch };

// Bytes that SymmRows of these geometries take: 4 numBasis for each atom, and with derivatives
// 12 (n + 1) numBasis more for one with n neighbours.
std::uint64_t bytesOfSymmFuncs(std::span<Geometry* const> geometries, std::size_t numBasis, bool derive);

// Stops with "not enough memory: symmetry functions take %.0f MiB, but only %.0f MiB are free; %s", the last
// being the keys that help, if `needed` bytes are more than `free`.
void requireMemory(std::uint64_t needed, std::uint64_t free, const Property& property, SymmUse use);

} // namespace melta
