#pragma once

#include "network/NNEnsemble.hpp"
#include "network/NetworkTile.hpp"
#include "network/SymmRows.hpp"
#include "structure/Geometry.hpp"

#include <memory>
#include <span>
#include <vector>

namespace melta::test {

// Atoms at random places of a skewed cell of 8 Angstrom or more, at least 1.6 Angstrom apart, with random
// reference data. Elements alternate. Neighbours within `rcut` (Angstrom).
Geometry makeGeometry(int numAtoms, int numElems, unsigned seed, float rcut);

// One atom in a cube of `edge` Angstrom.
Geometry makeLoneAtom(int element, float edge, float rcut);

// A batch with random numbers for symmetry functions and their derivatives, and ensembles with random
// parameters for it.
class BatchFixture {
public:
    static constexpr int numBasis = 6;

    // Geometries of these many atoms. Elements from `numUsed` on have no atoms.
    BatchFixture(const NNShape& shape, int numElems, std::span<const int> sizes, int numUsed);
    BatchFixture(const NNShape& shape, int numElems, std::span<const int> sizes)
        : BatchFixture(shape, numElems, sizes, numElems) {}

    // Adds a geometry with random symmetry functions.
    void add(Geometry geometry);

    BatchView view() const;
    std::size_t numAtoms() const;

    // Gradients of one model of an element's layers.
    std::vector<float> gradsOf(int element, int model) const;
    void clearGrads();

    std::vector<NNEnsemble> ensembles;

    Geometry& geometryOf(std::size_t index) { return *pointers[index]; }

private:
    std::vector<std::unique_ptr<Geometry>> geometries;
    std::vector<std::unique_ptr<SymmRows>> rows;
    std::vector<Geometry*> pointers;
    std::vector<const SymmRows*> symm;
};

} // namespace melta::test
