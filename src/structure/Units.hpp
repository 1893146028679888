// Units. Inside the system: energy eV, length Angstrom, force eV/Angstrom, charge e. The data files are in
// Rydberg atomic units. The digits are those that existing models were trained with, not the newest
// recommended values.
#pragma once

namespace melta::units {

// Length of 1 Bohr, Angstrom.
inline constexpr float bohr = 0.5291772f;

// Energy of 1 Ry, eV, for the energies of atoms: a single-precision number, kept in double precision.
inline constexpr double rydbergOfAtoms = 13.605691909790039;

// Energy of 1 Ry, eV, for total energies. It differs from the one for atoms, so that the two agree to single
// precision only.
inline constexpr double rydbergOfTotal = 13.605691930242388;

// Force of 1 Ry/Bohr, eV/Angstrom.
inline constexpr float rydbergPerBohr = 25.711033f;

// Stress of 1 Ry/Bohr^3, eV/Angstrom^3.
inline constexpr double rydbergPerCubicBohr =
    rydbergOfTotal / (static_cast<double>(bohr) * static_cast<double>(bohr) * static_cast<double>(bohr));

// Stress of 1 eV/Angstrom^3, GPa: 1e21 times the elementary charge in C.
inline constexpr double gigapascal = 160.2176634;

// Coulomb constant, eV Angstrom / e^2.
inline constexpr float coulomb = 14.399644f;

// Energy of 1 kcal/mol, eV.
inline constexpr float kilocaloriePerMole = 0.0433641f;

// Inverse of the Boltzmann constant, K/eV.
inline constexpr float inverseBoltzmann = 11604.518f;

} // namespace melta::units
