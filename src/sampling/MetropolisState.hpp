#pragma once

#include "sampling/GeometryCard.hpp"

#include <span>
#include <string>

namespace melta {

// Writes the atoms of a card as a data file of one geometry (DataFile.hpp), from which the walk takes its
// start. Vacancies are left out, and there are no reference data: all energies, forces and charges are 0.
// `networkNames`: what the network calls each of the card's elements. An older file stays until the new one
// is complete. Stops with "cannot open file: %s" and "cannot write file: %s".
void writeMetropolisState(const std::string& fileName, const GeometryCard& card,
                          std::span<const std::string> networkNames);

} // namespace melta
