// The companion of a head: weights and biases of all networks of one kind, as text.
#pragma once

#include "modelio/NetworkHead.hpp"
#include "network/NNEnsemble.hpp"

#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace melta {

class GeometrySet;
class Property;
struct NetworkKind;

// Writes the networks element by element, model by model; output biases of energies count from zero energy.
void writeCompanion(std::FILE* stream, const NetworkKind& kind, const GeometrySet& geometrySet,
                    const std::vector<NNEnsemble>& ensembles);

// Reads the companion of a head with these elements into the networks of the elements that the set has as
// well. `mapOfElems`: index in the set for each element of the head, or -1. `file`: the companion, opened for
// reading, or null if that did not work. Stops with "neural network is too large: %s", "cannot open file: %s"
// (the companion), "cannot scan neural network @weight" (@bias, @bias1) when a finite number is missing, and
// "there is text behind the last number: %s", as where the head tells of fewer or smaller networks than the
// companion holds.
void readCompanion(FilePointer file, const std::string& fileName, const NetworkKind& kind,
                   const Property& property, const GeometrySet& geometrySet,
                   std::span<const HeadElement> elements, std::span<const int> mapOfElems,
                   std::vector<NNEnsemble>& ensembles);

// Reads the networks of one element as they stand, from where the file stands, and measures the output biases
// of energies from their mean over the models, which it gives, eV; 0 for charges. Stops with "cannot scan
// neural network @weight" (@bias, @bias1).
double readNetworks(std::FILE* stream, const NetworkKind& kind, NNEnsemble& ensemble);

// Stops with "there is text behind the last number: %s" unless nothing but blanks is left.
void requireEnd(std::FILE* stream, const std::string& fileName);

// Whether a file holds exactly so many numbers, all of them finite in single precision.
bool holdsNumbers(const std::string& fileName, double count);

} // namespace melta
