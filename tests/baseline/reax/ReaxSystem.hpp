#pragma once

#include "baseline/reax/ReaxEvaluation.hpp"
#include "baseline/reax/ReaxFieldText.hpp"
#include "baseline/reax/ReaxParam.hpp"
#include "structure/Geometry.hpp"
#include "support/TemporaryDirectory.hpp"

#include <array>
#include <memory>
#include <span>
#include <vector>

namespace melta::test {

struct ReaxSite {
    int atomicNumber;
    float x, y, z; // Angstrom
};

// The force field of a text.
std::unique_ptr<ReaxParam> makeReaxParam(const ReaxFieldText& field, double rcut = 5.0);

// A geometry without neighbour lists.
std::unique_ptr<Geometry> makeReaxGeometry(std::span<const ReaxSite> sites,
                                           const std::array<float, 9>& lattice);

// A cubic cell, Angstrom.
std::array<float, 9> makeCubicCell(float edge);

// A dense, disordered cell of C, H, O and Fe with an edge of about 6 Angstrom: some periodic images are
// bonds.
std::vector<ReaxSite> makeCrowd(unsigned seed, int numAtoms, float smallestDistance);
std::array<float, 9> makeSkewCell();

// Evaluations of one configuration in double precision, at positions that may be moved a little.
class ReaxSystem {
public:
    ReaxSystem(const ReaxParam& param, std::span<const ReaxSite> sites, const std::array<float, 9>& lattice);

    // Total energy, kcal/mol.
    double obtainEnergy(std::span<const double> positions);

    // Forces [numAtoms][3], kcal/mol/Angstrom.
    std::vector<double> obtainForces(std::span<const double> positions);

    // Minus the central difference of the energy by one coordinate.
    double differentiate(std::size_t coordinate, double step = 1.0e-5);

    // The sum of the bond orders of each atom minus its valence electrons.
    std::vector<double> findDeltaE();

    std::vector<double> positions; // [numAtoms][3]
    std::vector<int> types;
    ReaxEvaluation evaluation;

private:
    const ReaxParam* param;
    std::unique_ptr<Geometry> geometry;
};

} // namespace melta::test
