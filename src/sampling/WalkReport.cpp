#include "sampling/WalkReport.hpp"

#include "base/Reporting.hpp"
#include "sampling/MonteCarloWalk.hpp"

#include <cmath>

namespace melta {
namespace {

const char* answer(bool isYes) {
    return isYes ? "Yes" : " No";
}

} // namespace

// Each limit is where rounding would need one more column.
std::string formatEnergy(float value) {
    const float size = std::abs(value);
    const auto number = static_cast<double>(value);
    if (size < 99.9995f) {
        return formatText("%7.3f", number);
    }
    if (size < 999.995f) {
        return formatText("%7.2f", number);
    }
    if (size < 9999.95f) {
        return formatText("%7.1f", number);
    }
    return size < 999999.5f ? formatText("%7.0f", number) : formatText("%7.0e", number);
}

void printWalkTitle(int replicas) {
    if (replicas > 1) {
        printOut("  Monte Carlo (with %d Replicas):\n\n", replicas);
    } else {
        printOut("  Monte Carlo:\n\n");
    }
}

void printWalkStep(const WalkStep& step, std::int32_t numOutput, std::int32_t numGeoms) {
    printOut("  #.%8d  Energy:%seV  deltaE:%seV  Prob:%6.3f  Swap:%2d  Accept: %s  Unknown: %s  #GEOM:%6d "
             "/%6d\n",
             step.index + 1, formatEnergy(step.energy).c_str(), formatEnergy(step.deltaE).c_str(),
             static_cast<double>(step.prob), step.moveType + 1, answer(step.accept), answer(step.unknown),
             numOutput, numGeoms);
}

void printWalkCounts(const MetropolisInput& input, std::span<const std::int32_t> acceptedCounts,
                     std::span<const std::int32_t> totalCounts) {
    printOut("\n  Accepted / Total Geometries:\n");
    printOut("    Atomic Shift         =>%6d /%6d\n", acceptedCounts[0], totalCounts[0]);
    for (std::size_t pair = 0; pair < input.swapPairs.size(); ++pair) {
        printOut("    %-6s<-->    %-6s =>%6d /%6d\n", input.swapPairs[pair][0].c_str(),
                 input.swapPairs[pair][1].c_str(), acceptedCounts[pair + 1], totalCounts[pair + 1]);
    }
    printOut("\n");
}

} // namespace melta
