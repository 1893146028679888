#include "sampling/MonteCarloWalk.hpp"

#include "sampling/WalkFixture.hpp"

#include <algorithm>
#include <limits>
#include <optional>

namespace melta::test {
namespace {

class MonteCarloWalkTest : public WalkFixture {
protected:
    // Energies one after the other, the first one that of the start; the last one is repeated.
    FunctionEnergy listEnergy(std::vector<double> energies) {
        return FunctionEnergy([energies, next = std::size_t{0}]() mutable {
            const double energy = energies[std::min(next, energies.size() - 1)];
            ++next;
            return energy;
        });
    }

    // One mobile silicon atom.
    void addSilicon() {
        addAtom(input, "Si");
        geometry.emplace(makeRow(input));
    }

    std::optional<Geometry> geometry;
};

// One step after the other; the walk as it stands after settling is of no interest.
std::vector<WalkStep> stepsOf(MonteCarloWalk& walk, int count) {
    std::vector<WalkStep> steps;
    for (int i = 0; i < count; ++i) {
        steps.push_back(walk.tryMove());
        walk.settle();
    }
    return steps;
}

std::vector<bool> acceptedOf(const std::vector<WalkStep>& steps) {
    std::vector<bool> accepted;
    for (const WalkStep& step : steps) {
        accepted.push_back(step.accept);
    }
    return accepted;
}

// An atom with two places of different energy, which it exchanges with a vacancy.
TEST_F(MonteCarloWalkTest, TwoStatesObeyBoltzmannFactors) {
    addSilicon();
    addVacancy(input, 1.0f);
    addPair(input, "Si", "X");
    input.withShift = 0;
    constexpr double gap = 0.03;
    FunctionEnergy energy([this] { return gap * xOf(*geometry, 0); });
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();
    const double factor = std::exp(-gap / (300.0 * kelvin));
    int numUphill = 0;
    int numUphillAccepted = 0;
    double numUpper = 0.0;
    constexpr int numSteps = 100000;

    for (int i = 0; i < numSteps; ++i) {
        const WalkStep step = walk.tryMove();
        walk.settle();
        if (step.deltaE > 0.0f) {
            ++numUphill;
            numUphillAccepted += step.accept ? 1 : 0;
            ASSERT_LE(std::abs(static_cast<double>(step.prob) - factor), 1.0e-5);
        } else {
            ASSERT_TRUE(step.accept);
            ASSERT_EQ(step.prob, 1.0f);
        }
        numUpper += xOf(*geometry, 0);
    }

    const double error = std::sqrt(factor * (1.0 - factor) / numUphill);
    EXPECT_LE(std::abs(static_cast<double>(numUphillAccepted) / numUphill - factor), 4.0 * error);
    // Each visit of the upper state lasts one step, so that the spread is below that of independent ones.
    const double share = factor / (1.0 + factor);
    EXPECT_LE(std::abs(numUpper / numSteps - share), 4.0 * std::sqrt(share * (1.0 - share) / numSteps));
    EXPECT_EQ(energy.numAccepted + energy.numRejected, numSteps);
    EXPECT_EQ(walk.getAcceptedCounts()[1], energy.numAccepted);
}

TEST_F(MonteCarloWalkTest, ShiftsSampleAHarmonicWell) {
    addSilicon();
    input.shiftCoord = 0.4f;
    constexpr double deviation = 0.2;
    const double spring = 300.0 * kelvin / (deviation * deviation);
    FunctionEnergy energy([&] {
        double square = 0.0;
        for (const float coordinate : geometry->positions) {
            square += static_cast<double>(coordinate) * static_cast<double>(coordinate);
        }
        return 0.5 * spring * square;
    });
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();
    constexpr std::size_t numBins = 10;
    std::vector<std::vector<double>> counts(3, std::vector<double>(numBins));

    for (int sample = 0; sample < 20000; ++sample) {
        for (int i = 0; i < 40; ++i) {
            walk.tryMove();
            walk.settle();
        }
        for (std::size_t c = 0; c < 3; ++c) {
            const double x = static_cast<double>(geometry->positions[c]) / deviation;
            const double share = 0.5 * std::erfc(-x / std::sqrt(2.0)); // uniform
            ++counts[c].at(std::min(static_cast<std::size_t>(share * numBins), numBins - 1));
        }
    }

    for (const std::vector<double>& ofCoordinate : counts) {
        EXPECT_LE(chiSquare(ofCoordinate, std::vector<double>(numBins, 1.0)), 27.9);
    }
}

// An A and a B atom and two vacancies on four places of different energies, with a bond between the atoms:
// all arrangements have their Boltzmann weights.
TEST_F(MonteCarloWalkTest, SwapsSampleALattice) {
    addAtom(input, "A");
    addAtom(input, "B");
    geometry.emplace(makeRow(input));
    addVacancy(input, 2.0f);
    addVacancy(input, 3.0f);
    addPair(input, "A", "B");
    addPair(input, "X", "A");
    addPair(input, "B", "X");
    input.withShift = 0;
    const std::array<double, 4> fieldA{0.0, 0.02, -0.01, 0.03};
    const std::array<double, 4> fieldB{0.01, 0.0, 0.03, -0.02};
    const auto energyOf = [&](std::size_t a, std::size_t b) {
        return fieldA[a] + fieldB[b] - (a + 1 == b || b + 1 == a ? 0.03 : 0.0);
    };
    const auto placeOf = [&](std::size_t atom) {
        return static_cast<std::size_t>(std::lround(xOf(*geometry, atom)));
    };
    FunctionEnergy energy([&] { return energyOf(placeOf(0), placeOf(1)); });
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();
    std::vector<double> counts(16);

    for (int sample = 0; sample < 20000; ++sample) {
        for (int i = 0; i < 25; ++i) {
            walk.tryMove();
            walk.settle();
        }
        ++counts[4 * placeOf(0) + placeOf(1)];
    }

    std::vector<double> observed;
    std::vector<double> weights;
    for (std::size_t a = 0; a < 4; ++a) {
        for (std::size_t b = 0; b < 4; ++b) {
            if (a == b) {
                EXPECT_EQ(counts[4 * a + b], 0.0) << "two atoms in one place";
            } else {
                observed.push_back(counts[4 * a + b]);
                weights.push_back(std::exp(-energyOf(a, b) / (300.0 * kelvin)));
            }
        }
    }
    EXPECT_LE(chiSquare(observed, weights), 31.3);
}

TEST_F(MonteCarloWalkTest, AFixedAtomIsNeverMoved) {
    addAtom(input, "A");
    addAtom(input, "B", true);
    addAtom(input, "A", true);
    addAtom(input, "B");
    geometry.emplace(makeRow(input));
    addVacancy(input, 9.0f);
    addPair(input, "A", "B");
    addPair(input, "X", "B");
    const std::vector<float> start = geometry->positions;
    FunctionEnergy energy([] { return 0.0; });
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    const std::vector<WalkStep> steps = stepsOf(walk, 5000);

    EXPECT_TRUE(std::ranges::all_of(steps, &WalkStep::accept));
    EXPECT_TRUE(std::equal(start.begin() + 3, start.begin() + 9, geometry->positions.begin() + 3));
    EXPECT_FALSE(std::equal(start.begin(), start.begin() + 3, geometry->positions.begin()));
}

TEST_F(MonteCarloWalkTest, ATemperatureOfAPairIsForItsMovesOnly) {
    addAtom(input, "A");
    addAtom(input, "B");
    geometry.emplace(makeRow(input));
    addPair(input, "A", "B", 1.0e15f);
    addPair(input, "B", "A", 0.0f);
    addPair(input, "B", "A", -1.0f);
    input.temperature = 1.0e-3f;
    // Each configuration is 1 eV above the one before, whichever that is.
    FunctionEnergy energy([next = 0.0]() mutable { return next += 1.0; });
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    const std::vector<WalkStep> steps = stepsOf(walk, 1000);

    for (const WalkStep& step : steps) {
        EXPECT_EQ(step.accept, step.moveType == 0);
        EXPECT_EQ(step.prob, step.moveType == 0 ? 1.0f : 0.0f);
    }
    EXPECT_EQ(walk.getAcceptedCounts()[0], 0);
    EXPECT_EQ(walk.getAcceptedCounts()[1], walk.getTotalCounts()[1]);
    EXPECT_EQ(walk.getAcceptedCounts()[2] + walk.getAcceptedCounts()[3], 0);
    EXPECT_GT(std::ranges::min(walk.getTotalCounts()), 100);
}

TEST_F(MonteCarloWalkTest, APairWithoutATemperatureTakesThatOfTheWalk) {
    addAtom(input, "A");
    addAtom(input, "B");
    geometry.emplace(makeRow(input));
    addPair(input, "A", "B", 0.0f);
    addPair(input, "A", "B", -1.0f);
    input.withShift = 0;
    input.temperature = 1.0e15f;
    FunctionEnergy energy([next = 0.0]() mutable { return next += 1.0; });
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    EXPECT_EQ(acceptedOf(stepsOf(walk, 100)), std::vector<bool>(100, true));
    EXPECT_GT(std::ranges::min(walk.getTotalCounts().subspan(1)), 10);
}

TEST_F(MonteCarloWalkTest, EqualEnergiesAreAcceptedWithoutADraw) {
    addSilicon();
    FunctionEnergy energy = listEnergy({-7.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();
    RandomSource same = random;

    const WalkStep step = walk.tryMove();

    EXPECT_TRUE(step.accept);
    EXPECT_EQ(step.deltaE, 0.0f);
    EXPECT_EQ(step.prob, 1.0f);
    for (int i = 0; i < 4; ++i) {
        same.draw(); // the atom and its displacement
    }
    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(MonteCarloWalkTest, ARiseTakesOneDraw) {
    addSilicon();
    FunctionEnergy energy = listEnergy({-7.0, -6.99});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();
    RandomSource same = random;
    for (int i = 0; i < 4; ++i) {
        same.draw();
    }

    const WalkStep step = walk.tryMove();

    EXPECT_EQ(step.accept, same.drawUniform() < step.prob);
    EXPECT_EQ(random.draw(), same.draw());
    EXPECT_LE(std::abs(step.deltaE - 0.01f), 1.0e-8f);
    EXPECT_LE(std::abs(step.prob - 0.679215f), 2.0e-6f);
}

TEST_F(MonteCarloWalkTest, StopsAtAnEnergyThatIsNotFinite) {
    addSilicon();
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
        FunctionEnergy energy = listEnergy({0.0, -1.0, bad, -2.0});
        MetropolisMoves moves(input, *geometry, random);
        MonteCarloWalk walk(input, moves, energy, random);
        walk.start();

        EXPECT_EQ(acceptedOf(stepsOf(walk, 1)), (std::vector<bool>{true}));
        EXPECT_EQ(test::stopMessageOf([&] { walk.tryMove(); }), "energy of the walk is not finite.");
    }
}

TEST_F(MonteCarloWalkTest, StopsAtAStartWithoutAnEnergy) {
    addSilicon();
    FunctionEnergy energy = listEnergy({std::numeric_limits<double>::quiet_NaN(), 0.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);

    EXPECT_EQ(test::stopMessageOf([&] { walk.start(); }), "energy of the walk is not finite.");
}

TEST_F(MonteCarloWalkTest, WindowAroundTheStart) {
    addSilicon();
    addAtom(input, "Si", true); // the limits are per atom
    addVacancy(input, 5.0f);    // and vacancies do not count
    geometry.emplace(makeRow(input));
    input.temperature = 1.0e15f;
    input.upperEnergy = 1.0f;
    input.lowerEnergy = 2.0f;
    FunctionEnergy energy = listEnergy({10.0, 11.9, 12.1, 6.1, 5.9, 12.0, 6.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    const std::vector<WalkStep> steps = stepsOf(walk, 6);

    EXPECT_EQ(acceptedOf(steps), (std::vector<bool>{true, false, true, false, true, true}));
    for (const WalkStep& step : steps) {
        EXPECT_EQ(step.prob, 1.0f) << step.index;
    }
    EXPECT_LE(std::abs(steps[1].deltaE - 0.2f), 1.0e-6f);
    EXPECT_LE(std::abs(steps[2].deltaE + 5.8f), 1.0e-6f) << "not from the refused configuration";
    EXPECT_LE(std::abs(steps[3].energy + 4.1f), 1.0e-6f);
}

// A float has steps of 0.008 eV there.
TEST_F(MonteCarloWalkTest, SmallDifferencesOfLargeEnergies) {
    addSilicon();
    input.temperature = 1.0e12f;
    FunctionEnergy energy = listEnergy({-1.0e5, -1.0e5 + 1.0e-4, -1.0e5 + 3.0e-4});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    const std::vector<WalkStep> steps = stepsOf(walk, 2);

    EXPECT_LE(std::abs(steps[0].deltaE - 1.0e-4f), 1.0e-9f);
    EXPECT_LE(std::abs(steps[1].deltaE - 2.0e-4f), 1.0e-9f);
    EXPECT_LE(std::abs(steps[1].energy - 3.0e-4f), 1.0e-9f);
}

TEST_F(MonteCarloWalkTest, TheEnergyLearnsWhatHasMoved) {
    addAtom(input, "A");
    addAtom(input, "B");
    geometry.emplace(makeRow(input));
    addPair(input, "A", "B");
    input.withShift = 0;
    FunctionEnergy energy = listEnergy({0.0, -1.0, 100.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    walk.tryMove();
    EXPECT_EQ(energy.moved, (std::vector<int>{0, 1}));
    EXPECT_EQ(energy.numAccepted, 0);
    walk.settle();
    EXPECT_EQ(energy.numAccepted, 1);
    EXPECT_EQ(xOf(*geometry, 0), 1.0);

    walk.tryMove();
    EXPECT_EQ(xOf(*geometry, 0), 0.0) << "the tried configuration";
    walk.settle();
    EXPECT_EQ(energy.numRejected, 1);
    EXPECT_EQ(xOf(*geometry, 0), 1.0) << "taken back";
}

TEST_F(MonteCarloWalkTest, OnlyUnknownConfigurationsAreOutput) {
    addSilicon();
    input.unknownGeoms = 1;
    FunctionEnergy energy = listEnergy({0.0, -1.0, -2.0, 1.0e6, -3.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    EXPECT_TRUE(stepsOf(walk, 1)[0].output);
    energy.unknown = false;
    const WalkStep known = stepsOf(walk, 1)[0];
    EXPECT_TRUE(known.accept);
    EXPECT_FALSE(known.unknown);
    EXPECT_FALSE(known.output);
    energy.unknown = true;
    const WalkStep refused = stepsOf(walk, 1)[0];
    EXPECT_FALSE(refused.accept);
    EXPECT_TRUE(refused.unknown) << "told whether accepted or not";
    EXPECT_FALSE(refused.output);
    const WalkStep last = stepsOf(walk, 1)[0];
    EXPECT_TRUE(last.output);
    EXPECT_EQ(last.deltaE, -1.0f) << "from the configuration that was accepted but is no output";
    EXPECT_EQ(walk.getNumOutput(), 2);
}

TEST_F(MonteCarloWalkTest, AllAcceptedConfigurationsAreOutputOnRequest) {
    addSilicon();
    input.unknownGeoms = 0;
    FunctionEnergy energy = listEnergy({0.0, -1.0, 1.0e6, -2.0});
    energy.unknown = false;
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    const std::vector<WalkStep> steps = stepsOf(walk, 3);

    EXPECT_TRUE(steps[0].output);
    EXPECT_FALSE(steps[0].unknown);
    EXPECT_FALSE(steps[1].output);
    EXPECT_TRUE(steps[2].output);
}

TEST_F(MonteCarloWalkTest, EndsWithTheLastStep) {
    addSilicon();
    input.maxSteps = 3;
    FunctionEnergy energy = listEnergy({0.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    for (int i = 0; i < 3; ++i) {
        ASSERT_FALSE(walk.isDone());
        EXPECT_EQ(walk.tryMove().index, i);
        walk.settle();
    }

    EXPECT_TRUE(walk.isDone());
    EXPECT_FALSE(walk.hasAllGeometries());
    EXPECT_EQ(walk.getTotalCounts()[0], 3);
}

TEST_F(MonteCarloWalkTest, EndsWithTheLastGeometry) {
    addSilicon();
    input.numGeoms = 2;
    FunctionEnergy energy = listEnergy({0.0});
    MetropolisMoves moves(input, *geometry, random);
    MonteCarloWalk walk(input, moves, energy, random);
    walk.start();

    stepsOf(walk, 1);
    EXPECT_FALSE(walk.isDone());
    walk.tryMove();
    EXPECT_TRUE(walk.hasAllGeometries());
    walk.settle();

    EXPECT_TRUE(walk.isDone());
    EXPECT_EQ(walk.getNumOutput(), 2);
}

} // namespace
} // namespace melta::test
