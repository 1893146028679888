#pragma once

#include "structure/ElementTable.hpp"
#include "structure/Geometry.hpp"
#include "structure/io/StructureSource.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace melta {

class GeometrySet;

// Makes geometries of the structures of a source, with the settings of a set: the labels become element
// kinds, and structures with too large forces are refused. The set itself changes only in moveTo, after all
// went well.
class GeometrySetReader {
public:
    // `isFirstOnly`: the first structure alone is read, and none is refused. `fileName` is named in messages.
    // `set`, its training set and `source` must outlive the reader.
    GeometrySetReader(const GeometrySet& set, StructureSource& source, const std::string& fileName,
                      bool isFirstOnly);

    // Reads the source. Stops as the source and ElementTable, with "NaN at ..." (StructureFaults.hpp) also
    // for a number that leaves its range in the units of the system, and with "there are no geometries: %s"
    // (the file).
    void read();

    // Hands all over to the set.
    void moveTo(GeometrySet& target);

private:
    bool readStructure();
    int countAtom(const std::string& label);
    [[nodiscard]] bool isRefused() const;
    void checkNumbers() const;
    void accept();
    void takeStress(Geometry& geometry) const;
    void refuse();
    [[nodiscard]] int currentGeometry() const { return static_cast<int>(geometries.size()); }

    const GeometrySet* set;
    StructureSource* source;
    std::string fileName;
    bool isFirstOnly;
    ElementTable table;
    std::vector<std::unique_ptr<Geometry>> geometries;
    int numRejected = 0;
    int lastGeometry = 0; // number of the structure that was read last
    std::optional<int> restBehind;
    Structure structure; // being read
};

} // namespace melta
