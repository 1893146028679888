#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace melta {

class Geometry;
class GeometrySet;
class SymmFunc;
struct DistributionElement;

// Histograms of the symmetry values by element and function. Made from the training data and kept in a file
// beside the network, they tell a later run whether a configuration lies inside the sampled region.
//
// All functions of an element share one scale of bins, because the network's input is scaled by element: a
// value of symmAve - symmDev lies in the middle of the first bin, symmAve + symmDev in the middle of the
// last.
//
// Either calcDistribution or readDistribution must come before isOutside and writeDistribution.
class SymmFuncDistribution {
public:
    // symmAve, symmDev [elems]: centre and half width of the raw values of each element; copied. `function`
    // is borrowed and must outlive this object. Stops with "#elements is not positive.", "symmAve is null."
    // or "symmDev is null." for arrays that are too short, "symmFunc is null.", "#basis is not positive.".
    SymmFuncDistribution(int elems, std::span<const float> symmAve, std::span<const float> symmDev,
                         const SymmFunc* function);

    // Counts anew. With geometries and symmData given, over these geometries: symmData[g] is the block
    // [numAtoms][numBasis] of raw (not normalised) values of geometry g. Otherwise over all geometries of the
    // set, computing the values, with a progress bar if there is more than one, unless `isSilent`. Values
    // beyond the range go to the outermost bins. Stops with "geometrySet is null." and "total number of
    // geometries is not positive.".
    void calcDistribution(const GeometrySet* geometrySet, std::span<Geometry* const> geometries,
                          std::span<const std::span<const float>> symmData, bool isSilent = false);

    // Stops with "geometrySet is null.", "cannot open file: %s", "cannot write file: %s", "index of element
    // is out of range.".
    void writeDistribution(const std::string& fileName, const GeometrySet* geometrySet) const;

    // The text of that file. Stops with "index of element is out of range.".
    void printDistribution(std::FILE* stream, const GeometrySet& geometrySet) const;

    // Takes the counts, and the number of bins, from a file that writeDistribution made. Elements are matched
    // by name; those that the run does not know are skipped. Stops with a message that ends in the file's
    // name when the file does not fit this run or is damaged.
    void readDistribution(const std::string& fileName, const GeometrySet* geometrySet);

    // Whether any function of any atom falls outside the range of its element's bins, or into a bin with
    // fewer than `maxDist` counts. symmData [numAtoms][numBasis] are normalised values, (raw - symmAve) /
    // symmDev. A value that is not a number is outside. Stops with "maxDist is not positive.".
    [[nodiscard]] bool isOutside(const Geometry& geometry, std::span<const float> symmData,
                                 int maxDist) const;

    // The same for one atom of an element: symmData [numBasis].
    [[nodiscard]] bool isOutside(int element, std::span<const float> symmData, int maxDist) const;

    // Bins of each function.
    [[nodiscard]] int getNumDists() const { return numDists; }

    // Count of bin `bin` of function `function` of element `element`.
    [[nodiscard]] std::int32_t getCount(int element, int bin, int function) const;

private:
    void resizeCounts();
    void countValues(const Geometry& geometry, std::span<const float> values);
    void countGeometry(const Geometry& geometry);
    [[nodiscard]] int findBin(std::size_t element, float value) const;
    void checkScale(const DistributionElement& read, std::size_t element, const std::string& fileName) const;

    int numElems;
    int numBasis = 0;
    int numDists = 1000;
    std::vector<float> symmStep;  // [numElems], bin width in raw units
    std::vector<float> symmStart; // [numElems], lower edge of the first bin in raw units
    const SymmFunc* symmFunc;     // borrowed
    std::vector<std::vector<std::int32_t>> distributions; // [numElems][numDists][numBasis]
};

} // namespace melta
