#include "network/BatchGeometries.hpp"

#include "base/MemoryLimits.hpp"
#include "base/MemoryPurpose.hpp"
#include "base/Reporting.hpp"
#include "network/SymmMemory.hpp"
#include "structure/Geometry.hpp"

#include <cstdint>
#include <utility>

namespace melta {

void BatchGeometries::setAll(std::span<Geometry* const> geometries) {
    if (geometries.empty()) {
        stopWithMessage("#all-geometries is not positive.");
    }
    if (!all.empty()) {
        stopWithMessage("geometriesAll have been set, already.");
    }
    all.assign(geometries.begin(), geometries.end());
}

void BatchGeometries::clearAll() {
    requireSet(Part::all);
    all.clear();
    rowsOfAll.clear();
}

void BatchGeometries::setBatch(std::span<Geometry* const> geometries) {
    if (geometries.empty()) {
        stopWithMessage("#geometries is not positive.");
    }
    if (!batch.empty()) {
        stopWithMessage("geometries have been set, already.");
    }
    batch.assign(geometries.begin(), geometries.end());
}

void BatchGeometries::setBatch(std::span<const int> indices) {
    requireSet(Part::all);
    if (!batch.empty()) {
        stopWithMessage("geometries have been set, already.");
    }
    if (indices.empty()) {
        stopWithMessage("#geometries is not positive.");
    }
    if (rowsOfAll.empty()) {
        stopWithMessage("symmDataAll have not been prepared.");
    }
    for (const int index : indices) {
        if (index < 0 || static_cast<std::size_t>(index) >= all.size()) {
            stopWithMessage("idxGeoms is out of range.");
        }
        batch.push_back(all[static_cast<std::size_t>(index)]);
        rowsOfBatch.push_back(&rowsOfAll[static_cast<std::size_t>(index)]);
    }
}

void BatchGeometries::clearBatch() {
    requireSet(Part::batch);
    batch.clear();
    rowsOfBatch.clear();
    ownRows.clear();
}

void BatchGeometries::requireSet(Part part) const {
    if (get(part).empty()) {
        stopWithMessage("%s have not been set.", part == Part::all ? "geometriesAll" : "geometries");
    }
}

void BatchGeometries::requireRoom(Part part, int numBasis, bool derive, const Property& property) const {
    // What is smaller is not worth asking the system each time.
    constexpr std::uint64_t small = std::uint64_t{64} << 20;
    const std::uint64_t needed = bytesOfSymmFuncs(get(part), static_cast<std::size_t>(numBasis), derive);
    if (needed > small) {
        requireMemory(needed, MemoryLimits().findFree(), property,
                      part == Part::all ? SymmUse::allGeometries : SymmUse::batch);
    }
}

void BatchGeometries::calculate(Part part, const SymmFunc& symmFunc, bool derive, bool withBar) {
    std::vector<SymmRows> rows = allocateFor(
        "symmetry functions", [&] { return calculateSymmRows(symmFunc, get(part), derive, withBar); });
    if (part == Part::all) {
        rowsOfAll = std::move(rows);
        return;
    }
    ownRows = std::move(rows);
    rowsOfBatch.clear();
    for (const SymmRows& row : ownRows) {
        rowsOfBatch.push_back(&row);
    }
}

void BatchGeometries::normalize(Part part, const SymmStatistics& statistics) {
    requireSet(part);
    std::vector<SymmRows>& rows = part == Part::all ? rowsOfAll : ownRows;
    if (rows.empty()) {
        stopWithMessage("%s have not been prepared.", part == Part::all ? "symmDataAll" : "symmData");
    }
    renormalizeSymmRows(get(part), rows, statistics);
}

int BatchGeometries::countAtomsOfBatch() const {
    int numAtoms = 0;
    for (const Geometry* const geometry : batch) {
        numAtoms += geometry->numAtoms;
    }
    return numAtoms;
}

} // namespace melta
