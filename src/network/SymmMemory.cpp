#include "network/SymmMemory.hpp"

#include "base/Reporting.hpp"
#include "config/Property.hpp"
#include "config/SymmFuncKind.hpp"

namespace melta {
namespace {

double mebibytesOf(std::uint64_t bytes) {
    return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

} // namespace

std::uint64_t bytesOfSymmFuncs(std::span<Geometry* const> geometries, std::size_t numBasis, bool derive) {
    std::uint64_t numValues = 0;
    for (const Geometry* const geometry : geometries) {
        const auto numAtoms = static_cast<std::uint64_t>(geometry->numAtoms);
        numValues += numAtoms;
        for (int atom = 0; derive && atom < geometry->numAtoms; ++atom) {
            numValues += 3 * (static_cast<std::uint64_t>(geometry->numNeighbors(atom)) + 1);
        }
    }
    return sizeof(float) * numBasis * numValues;
}

void requireMemory(std::uint64_t needed, std::uint64_t free, const Property& property, SymmUse use) {
    if (needed <= free) {
        return;
    }
    std::string help = std::string("reduce ") + symmFuncKindOf(property).keysOfSize();
    if (use == SymmUse::allGeometries) {
        help += ", set geomsEpoch, or let Adam (lbfgs 0) work with batchs and directSF 1";
    } else if (property.lbfgs < 1 && property.batchs > 1) {
        help += ", or reduce batchs";
    }
    stopWithMessage("not enough memory: symmetry functions take %.0f MiB, but only %.0f MiB are free; %s",
                    mebibytesOf(needed), mebibytesOf(free), help.c_str());
}

} // namespace melta
