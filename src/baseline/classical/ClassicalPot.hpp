#pragma once

#include "baseline/classical/ClassicalParameters.hpp"
#include "structure/BaselinePotential.hpp"

#include <span>
#include <string>

namespace melta {

class Geometry;
class GeometrySet;
class PairNeighbors;
class Property;

// A pair potential of the form A/r^12 + B/r^10 + C/r^8 + D/r^6 for each pair of elements, shifted so that
// energy and force vanish at the cutoff, which is the largest one of the symmetry functions: as far as the
// neighbour lists reach. Energies in eV, forces in eV/Angstrom. The element table and the settings are
// borrowed.
//
// Serial for each geometry. Threads may share an object, each with geometries of its own; work data belong to
// the thread.
class ClassicalPot : public BaselinePotential {
public:
    ClassicalParameters parameters;

    // All parameters are zero. Stops with "geometrySet is null.", "property is null.".
    ClassicalPot(const GeometrySet* ofElements, const Property* ofRun);

    [[nodiscard]] const PairCutoff& getCutoff() const { return cutoff; }

    // Reads the potential; what the file does not mention is zero. Stops with "cannot open file: %s" and as
    // readClassicalFile.
    void restoreParameters(const std::string& fileName);

    // The same over the present parameters, which stay where the file says nothing. A file that cannot be
    // opened is only reported. Stops as readClassicalFile.
    void restoreParametersIfPresent(const std::string& fileName);

    // Finds the parameters that describe the set best (see ClassicalFit.hpp), starting from those of the file
    // if `restart` is set, and writes them to it and to the table "%s.csv". Stops with "number of elements is
    // not positive.", "number of geometries is not positive.", "data length of L-BFGS is not positive.",
    // "cannot allocate data of L-BFGS." and as the reading and writing of the file.
    void optimizeParameters(const std::string& fileName, const std::string& stopFileName);

    // Write the parameters to the file of the last reading or fit, and the table for plotting beside it.
    // Stop as writeClassicalFile.
    void storeParameters() const;
    void printCsv() const;

    void removeFromGeometry(Geometry* geometry) override;
    float obtainEnergy(const Geometry* geometry) override;
    float obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                  std::span<float> forces) override;

private:
    float calculatePotential(const Geometry& geometry, std::span<float> energies,
                             std::span<float> forces) const;
    [[nodiscard]] float energyOfAtom(const PairNeighbors& neighbors, std::size_t element) const;
    [[nodiscard]] std::array<float, 4> forceOfAtom(const PairNeighbors& neighbors, std::size_t element) const;

    const GeometrySet* geometrySet;
    const Property* property;
    PairCutoff cutoff;
    std::string fileName;
};

} // namespace melta
