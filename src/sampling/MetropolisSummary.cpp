#include "sampling/MetropolisSummary.hpp"

#include "base/Reporting.hpp"
#include "config/BannerLine.hpp"

namespace melta {
namespace {

void printLine(const char* label, const std::string& value) {
    printOut("  %s%s\n", label, value.c_str());
}

void printReal(const char* label, float value, int decimals, const char* unit) {
    printOut("  %s%.*f%s\n", label, decimals, static_cast<double>(value), unit);
}

void printShift(const MetropolisInput& input) {
    printLine("  Using Atomic Shift      = ", yesNoText(input.withShift));
    if (input.withShift == 0) {
        return;
    }
    printReal("  Length of Atomic Shift  = ", input.shiftCoord, 4, " Angstrom");
    printLine("  Initial Shift for Atoms = ", yesNoText(input.shiftInit));
    if (input.shiftInit != 0) {
        printReal("  Length of Initial Shift = ", input.shiftCoordInit, 4, " Angstrom");
    }
}

void printPairs(const MetropolisInput& input) {
    printLine("  #Swapping Element-Pairs = ", std::to_string(input.numSwaps));
    if (input.numSwaps > 0) {
        printLine("  List of Element-Pairs:", "");
    }
    for (std::size_t pair = 0; pair < input.swapPairs.size(); ++pair) {
        const char* const first = input.swapPairs[pair][0].c_str();
        const char* const second = input.swapPairs[pair][1].c_str();
        if (input.swapTemps[pair] > 0.0f) {
            printOut("        %-6s<-->    %-6s(T = %8.2f K)\n", first, second,
                     static_cast<double>(input.swapTemps[pair]));
        } else {
            printOut("        %-6s<-->    %s\n", first, second);
        }
    }
}

} // namespace

void printMetropolisSummary(const MetropolisInput& input) {
    if (input.withShift == 0 && input.numSwaps < 1) {
        return;
    }
    printLine("Metropolis Method:", "");
    printLine("  Maximum Steps of M.C.   = ", std::to_string(input.maxSteps));
    printLine("  Number of Geometries    = ", std::to_string(input.numGeoms));
    printLine("  Type of Geometries      = ", input.unknownGeoms != 0 ? "Only-Unknown" : "All");
    printReal("  Temperature of Atoms    = ", input.temperature, 2, " K");
    printReal("  Upper Bound of Energy   = ", input.upperEnergy, 4, " eV/Atom");
    printReal("  Lower Bound of Energy   = ", input.lowerEnergy, 4, " eV/Atom");
    printShift(input);
    printLine("  Number of Vacancy Atoms = ", std::to_string(input.numVacancies));
    printPairs(input);
    printOut("\n");
}

} // namespace melta
