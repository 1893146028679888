#pragma once

#include "ReaxTwinField.hpp"
#include "structure/Geometry.hpp"

#include <array>
#include <string>
#include <vector>

namespace melta::test {

// The atoms of an evaluation in double precision.
struct ReaxTwinAtoms {
    std::array<double, 9> lattice{};
    std::vector<int> atomicNumbers;
    std::vector<double> positions; // [numAtoms][3], Angstrom, inside the cell

    static ReaxTwinAtoms of(const Geometry& geometry);
};

// What one evaluation gives, per atom of ReaxTwinAtoms; 0 for an atom without a type. Energies in kcal/mol.
template <class Number>
struct ReaxTwinOutcome {
    std::vector<Number> bond, lonePair, overCoordination, underCoordination, vanDerWaals;
    std::vector<Number> deltaPrime, delta, deltaE, nlp;

    void resize(std::size_t numAtoms);
    [[nodiscard]] Number bondedOf(std::size_t i) const;
    [[nodiscard]] Number energyOf(std::size_t i) const; // all five terms of one atom
    [[nodiscard]] Number bonded() const;                // all but van der Waals, all atoms
    [[nodiscard]] Number total() const;
};

// How the lone-pair count passes on the derivative by the atom's coordination.
enum class LonePairSlope {
    exact, // the derivative of the count itself
    told   // the stated factor, which differs for coordinations from 1.5 to 2.3
};

struct ReaxTwinGradient {
    std::vector<double> bonded, vanDerWaals; // [numAtoms][3], kcal/mol/Angstrom
};

// The potential, evaluated from its formulas: all periodic images are visited, nothing is stored for later
// use, and derivatives come from evaluating the very same formulas with ReaxTwinNumber.
class ReaxTwin {
public:
    ReaxTwin(double rcut, const std::string& fileName);

    ReaxTwinField field;

    // `nlpShift` [numAtoms], if not empty, is added to the lone-pair counts.
    [[nodiscard]] ReaxTwinOutcome<double> evaluate(const ReaxTwinAtoms& atoms,
                                                   const std::vector<double>& nlpShift = {}) const;

    // Derivative of the total energy by the positions.
    [[nodiscard]] ReaxTwinGradient gradient(const ReaxTwinAtoms& atoms, LonePairSlope slope) const;

    // The same by central differences of `evaluate` with the given step (Angstrom), both parts in one.
    [[nodiscard]] std::vector<double> differences(const ReaxTwinAtoms& atoms, double step) const;

private:
    double bondCutoff;
};

// The factor that the lone-pair count of an atom with coordination `x` passes on, as stated.
double toldLonePairSlope(double x);

// Derivative of the lone-pair taper by its argument, which runs from 0 to 0.8.
double lonePairTaperSlope(double w);

} // namespace melta::test
