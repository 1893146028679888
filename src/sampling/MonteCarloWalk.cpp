#include "sampling/MonteCarloWalk.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "sampling/ConfigurationEnergy.hpp"
#include "sampling/MetropolisMoves.hpp"
#include "structure/Units.hpp"

#include <cmath>

namespace melta {
namespace {

// No step leads away from such an energy, or all do.
void requireFinite(double energy) {
    if (!std::isfinite(energy)) {
        stopWithMessage("energy of the walk is not finite.");
    }
}

} // namespace

MonteCarloWalk::MonteCarloWalk(const MetropolisInput& settings, MetropolisMoves& drawnMoves,
                               ConfigurationEnergy& energy, RandomSource& numbers)
    : input(settings), moves(drawnMoves), source(energy), random(numbers),
      acceptedCounts(static_cast<std::size_t>(settings.numSwaps) + 1),
      totalCounts(static_cast<std::size_t>(settings.numSwaps) + 1) {}

void MonteCarloWalk::start() {
    energy0 = source.start();
    requireFinite(energy0);
    currentEnergy = energy0;
    energyUpper = energy0 + static_cast<double>(input.upperEnergy) * input.numAtoms;
    energyLower = energy0 - static_cast<double>(input.lowerEnergy) * input.numAtoms;
}

const WalkStep& MonteCarloWalk::tryMove() {
    step.moveType = moves.chooseType();
    moves.perform(step.moveType);
    triedEnergy = source.evaluateMove(moves.getMovedAtoms());
    requireFinite(triedEnergy);
    step.energy = static_cast<float>(triedEnergy - energy0);
    step.deltaE = static_cast<float>(triedEnergy - currentEnergy);
    testEnergy();
    step.unknown = source.isUnknown();
    step.output = step.accept && (input.unknownGeoms == 0 || step.unknown);
    if (step.output) {
        ++numOutput;
    }
    return step;
}

void MonteCarloWalk::testEnergy() {
    if (step.deltaE <= 0.0f) {
        step.accept = true;
        step.prob = 1.0f;
    } else {
        step.prob = std::exp(-(units::inverseBoltzmann / computeTemperature()) * step.deltaE);
        step.accept = random.drawUniform() < step.prob;
    }
    if (triedEnergy < energyLower || triedEnergy > energyUpper) {
        step.accept = false;
    }
}

float MonteCarloWalk::computeTemperature() const {
    if (step.moveType == MetropolisMoves::shift) {
        return input.temperature;
    }
    const float temperature = input.swapTemps[static_cast<std::size_t>(step.moveType)];
    return temperature > 0.0f ? temperature : input.temperature;
}

void MonteCarloWalk::settle() {
    const auto kind = static_cast<std::size_t>(step.moveType + 1);
    ++totalCounts[kind];
    if (step.accept) {
        ++acceptedCounts[kind];
        currentEnergy = triedEnergy;
        source.acceptMove();
    } else {
        moves.undo();
        source.rejectMove();
    }
    ++step.index;
}

} // namespace melta
