#include "structure/DataWarnings.hpp"

#include "base/Reporting.hpp"

namespace melta {

void DataWarnings::print(const std::string& fileName) const {
    for (const int index : closeGeoms) {
        printOut("  * WARNING: atoms are too close in the %d -th geometry: %s\n\n", index, fileName.c_str());
    }
    for (const int index : farGeoms) {
        printOut("  * WARNING: the energy of the %d -th geometry is far from the others: %s\n\n", index,
                 fileName.c_str());
    }
    if (restBehind) {
        printOut("  * WARNING: lines behind the %d -th geometry are not read: %s\n\n", *restBehind,
                 fileName.c_str());
    }
}

} // namespace melta
