#pragma once

#include <optional>
#include <string>
#include <vector>

namespace melta {

// The words of a line in an input file of Quantum ESPRESSO, without comments ("!" or "#" to the end of the
// line), signs of assignment, commas, brackets and quotation marks.
[[nodiscard]] std::vector<std::string> wordsOfDFTLine(const std::string& line);

// The settings of a template that make a calculation give data for training: it must be a single SCF cycle
// (which is the default of "calculation") that computes forces (tprnfor), writes the data file (tmelta), and
// does not use symmetries, which displaced atoms would break (nosym). With `useMetropolis` each geometry
// brings its own cell, so that ibrav must be 0.
class DFTSettings {
public:
    explicit DFTSettings(bool useMetropolis) : needsFreeCell(useMetropolis) {}

    // Looks for settings among the words of the next line; a later setting overrides an earlier one, except
    // that of "nat".
    void takeLine(const std::vector<std::string>& words);

    [[nodiscard]] bool areSufficient() const;

    // Prints what the template has to contain.
    void printNeeded() const;

    std::optional<int> numAtoms; // "nat", or what else is known about it

private:
    void takeSetting(const std::string& key, const std::string& value);

    bool needsFreeCell;
    bool isScf = true;
    bool hasForces = false;
    bool hasData = false;
    bool isWithoutSymmetry = false;
    bool hasFreeCell = false;
};

} // namespace melta
