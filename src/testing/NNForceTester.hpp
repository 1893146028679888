#pragma once

#include "config/Property.hpp"
#include "structure/GeometrySet.hpp"
#include "testing/GeometryPredictor.hpp"

#include <string>
#include <vector>

namespace melta {

// Checks the analytic forces of a trained network against forward differences of its energy, on the first
// geometry of a set, and its stress, if the geometry has a reference for that. It is a check of the
// derivatives of this program: the reference forces are only shown. Neither charges nor a baseline potential
// take part.
//
// Energies are single-precision sums: a numerical force has a noise of about 1e-7 energy / shift.
class NNForceTester {
public:
    // Both are borrowed. Stops with "geometrySet is null." and "property is null.".
    NNForceTester(const Property* property, const GeometrySet* geometrySet);
    virtual ~NNForceTester() = default;
    NNForceTester(const NNForceTester&) = delete;
    NNForceTester& operator=(const NNForceTester&) = delete;
    NNForceTester(NNForceTester&&) = delete;
    NNForceTester& operator=(NNForceTester&&) = delete;

    // Prints the table for a shift of each coordinate in turn by `positionShift` (Angstrom, may be negative),
    // and that of the stress for strains of `positionShift` for each Angstrom. All use the present neighbour
    // lists; the coordinates are the same afterwards. Stops with "atomic
    // position shift is zero.", "index of geometry is out of range." and as restoreModel and
    // GeometryPredictor.
    void performTesting(const std::string& networkFile, float positionShift) const;

private:
    void testGeometry(GeometryPredictor& networks, Geometry& geometry, float positionShift) const;
    static void testStress(GeometryPredictor& networks, Geometry& geometry, float strain);
    void printAtom(const Geometry& geometry, std::size_t atom, const std::vector<float>& forcesNNP,
                   const std::vector<float>& forcesNum) const;

    const Property* property;
    const GeometrySet* geometrySet;
};

// The last columns of a row of the table: reference force, analytic and numerical force of the network
// (eV/Angstrom) and the difference of the latter two.
std::string forceColumns(float reference, float analytic, float numerical);

} // namespace melta
