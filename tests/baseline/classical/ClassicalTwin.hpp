#pragma once

#include "baseline/classical/ClassicalParameters.hpp"
#include "structure/GeometrySet.hpp"

#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace melta::test {

// The pair potential in its plainest form: double precision, all images, one pair after the other. For boxes.
struct ClassicalTwin {
    double total = 0.0;           // eV
    std::vector<double> energies; // [numAtoms]
    std::vector<double> forces;   // [numAtoms][3]

    ClassicalTwin(const Geometry& geometry, const ClassicalParameters& parameters, double rc);
};

// f_n(r) and the repulsion -df_n/dr for one power, without regard to the cutoff's range.
double baseValue(double n, double r, double rc);
double baseForce(double n, double r, double rc);

// The numbers of ClassicalLoss from the formulas, in double.
struct ClassicalLossTwin {
    double sumE = 0.0;
    double sumF = 0.0;

    ClassicalLossTwin(const GeometrySet& set, const ClassicalParameters& parameters, double rc);
};

// An orthorhombic cell with atoms at random places that are no nearer than `nearest` to each other, their
// elements in turn, and random reference data. Neighbours within rc.
std::unique_ptr<Geometry> randomCell(std::mt19937& random, std::array<float, 3> sides, int numAtoms,
                                     int numElems, float nearest, float rc);

// A set of such cells with elements named Aa, Bb, Cc.
void addElements(GeometrySet& set, int numElems);
void addGeometry(GeometrySet& set, std::unique_ptr<Geometry> geometry);

// Random parameters of a physical size.
ClassicalParameters randomParameters(std::mt19937& random, std::size_t numElems);

// Replaces the reference data by what the potential says, with the atoms' energies of their elements.
void setReference(GeometrySet& set, const ClassicalParameters& parameters, double rc);

} // namespace melta::test
