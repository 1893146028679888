#include "structure/io/StructureFaults.hpp"

#include "base/Reporting.hpp"

#include <limits>

namespace melta {

int requireNumAtoms(long long numAtoms, int igeom, const std::string& fileName) {
    if (numAtoms < 1) {
        stopWithMessage("#atoms of the %d -th geometry is not positive: %s", igeom, fileName.c_str());
    }
    if (numAtoms > std::numeric_limits<int>::max()) {
        stopWithMessage("too large #atoms of the %d -th geometry: %s", igeom, fileName.c_str());
    }
    return static_cast<int>(numAtoms);
}

void stopAtTotal(int igeom, const std::string& fileName) {
    stopWithMessage("NaN at the total energy of the %d -th geometry: %s", igeom, fileName.c_str());
}

void stopAtStress(int igeom, const std::string& fileName) {
    stopWithMessage("NaN at the stress of the %d -th geometry: %s", igeom, fileName.c_str());
}

void stopAtNumbersOfAtom(int iatom, int igeom, const std::string& fileName) {
    stopWithMessage("NaN at the %d -th atom of the %d -th geometry: %s", iatom, igeom, fileName.c_str());
}

} // namespace melta
