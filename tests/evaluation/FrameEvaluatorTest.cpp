#include "evaluation/FrameEvaluator.hpp"

#include "potential/PotentialFixture.hpp"
#include "structure/VacuumBox.hpp"

#include <cmath>

namespace melta {
namespace {

class FrameEvaluatorTest : public test::PotentialFixture {
protected:
    // The first geometry of the set.
    ExtxyzFrame makeFrame(const Potential& potential) {
        const Geometry& geometry = *set->geometries.front();
        ExtxyzFrame frame;
        frame.isPeriodic = {true, true, true};
        std::ranges::copy(geometry.lattice, frame.lattice.emplace().begin());
        frame.positions.assign(geometry.positions.begin(), geometry.positions.end());
        elements.clear();
        for (const int element : geometry.elements) {
            frame.labels.push_back(set->getElementName(element));
            elements.push_back(potential.elementIndex(frame.labels.back()));
        }
        return frame;
    }

    std::vector<int> elements;
};

TEST_F(FrameEvaluatorTest, GivesWhatTheArrangementGives) {
    property.withCharge = 1;
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const ExtxyzFrame frame = makeFrame(potential);
    const Expected expected = expect(*set->geometries.front());

    const FrameResults results = FrameEvaluator(potential).evaluate(frame, elements);

    ASSERT_EQ(results.energies.size(), frame.numAtoms());
    ASSERT_EQ(results.novelty.size(), frame.numAtoms());
    ASSERT_EQ(results.charges.size(), frame.numAtoms());
    ASSERT_EQ(results.forces.size(), 3 * frame.numAtoms());
    double total = 0.0;
    for (std::size_t a = 0; a < frame.numAtoms(); ++a) {
        EXPECT_LE(std::abs(results.energies[a] - expected.energies[a]), 1.0e-4) << a;
        EXPECT_LE(std::abs(results.charges[a] - expected.charges[a]), 1.0e-5) << a;
        total += results.energies[a];
    }
    EXPECT_LE(std::abs(results.energy - total), 1.0e-9);
    for (std::size_t i = 0; i < results.forces.size(); ++i) {
        EXPECT_LE(std::abs(results.forces[i] - expected.forces[i]), 1.0e-4) << i;
    }
}

TEST_F(FrameEvaluatorTest, StressIsTheDerivativeByTheStrain) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const ExtxyzFrame frame = makeFrame(potential);
    FrameEvaluator evaluator(potential);
    const auto energyAt = [&](std::size_t row, std::size_t column, double strain) {
        ExtxyzFrame strained = frame;
        for (std::size_t k = 0; k < 3; ++k) {
            (*strained.lattice)[3 * k + row] += strain * (*frame.lattice)[3 * k + column];
        }
        for (std::size_t i = 0; i < frame.numAtoms(); ++i) {
            strained.positions[3 * i + row] += strain * frame.positions[3 * i + column];
        }
        return evaluator.evaluate(strained, elements).energy;
    };

    const FrameResults results = evaluator.evaluate(frame, elements);

    ASSERT_TRUE(results.stress);
    constexpr double step = 2.0e-3;
    for (std::size_t i = 0; i < 9; ++i) {
        const double difference =
            (energyAt(i / 3, i % 3, step) - energyAt(i / 3, i % 3, -step)) / (2.0 * step);
        EXPECT_LE(std::abs((*results.stress)[i] - difference / volumeOf(*frame.lattice)), 1.0e-4) << i;
    }
}

TEST_F(FrameEvaluatorTest, SpreadIsThatOfTheModels) {
    property.modelsEnergy = 3;
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const ExtxyzFrame frame = makeFrame(potential);
    Evaluation plain;
    Potential::Workspace workspace;
    potential.evaluate(viewOf(*set->geometries.front(), potential).view(), Wish::energy | Wish::modelEnergies,
                       plain, workspace);

    const FrameResults results = FrameEvaluator(potential).evaluate(frame, elements);

    double squares = 0.0;
    for (const double energy : plain.modelEnergies) {
        squares += (energy - plain.energy) * (energy - plain.energy) / 3.0;
    }
    ASSERT_TRUE(results.energyDeviation);
    EXPECT_GT(*results.energyDeviation, 0.0);
    EXPECT_NEAR(*results.energyDeviation, std::sqrt(squares), 1.0e-6 * std::abs(plain.energy));
    EXPECT_EQ(results.energyDeviations.size(), frame.numAtoms());
    ASSERT_EQ(results.forceDeviations.size(), frame.numAtoms());
    for (const double deviation : results.forceDeviations) {
        EXPECT_GT(deviation, 0.0);
    }
}

TEST_F(FrameEvaluatorTest, ClustersDoNotMeetTheirImages) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    ExtxyzFrame frame = makeFrame(potential);
    FrameEvaluator evaluator(potential);
    frame.isPeriodic = {};
    const FrameResults inLattice = evaluator.evaluate(frame, elements);
    frame.lattice.reset();

    const FrameResults cluster = evaluator.evaluate(frame, elements);

    EXPECT_FALSE(cluster.stress);
    EXPECT_EQ(cluster.energy, inLattice.energy);
    frame.isPeriodic = {true, true, true};
    frame.lattice = {100, 0, 0, 0, 100, 0, 0, 0, 100};
    const FrameResults farAway = evaluator.evaluate(frame, elements);
    EXPECT_TRUE(farAway.stress);
    EXPECT_LE(std::abs(cluster.energy - farAway.energy), 1.0e-4);
}

} // namespace
} // namespace melta
