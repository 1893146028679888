#pragma once

#include "ReaxSample.hpp"
#include "ReaxTwin.hpp"
#include "baseline/reax/ReaxPot.hpp"
#include "support/TemporaryDirectory.hpp"

#include <string>
#include <vector>

namespace melta::test {

// kcal/mol in eV, as the program has it: a number of single precision.
inline constexpr double reaxUnit = static_cast<double>(0.0433641f);

// Largest differences of the potential from its twin over the atoms of a configuration.
struct ReaxDeviation {
    double energy = 0.0;      // of the atomic energies, kcal/mol
    double energyScale = 0.0; // largest sum of the magnitudes of an atom's five terms
    double force = 0.0;       // of the components of the forces, kcal/mol/Angstrom
    double forceScale = 0.0;  // largest component of the bonded forces or of the van der Waals forces alone
    double total = 0.0;       // of the total energy
};

// The potential and its twin with one force field. The rate is 1.
struct ReaxComparison {
    // `text` becomes the file that both read.
    ReaxComparison(double rcut, const std::string& text);

    TemporaryDirectory directory;
    std::string fileName;
    ReaxPot pot;
    ReaxTwin twin;
};

// Energies of the atoms from the potential: what it takes from reference energies of zero, in kcal/mol.
std::vector<double> potEnergies(ReaxPot& pot, const ReaxConfiguration& configuration);

// Forces [numAtoms][3] in the same way, in kcal/mol/Angstrom.
std::vector<double> potForces(ReaxPot& pot, const ReaxConfiguration& configuration);

ReaxDeviation deviationOf(ReaxPot& pot, const ReaxTwin& twin, const ReaxConfiguration& configuration);

// Both agree: energies to double precision, forces to single precision. Checks all three operations of the
// potential.
void expectAgreement(ReaxPot& pot, const ReaxTwin& twin, const ReaxConfiguration& configuration);

} // namespace melta::test
