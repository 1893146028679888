#pragma once

#include "base/AlignedBuffer.hpp"
#include "baseline/reax/ReaxVdwKernel.hpp"

#include <span>
#include <vector>

namespace melta {

class ReaxParam;
struct ReaxShell;

// The van der Waals term of ReaxFF: a tapered Morse potential between all atoms nearer than rcutVdw, with the
// shielding of short distances and the inner wall as the force field says.
//
// Keeps scratch: one thread at a time.
class ReaxVdw {
public:
    // Makes the coefficients of all pairs of types. `param` must outlive the object. A pair with a length of
    // zero among its parameters has no well, or no wall: the limit of the formulas.
    explicit ReaxVdw(const ReaxParam& param);

    // Before an evaluation: decides which kernel serves it.
    void prepare();

    // Adds the pairs of one atom: half the energy of each to either atom (kcal/mol, [numAtoms]) and, unless
    // `forces` [numAtoms][3] is empty, its force (kcal/mol/Angstrom), of an energy in which the atoms count
    // by `weights` [numAtoms], and unless `virials` is empty its virial (see addVirial).
    void add(const ReaxShell& shell, std::span<const double> weights, std::span<double> energies,
             std::span<double> forces, std::span<double> virials);

private:
    const ReaxParam* param;
    ReaxVdwForm form;
    std::vector<ReaxVdwPair> pairs; // [numElems][numElems]
    ReaxVdwKernel kernel = nullptr;
    AlignedBuffer<double> pairEnergies; // of the present shell, kcal/mol
    AlignedBuffer<double> pairFactors;  // dE/dr / r, kcal/mol/Angstrom^2
};

} // namespace melta
