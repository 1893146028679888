// The head of a model's files; its lines are told at NNIO.
#pragma once

#include "base/LineReader.hpp"
#include "config/Property.hpp"
#include "network/SymmPreparation.hpp"

#include <cstddef>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace melta {

class GeometrySet;

// What the head says about one element, apart from the atomic number, which is not read back.
struct HeadElement {
    // Most characters of a name in a head.
    static constexpr std::size_t maxNameLength = 31;

    std::string name;
    float symmAve; // centre of the raw symmetry values
    float symmDev; // their half width, positive

    // Further numbers: [number of elements][channels], how much neighbours count in the functions of this
    // element; empty for kinds without channels.
    std::vector<float> elementWeights;
};

// Writes the head of a model with the elements of `geometrySet`.
void writeNetworkHead(std::FILE* stream, const Property& property, const GeometrySet& geometrySet,
                      const SymmStatistics& statistics);

// Reads the head, checks what defines the model against `property`, and gives the elements in their order.
// The shapes of the networks are checked only `withEnergy` and `withCharge`. Cutoffs, parameters of Behler
// functions, `tanhCutoff` and the numbers of ReaxFF are read past. At the first difference it stops with a
// message that names the item; lines that are not there, elements that stand twice and an empty `geometrySet`
// stop too. `file`: the head, opened for reading, or null if that did not work, which stops with "cannot open
// file: %s" (fileName).
std::vector<HeadElement> readNetworkHead(FilePointer file, const std::string& fileName,
                                         const Property& property, const GeometrySet& geometrySet,
                                         bool withEnergy, bool withCharge);

// Takes the weights of the elements of a head, which go to those of the map, into elementWeights
// [numElems][numElems][channels] of `numElems` elements. Stops with "incorrect weights of channels: %s"
// unless each element of the head has one for each of its elements and channels.
void takeElementWeights(const std::vector<HeadElement>& elements, std::span<const int> map,
                        std::size_t numElems, const std::string& fileName,
                        std::vector<float>& elementWeights);

// Index in the set for each element of a head, found by name, or -1.
std::vector<int> mapElements(const std::vector<HeadElement>& elements, const GeometrySet& geometrySet);

// A head by itself: the model that a file describes.
struct StoredHead {
    Property settings; // those of the model; the others have their defaults
    std::vector<HeadElement> elements;
};

// Reads a head without asking anything of it. Empty when any of it is missing or unreadable.
std::optional<StoredHead> peekNetworkHead(const std::string& fileName);

// Reads a whole head, whose settings are not known before, and asks of it what a test asks. `fileName`: its
// name in messages. Stops with "cannot open file: %s" (a reader that is not open), "cannot peek file: %s"
// when the settings are missing or unreadable, and with a message that names the item at fault. The reader
// then stands behind the head.
StoredHead readStoredHead(LineReader& lines, const std::string& fileName);

} // namespace melta
