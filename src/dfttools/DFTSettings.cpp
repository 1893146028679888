#include "dfttools/DFTSettings.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace melta {
namespace {

constexpr std::array<std::string_view, 6> otherCalculations = {"nscf", "bands",    "relax",
                                                               "md",   "vc-relax", "vc-md"};
constexpr std::array<std::string_view, 4> spellingsOfTrue = {".true.", "true", ".t.", "t"};
constexpr std::array<std::string_view, 4> spellingsOfFalse = {".false.", "false", ".f.", "f"};

template <std::size_t size>
bool isOneOf(const std::array<std::string_view, size>& words, const std::string& word) {
    return std::ranges::find(words, word) != words.end();
}

// What is no logical value changes nothing.
void takeLogical(bool& flag, const std::string& value) {
    if (isOneOf(spellingsOfTrue, value)) {
        flag = true;
    } else if (isOneOf(spellingsOfFalse, value)) {
        flag = false;
    }
}

} // namespace

std::vector<std::string> wordsOfDFTLine(const std::string& line) {
    std::string cleaned = line.substr(0, line.find_first_of("!#"));
    constexpr std::string_view separators = ",=(){}[]\"'\t\n\r";
    std::ranges::replace_if(
        cleaned, [&](char c) { return separators.find(c) != std::string_view::npos; }, ' ');
    std::vector<std::string> words;
    FieldScanner fields(cleaned);
    for (std::string word; fields.readWord(word);) {
        words.push_back(word);
    }
    return words;
}

void DFTSettings::takeLine(const std::vector<std::string>& words) {
    static const std::string nothing;
    for (std::size_t i = 0; i < words.size(); ++i) {
        takeSetting(words[i], i + 1 < words.size() ? words[i + 1] : nothing);
    }
}

void DFTSettings::takeSetting(const std::string& key, const std::string& value) {
    if (key == "calculation") {
        isScf = value == "scf" || (isScf && !isOneOf(otherCalculations, value));
    } else if (key == "tprnfor") {
        takeLogical(hasForces, value);
    } else if (key == "tmelta") {
        takeLogical(hasData, value);
    } else if (key == "nosym") {
        takeLogical(isWithoutSymmetry, value);
    } else if (key == "ibrav") {
        hasFreeCell = value == "0";
    } else if (key == "nat" && !numAtoms) {
        int number = 0;
        if (FieldScanner(value).readInt(number)) {
            numAtoms = number;
        }
    }
}

bool DFTSettings::areSufficient() const {
    return isScf && hasForces && hasData && isWithoutSymmetry && (hasFreeCell || !needsFreeCell);
}

void DFTSettings::printNeeded() const {
    printOut("\nplease set the following:\n\n");
    printOut("&CONTROL\n");
    printOut("  calculation = 'scf'\n");
    printOut("  tprnfor = .true.\n");
    printOut("  tmelta = .true.\n");
    printOut("/\n\n");
    printOut("&SYSTEM\n");
    if (needsFreeCell) {
        printOut("  ibrav = 0\n");
    }
    printOut("  nosym = .true.\n");
    printOut("/\n\n");
}

} // namespace melta
