// Data sets and settings so small that a whole training takes milliseconds.
#pragma once

#include "config/Property.hpp"
#include "network/NNArch.hpp"
#include "structure/GeometrySet.hpp"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace melta::test {

// What a synthetic data file holds.
struct DataShape {
    int numGeoms = 6;
    std::vector<std::string> labels{"Si", "Si", "Si"}; // atoms of each geometry
    unsigned seed = 1;
    bool hasAtomEnergy = true;
    int stressEvery = 0; // every how manyth geometry has a stress; 0: none
};

// Chebyshev functions of a short range, two models of two layers of four nodes, L-BFGS, no limit of the
// forces, forces in the loss from the start.
Property makeSmallProperty();

// Text of a data file: atoms near the points of a coarse grid, with random energies and forces. The same
// shape always gives the same text.
std::string makeDataText(const DataShape& shape);

// Text of a data file whose geometry g has g + 1 atoms, so that a geometry is known by its size. The atoms
// have no neighbours within 3.5 Angstrom.
std::string makeLadderText(int numGeoms);

// The conditioned set of a data file with this text.
std::unique_ptr<GeometrySet> makeSet(const Property& property, const std::string& text,
                                     const GeometrySet* trainingSet = nullptr);

// Takes the ranges of the symmetry functions, without a word on the console.
void prepareStatistics(NNArch& arch, const GeometrySet& set);

// All parameters of an arrangement in the order of its total data.
std::vector<float> parametersOf(const NNArch& arch);

// Adds a gradient with respect to the total data to the layers.
void addTotalGradient(NNArch& arch, std::span<const float> gradient);

// How often `part` stands in `text`.
int countOf(const std::string& text, const std::string& part);

} // namespace melta::test
