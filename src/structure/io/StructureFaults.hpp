// Faults of structures that are the same in all formats. Structures and atoms count from 0.
#pragma once

#include <string>

namespace melta {

// The number of atoms that a file announces, as a count. Stops with "#atoms of the %d -th geometry is not
// positive: %s", "too large #atoms of the %d -th geometry: %s" (beyond 32 bits).
[[nodiscard]] int requireNumAtoms(long long numAtoms, int igeom, const std::string& fileName);

// For numbers that are NaN or infinite. Stop with "NaN at the total energy of the %d -th geometry: %s",
// "NaN at the stress of the %d -th geometry: %s" and "NaN at the %d -th atom of the %d -th geometry: %s".
[[noreturn]] void stopAtTotal(int igeom, const std::string& fileName);
[[noreturn]] void stopAtStress(int igeom, const std::string& fileName);
[[noreturn]] void stopAtNumbersOfAtom(int iatom, int igeom, const std::string& fileName);

} // namespace melta
