#pragma once

#include "sampling/MetropolisInput.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace melta {

class ConfigurationEnergy;
class MetropolisMoves;
class RandomSource;

// One step of a walk.
struct WalkStep {
    std::int32_t index = 0; // counted from 0
    int moveType = 0;       // MetropolisMoves::shift or the number of a swapping pair
    float energy = 0.0f;    // of the configuration that was tried, above that of the start, eV
    float deltaE = 0.0f;    // above that of the configuration before, eV
    float prob = 0.0f;      // with which the step is accepted within the window of energies
    bool accept = false;    // the configuration takes the place of the one before
    bool unknown = false;   // the training data do not cover it
    bool output = false;    // it belongs to the result
};

// A Markov chain of configurations by the method of N. Metropolis, A. W. Rosenbluth, M. N. Rosenbluth, A. H.
// Teller and E. Teller, J. Chem. Phys. 21 (1953) 1087, confined to a window of energies around the start.
// Accepted configurations that the training data do not cover are its result, or all accepted ones.
//
//     walk.start();
//     while (!walk.isDone()) {
//         const WalkStep& step = walk.tryMove(); // now the configuration is the one that is tried
//         ...
//         walk.settle(); // now it is the one that the chain goes on with
//     }
//
// A step allocates nothing itself.
class MonteCarloWalk {
public:
    // All are borrowed. `moves` and `energy` work on the same configuration.
    MonteCarloWalk(const MetropolisInput& input, MetropolisMoves& moves, ConfigurationEnergy& energy,
                   RandomSource& random);

    // Takes the energy of the start, from which the window is measured. Stops with "energy of the walk is not
    // finite.".
    void start();

    // Whether there are all geometries or have been all steps.
    [[nodiscard]] bool isDone() const { return step.index >= input.maxSteps || hasAllGeometries(); }
    [[nodiscard]] bool hasAllGeometries() const { return numOutput >= input.numGeoms; }

    // Moves and judges. Draws the move and, if the energy rises, one number more. Stops as start, and as the
    // moves and the energy do.
    const WalkStep& tryMove();

    // Takes a refused move back, counts the step and goes to the next one.
    void settle();

    // Configurations of the result so far.
    [[nodiscard]] std::int32_t getNumOutput() const { return numOutput; }

    // Accepted and all steps, [numSwaps + 1]: those of shifts, then those of each pair.
    [[nodiscard]] std::span<const std::int32_t> getAcceptedCounts() const { return acceptedCounts; }
    [[nodiscard]] std::span<const std::int32_t> getTotalCounts() const { return totalCounts; }

private:
    void testEnergy();
    [[nodiscard]] float computeTemperature() const;

    const MetropolisInput& input;
    MetropolisMoves& moves;
    ConfigurationEnergy& source;
    RandomSource& random;

    // Total energies, eV. In double precision, which resolves a step's difference also where they are large.
    double energy0 = 0.0;       // of the start
    double energyUpper = 0.0;   // window
    double energyLower = 0.0;   //
    double currentEnergy = 0.0; // of the chain's configuration
    double triedEnergy = 0.0;   // of the one that is tried

    WalkStep step;
    std::int32_t numOutput = 0;
    std::vector<std::int32_t> acceptedCounts;
    std::vector<std::int32_t> totalCounts;
};

} // namespace melta
