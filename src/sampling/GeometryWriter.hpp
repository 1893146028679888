#pragma once

#include "sampling/MetropolisInput.hpp"

#include <string>

namespace melta {

class Geometry;
class GeometrySet;

// Writes the geometries that a walk has found, in Angstrom: each into a file of its own as cards of Quantum
// ESPRESSO, and all one after another into one file of frames, for a viewer. Vacancies and which atoms are
// fixed are in neither.
//
// Whenever the process ends, what is there is complete. The one exception is a kill at the very moment when a
// frame is appended: the file of frames may then end within that frame.
class GeometryWriter {
public:
    // All are borrowed. `set`: names of the elements in the files of single geometries. `input`: names in the
    // frames. `rank`: number of the walk, from 0.
    GeometryWriter(const GeometrySet& set, const MetropolisInput& input, int rank);

    // Makes the directories that are missing; only the first walk does. Stops with "cannot make directory:
    // %s".
    void makeDirectories() const;

    // Writes the file "dft_geom/geom.N", N = index + 1, over an existing one. Stops with "cannot open file:
    // %s", "cannot write file: %s" and "index of element is out of range.".
    void writeGeometryForDFT(const Geometry& geometry, int index) const;

    // Writes a frame into "movie/metro_R.xyz", R = rank + 1: number 0 begins the file anew, others are
    // appended. Stops with "cannot open file: %s" and "cannot write file: %s".
    void writeGeometryToMovie(const Geometry& geometry, int frame) const;

private:
    [[nodiscard]] std::string frameText(const Geometry& geometry) const;

    const GeometrySet& set;
    const MetropolisInput& input;
    int rank;
};

} // namespace melta
