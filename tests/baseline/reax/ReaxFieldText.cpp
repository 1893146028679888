#include "baseline/reax/ReaxFieldText.hpp"

#include "base/Reporting.hpp"

namespace melta::test {
namespace {

template <std::size_t count>
std::string formatNumbers(const std::array<double, count>& numbers) {
    std::string text;
    for (const double number : numbers) {
        text += formatText(" %.10g", number);
    }
    return text;
}

std::vector<double> makeGeneral() {
    std::vector<double> general(39, 0.0);
    general[0] = 48.0;  // pBoc1
    general[1] = 9.3;   // pBoc2
    general[6] = 1.05;  // pOvun6
    general[8] = 11.5;  // pOvun7
    general[9] = 12.8;  // pOvun8
    general[11] = 0.0;  // tapLower
    general[12] = 8.0;  // tapUpper
    general[28] = 1.56; // pVdw1
    general[29] = 0.1;  // boCut in percent
    general[31] = 0.72; // pOvun4
    general[32] = 47.0; // pOvun3
    return general;
}

std::vector<ReaxFieldText::Atom> makeAtoms() {
    return {
        {"C",
         {{{1.38, 4.0, 12.0, 1.9, 0.16, 0.8, 1.16, 4.0},
           {9.7, 2.1, 3.9, 34.0, 79.0, 5.7, 7.0, 0.0},
           {1.21, 2.0, 0.0, 8.7, 34.0, 13.3, 0.9, 0.0},
           {-2.9, 4.1, 1.06, 4.2, 2.9, 1.4, 0.1, 11.0}}}},
        {"H",
         {{{0.79, 1.0, 1.008, 1.6, 0.05, 1.0, -0.1, 1.0},
           {9.3, 5.0, 1.0, 1.0, 121.0, 3.8, 8.0, 1.0},
           {-0.1, 0.0, 58.0, 1.98, 3.35, 0.76, 1.07, 0.0},
           {-15.8, 2.15, 1.03, 1.0, 2.88, 0.9, 0.12, 10.0}}}},
        {"O",
         {{{1.25, 2.0, 15.999, 1.92, 0.09, 1.1, 1.05, 6.0},
           {10.1, 7.7, 4.0, 37.0, 116.0, 8.5, 8.3, 2.0},
           {0.9, 1.1, 59.0, 20.4, 3.4, 0.27, 0.97, 0.0},
           {-3.6, 2.7, 1.05, 4.0, 2.92, 1.3, 0.11, 9.0}}}},
        {"Fe",
         {{{1.95, 3.0, 55.845, 2.03, 0.2, 0.4, -1.0, 8.0},
           {11.0, 2.3, 3.0, 20.0, 0.0, 1.7, 8.6, 0.0},
           {-1.0, 4.0, 102.0, 30.0, 1.0, 0.01, 0.86, 0.0},
           {-12.0, 2.7, 1.03, 6.0, 2.6, 1.5, 0.13, 10.5}}}},
    };
}

std::vector<ReaxFieldText::Bond> makeBonds() {
    return {
        {1,
         1,
         {{{145.0, 103.0, 73.0, 0.22, -0.77, 1.0, 16.4, 0.44},
           {0.46, -0.23, 8.4, 1.0, -0.09, 6.6, 1.0, 0.0}}}},
        {1,
         2,
         {{{170.0, 0.0, 0.0, -0.59, 0.0, 1.0, 6.0, 0.61}, {12.2, 1.0, 0.0, 1.0, -0.013, 8.5, 0.0, 0.0}}}},
        {1,
         3,
         {{{158.0, 107.0, 23.0, -0.42, -0.17, 1.0, 17.0, 0.53},
           {0.31, -0.33, 5.9, 1.0, -0.14, 5.2, 0.0, 0.0}}}},
        {2,
         2,
         {{{156.0, 0.0, 0.0, -0.14, 0.0, 1.0, 6.0, 0.81}, {2.99, 1.0, 0.0, 1.0, -0.059, 4.8, 0.0, 0.0}}}},
        {2,
         3,
         {{{180.0, 0.0, 0.0, -0.87, 0.0, 1.0, 6.0, 0.94}, {0.98, 1.0, 0.0, 1.0, -0.055, 7.6, 0.0, 0.0}}}},
        {3,
         3,
         {{{142.0, 145.0, 50.0, 0.25, -0.1, 1.0, 29.0, 0.61},
           {0.34, -0.12, 5.5, 1.0, -0.13, 6.2, 1.0, 0.0}}}},
        {3,
         4,
         {{{65.0, 0.0, 0.0, 0.08, -0.3, 1.0, 36.0, 0.28}, {0.9, -0.3, 36.0, 1.0, -0.09, 6.1, 1.0, 0.0}}}},
        {4,
         4,
         {{{41.0, 0.0, 0.0, 0.3, -0.2, 0.0, 16.0, 0.27}, {0.2, -0.2, 15.0, 1.0, -0.04, 6.9, 0.0, 0.0}}}},
    };
}

} // namespace

std::vector<std::string> ReaxFieldText::makeLines() const {
    std::vector<std::string> lines{"made-up parameters", formatText(" %zu  ! general", general.size())};
    for (const double number : general) {
        lines.push_back(formatText(" %.10g !a general parameter", number));
    }
    lines.push_back(formatText(" %zu ! types", atoms.size()));
    lines.insert(lines.end(), {"second header", "third header", "fourth header"});
    for (const Atom& atom : atoms) {
        lines.push_back(" " + atom.name + formatNumbers(atom.lines[0]));
        for (std::size_t line = 1; line < atom.lines.size(); ++line) {
            lines.push_back("   " + formatNumbers(atom.lines[line]));
        }
    }
    lines.push_back(formatText(" %zu ! bonds", bonds.size()));
    lines.emplace_back("second header");
    for (const Bond& bond : bonds) {
        lines.push_back(formatText(" %d %d", bond.first, bond.second) + formatNumbers(bond.lines[0]));
        lines.push_back("     " + formatNumbers(bond.lines[1]));
    }
    lines.push_back(formatText(" %zu ! off-diagonal", offDiagonals.size()));
    for (const OffDiagonal& pair : offDiagonals) {
        lines.push_back(formatText(" %d %d", pair.first, pair.second) + formatNumbers(pair.line));
    }
    return lines;
}

std::string ReaxFieldText::makeText() const {
    return joinLines(makeLines());
}

ReaxFieldText makeReaxField() {
    ReaxFieldText field;
    field.general = makeGeneral();
    field.atoms = makeAtoms();
    field.bonds = makeBonds();
    field.offDiagonals = {
        {1, 2, {0.12, 1.38, 9.8, 1.12, -1.0, -1.0}},
        {2, 3, {0.03, 1.31, 10.8, 0.92, -1.0, -1.0}},
        {1, 3, {0.13, 1.83, 9.6, 1.29, 1.12, 1.08}},
    };
    return field;
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

} // namespace melta::test
