#pragma once

#include "base/LineReader.hpp"
#include "sampling/MetropolisInput.hpp"

#include <string>

namespace melta {

// Reads the input file of a Metropolis walk: a head of lines "key value" (MetropolisKeys.hpp), up to the word
// of a card, and then the cards GEOMETRY (GeometryCard.hpp) and SWAPPING (SwappingCard.hpp), each at most
// once and in any order. Blank lines and lines whose first word begins with '#' or '!' are skipped, but not
// within a card.
//
// Together with the card GEOMETRY the file of the start is written (MetropolisState.hpp), with the elements
// as the network spells them (NetworkElements.hpp).
class MetropolisReader {
public:
    // `gdistFile`: the distributions of the network's symmetry functions. `stateFile`: file of the start.
    // Stops with "cannot open file: %s".
    MetropolisReader(const std::string& fileName, const std::string& gdistFile, const std::string& stateFile);

    // Reads the file, once. What it does not mention stays as it is in `input`. Stops as the headers above
    // tell, with "unknown key card: %s" (the word) for a card of another name or a second one of the same,
    // "there is not GEOMETRY: %s" and "there are not atomic shift nor swapping: %s" (the file).
    void read(MetropolisInput& input);

private:
    bool nextWord();
    void readCard(MetropolisInput& input);
    void readGeometry(MetropolisInput& input);
    void readSwapping(MetropolisInput& input);

    std::string fileName;
    std::string gdistFile;
    std::string stateFile;
    LineReader reader;
    std::string word; // first one of the present line
    bool hasGeometry = false;
    bool hasSwapping = false;
};

} // namespace melta
