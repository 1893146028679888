// The format of files of symmetry-function distributions:
//
//     <elements> <bins> <functions>
//     <name> <step> <start>            for each element
//      <count> <count> ...             for each element a line for each bin, with a count for each function
#pragma once

#include "base/LineReader.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace melta {

class GeometrySet;

// One element of a file of distributions.
struct DistributionElement {
    std::string name;
    float step = 0.0f;  // bin width
    float start = 0.0f; // lower edge of the first bin
};

// What stands before the counts.
struct DistributionHead {
    int numDists = 0; // bins of each function
    int numBasis = 0; // functions
    std::vector<DistributionElement> elements;
};

// Takes such a file apart. Memory grows with what is really read, never with what the first line promises.
// Stops with the messages that the functions name; "%s" is the file, unless said otherwise.
class DistributionReader {
public:
    static constexpr std::size_t unknown = std::numeric_limits<std::size_t>::max();

    // Stops with "cannot open file: %s".
    explicit DistributionReader(const std::string& name);

    // Stops with "cannot read dimensions of symm-func-distributions.", "incorrect #elements: %s", "incorrect
    // #basis: %s" if the functions are not `numBasis`, "incorrect size of distributions: %s", "cannot read
    // element's data of symm-func-distributions.", "cannot read an element: %s", "step of distribution is not
    // positive: %s".
    DistributionHead readHead(int numBasis);

    // For each element of the file the run's element of the same name, or `unknown`. Stops with "there is
    // unknown element: %s: %s" (the element, the file) if the file lacks one of the run's `numElems`
    // elements, and with "index of element is out of range.".
    [[nodiscard]] std::vector<std::size_t> matchElements(const DistributionHead& head, int numElems,
                                                         const GeometrySet& geometrySet) const;

    // The counts of the next element, [numDists][numBasis]. Stops with "cannot scan distribution: %s".
    std::vector<std::int32_t> readCounts(const DistributionHead& head);

private:
    DistributionElement readElement();
    bool readCount(std::int32_t& count);

    std::string fileName;
    LineReader reader;
    const char* position = nullptr; // where the counts go on within the present line
    const char* end = nullptr;      // end of that line
};

// Writes such a file. `counts` [elements][numDists * numBasis]. Failures show at the stream.
void writeDistributionText(std::FILE* stream, const DistributionHead& head,
                           std::span<const std::vector<std::int32_t>> counts);

// The names of the elements alone, which are those that the network beside the file was trained on. "%s" is
// the file. Stops with "cannot open file: %s", "cannot read #elements: %s", "incorrect #elements: %s",
// "cannot read name of element: %s", "incorrect name of element: %s" for a blank line and for a name of more
// than 8 characters.
[[nodiscard]] std::vector<std::string> readNetworkElements(const std::string& fileName);

} // namespace melta
