#include "network/NetworkPass.hpp"

#include "network/BatchFixture.hpp"
#include "network/EnergyTwin.hpp"
#include "network/Numbers.hpp"
#include "network/VectorTargets.hpp"
#include "structure/ThreadCount.hpp"

#include <gtest/gtest.h>

#include <array>

namespace melta {
namespace {

using test::BatchFixture;
using test::EnergyTwin;
using test::LossTwin;
using test::ThreadCount;
using test::worstError;

constexpr NNShape usualShape{3, 2, 7, 5};
constexpr std::array<int, 6> someSizes{4, 2, 5, 3, 2, 4};
const std::vector<float> noScale;
const DerivativeQuantity* const onlyForces[] = {&atomicForce()};

// Scales as the trainer renormalises them: one for each element.
const std::vector<float> energyScales{1.3f, 0.4f, 2.2f};
const std::vector<float> forceScales{0.7f, 1.9f, 1.1f};

struct Case {
    bool withEnergy = true;
    bool withForce = true;
    ForceGradient forceGradient = ForceGradient::exact;
    bool withHDNNP = false;
    bool sqrtLoss = false;
};

std::vector<LossTerm> termsOf(const Case& c) {
    return {{c.withHDNNP ? totalEnergy() : atomicEnergy(), c.withEnergy ? energyScales : noScale, c.sqrtLoss},
            {atomicForce(), c.withForce ? forceScales : noScale, c.sqrtLoss}};
}

LossTwin twinOf(const Case& c) {
    LossTwin loss;
    if (c.withEnergy) {
        loss.energyScale = test::toDouble(energyScales);
    }
    if (c.withForce && c.forceGradient != ForceGradient::none) {
        loss.forceScale = test::toDouble(forceScales);
    }
    loss.withHDNNP = c.withHDNNP;
    loss.sqrtLoss = c.sqrtLoss;
    loss.isExact = c.forceGradient == ForceGradient::exact;
    return loss;
}

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const auto gradient : {ForceGradient::none, ForceGradient::approximate, ForceGradient::exact}) {
        for (const bool withHDNNP : {false, true}) {
            for (const bool sqrtLoss : {false, true}) {
                cases.push_back({true, true, gradient, withHDNNP, sqrtLoss});
            }
        }
        cases.push_back({false, true, gradient, false, false});
        cases.push_back({true, false, gradient, false, false});
    }
    return cases;
}

testing::Message nameOf(const Case& c) {
    return testing::Message() << "energy " << c.withEnergy << ", force " << c.withForce << ", gradient "
                              << static_cast<int>(c.forceGradient) << ", total energies " << c.withHDNNP
                              << ", roots " << c.sqrtLoss;
}

// Losses of each model; 0 for a term that is not in the loss.
struct Losses {
    explicit Losses(std::span<const LossTerm> terms) : energy(lossOf(terms[0])), force(lossOf(terms[1])) {}

    static std::vector<float> lossOf(const LossTerm& term) {
        return term.isInLoss() ? std::vector<float>(term.getLoss().begin(), term.getLoss().end())
                               : std::vector<float>(usualShape.numModels, 0.0f);
    }

    std::vector<float> energy;
    std::vector<float> force;
};

// Sets the batch, evaluates and leaves the gradients in the ensembles.
Losses evaluate(BatchFixture& fixture, const Case& c, NetworkPass& pass,
                BatchLayout::Cut cut = BatchLayout::Cut::geometries) {
    std::vector<LossTerm> terms = termsOf(c);
    fixture.clearGrads();
    pass.setBatch(fixture.view(), cut);
    pass.evaluateLoss(terms, c.forceGradient, fixture.ensembles);
    return Losses(terms);
}

void expectTwinsLossAndGrads(BatchFixture& fixture, const Case& c, const Losses& loss) {
    for (int m = 0; m < usualShape.numModels; ++m) {
        EnergyTwin twin(fixture.view(), m);
        const LossTwin lossTwin = twinOf(c);
        twin.addLossGrads(lossTwin);
        const double energyLoss = twin.energyLossOf(lossTwin);
        const double forceLoss = twin.forceLossOf(lossTwin);

        EXPECT_LE(std::abs(static_cast<double>(loss.energy[static_cast<std::size_t>(m)]) - energyLoss),
                  2.0e-6 * energyLoss);
        EXPECT_LE(std::abs(static_cast<double>(loss.force[static_cast<std::size_t>(m)]) - forceLoss),
                  2.0e-6 * forceLoss);
        for (std::size_t e = 0; e < fixture.ensembles.size(); ++e) {
            EXPECT_LE(worstError(fixture.gradsOf(static_cast<int>(e), m), twin.networks[e].getGrads()),
                      1.0e-5)
                << "element " << e << ", model " << m;
        }
    }
}

// Mean over the models of energies or forces of the twins.
template <class Results>
std::vector<double> meanOfTwins(const BatchFixture& fixture, Results&& resultsOf) {
    std::vector<double> mean;
    const int numModels = fixture.ensembles.front().getNumModels();
    for (int m = 0; m < numModels; ++m) {
        EnergyTwin twin(fixture.view(), m);
        std::vector<double> all;
        for (std::size_t g = 0; g < fixture.view().geometries.size(); ++g) {
            const std::vector<double> part = resultsOf(twin, g);
            all.insert(all.end(), part.begin(), part.end());
        }
        mean.resize(all.size(), 0.0);
        for (std::size_t i = 0; i < all.size(); ++i) {
            mean[i] += all[i] / numModels;
        }
    }
    return mean;
}

std::vector<double> meanEnergies(const BatchFixture& fixture) {
    return meanOfTwins(fixture, [](EnergyTwin& twin, std::size_t g) { return twin.energiesOf(g); });
}

std::vector<double> meanForces(const BatchFixture& fixture) {
    return meanOfTwins(fixture, [](EnergyTwin& twin, std::size_t g) { return twin.forcesOf(g); });
}

TEST(EnergyTwin, HasTheGradientOfItsLosses) {
    constexpr double step = 1.0e-5;
    constexpr std::array<int, 2> sizes{3, 2};
    for (const Case& c : allCases()) {
        if (c.forceGradient != ForceGradient::exact) {
            continue;
        }
        SCOPED_TRACE(nameOf(c));
        BatchFixture fixture({1, 2, 5, 5}, 2, sizes);
        EnergyTwin twin(fixture.view(), 0);
        const LossTwin loss = twinOf(c);
        twin.addLossGrads(loss);

        for (test::NetworkTwin& network : twin.networks) {
            std::vector<double> numerical;
            for (double* const parameter : network.getParameters()) {
                const double kept = *parameter;
                *parameter = kept + step;
                const double above = twin.energyLossOf(loss) + twin.forceLossOf(loss);
                *parameter = kept - step;
                const double below = twin.energyLossOf(loss) + twin.forceLossOf(loss);
                *parameter = kept;
                numerical.push_back((above - below) / (2.0 * step));
            }
            EXPECT_LE(worstError(network.getGrads(), numerical), 1.0e-7);
        }
    }
}

TEST(NetworkPass, LossesAndGradientsAreThoseOfTheTwin) {
    for (const int numElems : {1, 2}) {
        for (const int numThreads : {1, 3}) {
            const ThreadCount threads(numThreads);
            BatchFixture fixture(usualShape, numElems, someSizes);
            for (const Case& c : allCases()) {
                SCOPED_TRACE(nameOf(c) << ", elements " << numElems << ", threads " << numThreads);
                NetworkPass pass;

                const Losses loss = evaluate(fixture, c, pass);

                expectTwinsLossAndGrads(fixture, c, loss);
                EXPECT_LE(worstError(pass.getOutputs(), meanEnergies(fixture)), 1.0e-6);
                if (c.withForce) {
                    EXPECT_LE(worstError(pass.obtainForces(), meanForces(fixture)), 2.0e-6);
                }
            }
        }
    }
}

TEST(NetworkPass, LossesAndGradientsAreThoseOfTheTwinForAllActivations) {
    for (int activation = 1; activation <= 6; ++activation) {
        SCOPED_TRACE(activation);
        BatchFixture fixture({3, 3, 9, activation}, 2, someSizes);
        NetworkPass pass;

        const Losses loss = evaluate(fixture, {}, pass);

        expectTwinsLossAndGrads(fixture, {}, loss);
    }
}

// Batches of many tiles: the arrays of a tile are used again and again.
TEST(NetworkPass, TakesLargeBatchesInManyTiles) {
    std::vector<int> sizes;
    for (int i = 0; i < 60; ++i) {
        sizes.push_back(2 + i * 7 % 5);
    }
    const ThreadCount threads(2);
    BatchFixture fixture(usualShape, 2, sizes);
    NetworkPass pass;

    const Losses loss = evaluate(fixture, {}, pass);

    EXPECT_GT(pass.getLayout().getTiles().size(), 2U);
    expectTwinsLossAndGrads(fixture, {}, loss);
    EXPECT_LE(worstError(pass.getOutputs(), meanEnergies(fixture)), 1.0e-6);
    EXPECT_LE(worstError(pass.obtainForces(), meanForces(fixture)), 2.0e-6);
}

TEST(NetworkPass, CanBeUsedForOneBatchAfterAnother) {
    constexpr std::array<int, 2> fewSizes{3, 1};
    BatchFixture many(usualShape, 2, someSizes);
    BatchFixture few(usualShape, 2, fewSizes);
    NetworkPass pass;
    evaluate(many, {}, pass);
    pass.clearBatch();

    const Losses loss = evaluate(few, {}, pass);

    expectTwinsLossAndGrads(few, {}, loss);
    pass.clearBatch();
    expectTwinsLossAndGrads(many, {}, evaluate(many, {}, pass));
}

TEST(NetworkPass, GradientsAccumulateUntilTheyAreCleared) {
    BatchFixture fixture(usualShape, 2, someSizes);
    NetworkPass pass;
    evaluate(fixture, {}, pass);
    std::vector<double> doubled = test::toDouble(fixture.gradsOf(1, 2));
    for (double& value : doubled) {
        value *= 2.0;
    }

    std::vector<LossTerm> terms = termsOf({});
    pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);

    EXPECT_LE(worstError(fixture.gradsOf(1, 2), doubled), 1.0e-6);
}

TEST(NetworkPass, IsTheSameFromRunToRun) {
    const ThreadCount threads(3);
    BatchFixture fixture(usualShape, 2, someSizes);
    NetworkPass pass;
    const Losses first = evaluate(fixture, {}, pass);
    const std::vector<float> firstGrads = fixture.gradsOf(1, 1);
    for (int run = 0; run < 20; ++run) {
        NetworkPass again;

        const Losses loss = evaluate(fixture, {}, again);

        EXPECT_EQ(loss.energy, first.energy);
        EXPECT_EQ(loss.force, first.force);
        EXPECT_EQ(fixture.gradsOf(1, 1), firstGrads);
    }
}

TEST(NetworkPass, AgreesBetweenNumbersOfThreads) {
    BatchFixture fixture(usualShape, 2, someSizes);
    std::vector<float> energies;
    std::vector<float> forces;
    std::vector<float> grads;
    for (const int numThreads : {1, 2, 4, 9}) {
        const ThreadCount threads(numThreads);
        NetworkPass pass;

        evaluate(fixture, {}, pass);

        const std::vector<float> gotEnergies(pass.getOutputs().begin(), pass.getOutputs().end());
        const std::vector<float> gotForces(pass.obtainForces().begin(), pass.obtainForces().end());
        const std::vector<float> gotGrads = fixture.gradsOf(0, 2);
        if (numThreads == 1) {
            energies = gotEnergies;
            forces = gotForces;
            grads = gotGrads;
        }
        EXPECT_LE(worstError(gotEnergies, energies), 1.0e-6);
        EXPECT_LE(worstError(gotForces, forces), 2.0e-6);
        EXPECT_LE(worstError(gotGrads, grads), 2.0e-6);
    }
}

TEST(NetworkPass, EvaluatesEnergiesAndForcesWithoutLosses) {
    for (const auto cut : {BatchLayout::Cut::geometries, BatchLayout::Cut::atoms}) {
        for (const int numThreads : {1, 3}) {
            const ThreadCount threads(numThreads);
            const BatchFixture fixture(usualShape, 2, someSizes);
            NetworkPass pass;
            pass.setBatch(fixture.view(), cut);

            pass.evaluate(onlyForces);

            EXPECT_LE(worstError(pass.getOutputs(), meanEnergies(fixture)), 1.0e-6);
            EXPECT_LE(worstError(pass.obtainForces(), meanForces(fixture)), 2.0e-6);
        }
    }
}

TEST(NetworkPass, EvaluatesEnergiesAlone) {
    const BatchFixture fixture(usualShape, 2, someSizes);
    NetworkPass pass;
    pass.setBatch(fixture.view(), BatchLayout::Cut::geometries);

    pass.evaluate({});

    EXPECT_LE(worstError(pass.getOutputs(), meanEnergies(fixture)), 1.0e-6);
    for (const float force : pass.obtainForces()) {
        EXPECT_EQ(force, 0.0f);
    }
}

// Ranges of atoms of one geometry belong to different threads, which reach for the same forces.
TEST(NetworkPass, CutsOneGeometryAmongThreads) {
    constexpr std::array<int, 1> oneSize{30};
    const BatchFixture fixture(usualShape, 2, oneSize);
    const std::vector<double> energies = meanEnergies(fixture);
    const std::vector<double> forces = meanForces(fixture);
    const ThreadCount threads(4);
    NetworkPass pass;
    pass.setBatch(fixture.view(), BatchLayout::Cut::atoms);
    ASSERT_EQ(pass.getLayout().getTiles().size(), 4U);
    for (int run = 0; run < 100; ++run) {
        pass.evaluate(onlyForces);

        ASSERT_LE(worstError(pass.getOutputs(), energies), 1.0e-6);
        ASSERT_LE(worstError(pass.obtainForces(), forces), 2.0e-6) << "run " << run;
    }
}

TEST(NetworkPass, SkipsElementsWithoutAtoms) {
    BatchFixture fixture(usualShape, 3, someSizes, 2);
    NetworkPass pass;

    const Losses loss = evaluate(fixture, {}, pass);

    expectTwinsLossAndGrads(fixture, {}, loss);
    for (const float value : fixture.gradsOf(2, 0)) {
        EXPECT_EQ(value, 0.0f);
    }
}

TEST(NetworkPass, TakesLoneAtomsWithAndWithoutImages) {
    BatchFixture fixture(usualShape, 2, {});
    fixture.add(test::makeLoneAtom(0, 20.0f, 3.6f));
    fixture.add(test::makeLoneAtom(1, 3.0f, 3.6f));
    fixture.add(test::makeLoneAtom(1, 20.0f, 3.6f));
    ASSERT_EQ(fixture.geometryOf(0).numNeighbors(0), 0);
    ASSERT_EQ(fixture.geometryOf(1).numNeighbors(0), 6);
    for (const Case& c : allCases()) {
        SCOPED_TRACE(nameOf(c));
        NetworkPass pass;

        const Losses loss = evaluate(fixture, c, pass);

        expectTwinsLossAndGrads(fixture, c, loss);
        if (c.withForce) {
            EXPECT_LE(worstError(pass.obtainForces(), meanForces(fixture)), 2.0e-6);
        }
    }
}

// For a geometry of one atom the weight of the total energy is the first scale over the number of geometries.
TEST(NetworkPass, WeighsTheTotalEnergyWithTheFirstScale) {
    BatchFixture fixture({1, 1, 4, 3}, 2, {});
    fixture.add(test::makeLoneAtom(1, 20.0f, 3.6f));
    fixture.add(test::makeLoneAtom(1, 20.0f, 3.6f));
    NetworkPass pass;

    const Losses loss = evaluate(fixture, {true, false, ForceGradient::none, true, false}, pass);

    double want = 0.0;
    for (const float energy : pass.getOutputs()) {
        want += 1.3 / 2.0 * std::pow(static_cast<double>(energy) - 0.75, 2);
    }
    EXPECT_LE(std::abs(static_cast<double>(loss.energy.front()) - want), 1.0e-6 * want);
}

TEST(NetworkPass, TooSmallRootsDriveNothing) {
    BatchFixture fixture({1, 2, 7, 5}, 1, someSizes);
    const std::vector<float> tinyScale{1.0e-14f};
    const std::vector<float> largerScale{1.0e-10f};
    NetworkPass pass;
    pass.setBatch(fixture.view(), BatchLayout::Cut::geometries);
    for (const auto gradient : {ForceGradient::approximate, ForceGradient::exact}) {
        fixture.clearGrads();
        std::vector<LossTerm> tiny{{atomicEnergy(), tinyScale, true}, {atomicForce(), tinyScale, true}};
        pass.evaluateLoss(tiny, gradient, fixture.ensembles);

        const Losses loss(tiny);
        EXPECT_GT(loss.energy.front(), 0.0f);
        EXPECT_LE(loss.energy.front(), 1.0e-6f);
        EXPECT_GT(loss.force.front(), 0.0f);
        EXPECT_LE(loss.force.front(), 1.0e-6f);
        for (const float value : fixture.gradsOf(0, 0)) {
            EXPECT_EQ(value, 0.0f);
        }

        std::vector<LossTerm> larger{{atomicEnergy(), largerScale, true}, {atomicForce(), largerScale, true}};
        pass.evaluateLoss(larger, gradient, fixture.ensembles);

        EXPECT_GT(larger[0].getLoss().front(), 1.0e-6f);
        EXPECT_GT(std::abs(fixture.gradsOf(0, 0).front()), 0.0f);
    }
}

// A loss of one term may be too small while that of the other is not.
TEST(NetworkPass, TakesTheRootOfEachTermByItself) {
    BatchFixture fixture({1, 2, 7, 5}, 1, someSizes);
    const std::vector<float> tinyScale{1.0e-14f};
    const std::vector<float> usualScale{0.7f};
    NetworkPass pass;
    pass.setBatch(fixture.view(), BatchLayout::Cut::geometries);
    fixture.clearGrads();

    std::vector<LossTerm> terms{{atomicEnergy(), tinyScale, true}, {atomicForce(), usualScale, true}};
    pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);

    EnergyTwin twin(fixture.view(), 0);
    twin.addLossGrads({{1.0e-14}, {0.7}, false, true, true});
    EXPECT_LE(worstError(fixture.gradsOf(0, 0), twin.networks[0].getGrads()), 1.0e-5);
}

TEST(NetworkPass, PerfectTargetsGiveNoGradient) {
    BatchFixture fixture({1, 2, 7, 5}, 2, someSizes);
    NetworkPass pass;
    pass.setBatch(fixture.view(), BatchLayout::Cut::geometries);
    std::vector<LossTerm> terms = termsOf({});
    fixture.clearGrads();
    pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);
    for (std::size_t g = 0; g < someSizes.size(); ++g) {
        Geometry& geometry = fixture.geometryOf(g);
        const std::size_t start = pass.getLayout().getGeometryStart()[g];
        for (std::size_t a = 0; a < geometry.energies.size(); ++a) {
            geometry.energies[a] = static_cast<double>(pass.getOutputs()[start + a]);
        }
        std::ranges::copy(pass.obtainForces().subspan(3 * start, geometry.forces.size()),
                          geometry.forces.begin());
    }
    for (const bool sqrtLoss : {false, true}) {
        fixture.clearGrads();

        terms = termsOf({.sqrtLoss = sqrtLoss});
        pass.evaluateLoss(terms, ForceGradient::exact, fixture.ensembles);

        const Losses loss(terms);
        EXPECT_EQ(loss.energy.front(), 0.0f);
        EXPECT_EQ(loss.force.front(), 0.0f);
        for (const float value : fixture.gradsOf(1, 0)) {
            EXPECT_EQ(value, 0.0f);
        }
    }
}

TEST(NetworkPass, AgreesBetweenInstructionSets) {
    BatchFixture fixture({5, 2, 11, 6}, 2, someSizes);
    test::onEachTarget([&] {
        NetworkPass pass;

        evaluate(fixture, {}, pass);

        EnergyTwin twin(fixture.view(), 4);
        twin.addLossGrads(twinOf({}));
        EXPECT_LE(worstError(fixture.gradsOf(1, 4), twin.networks[1].getGrads()), 1.0e-5);
    });
}

} // namespace
} // namespace melta
