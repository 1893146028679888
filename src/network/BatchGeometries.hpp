#pragma once

#include "network/SymmPreparation.hpp"
#include "network/SymmRows.hpp"

#include <span>
#include <vector>

namespace melta {

class Geometry;
class Property;
class SymmFunc;

// The geometries of an arrangement with their symmetry functions: the in-core set, which is computed once,
// and the batch in use, which consists of entries of the in-core set or of geometries of its own. All
// geometries are borrowed.
class BatchGeometries {
public:
    enum class Part { all, batch };

    // Stops with "#all-geometries is not positive.", "geometriesAll have been set, already.".
    void setAll(std::span<Geometry* const> all);

    // Stops with "geometriesAll have not been set.".
    void clearAll();

    // A batch without symmetry functions. Stops with "#geometries is not positive.", "geometries have been
    // set, already.".
    void setBatch(std::span<Geometry* const> batch);

    // A batch of entries of the in-core set with their symmetry functions. Stops with "geometriesAll have not
    // been set.", "geometries have been set, already.", "#geometries is not positive.", "symmDataAll have not
    // been prepared.", "idxGeoms is out of range.".
    void setBatch(std::span<const int> indices);

    // Stops with "geometries have not been set.".
    void clearBatch();

    // Stops with "geometriesAll have not been set." or "geometries have not been set.".
    void requireSet(Part part) const;

    // Stops as requireMemory in SymmMemory.hpp, if the symmetry functions of a part have no room: before
    // anything is computed, because a machine that runs out of memory may kill the run without a word.
    void requireRoom(Part part, int numBasis, bool derive, const Property& property) const;

    // Symmetry functions of a part, raw, with `derive` their derivatives. Stops as calculateSymmRows.
    void calculate(Part part, const SymmFunc& symmFunc, bool derive, bool withBar);

    // Normalises them, once. Stops as requireSet and with "symmDataAll have not been prepared." or "symmData
    // have not been prepared.".
    void normalize(Part part, const SymmStatistics& statistics);

    // Empty before they are set and computed.
    [[nodiscard]] std::span<Geometry* const> getAll() const { return all; }
    [[nodiscard]] std::span<const SymmRows> getRowsOfAll() const { return rowsOfAll; }
    [[nodiscard]] std::span<Geometry* const> getBatch() const { return batch; }
    [[nodiscard]] std::span<const SymmRows* const> getRowsOfBatch() const { return rowsOfBatch; }

    [[nodiscard]] int countAtomsOfBatch() const;

private:
    [[nodiscard]] std::span<Geometry* const> get(Part part) const { return part == Part::all ? all : batch; }

    std::vector<Geometry*> all;
    std::vector<SymmRows> rowsOfAll;
    std::vector<Geometry*> batch;
    std::vector<SymmRows> ownRows;            // computed for the batch
    std::vector<const SymmRows*> rowsOfBatch; // those in use: its own or those of the in-core set
};

} // namespace melta
