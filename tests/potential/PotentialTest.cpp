#include "melta/Potential.hpp"

#include "network/SymmPreparation.hpp"
#include "potential/PotentialFixture.hpp"
#include "symmfunc/SymmFuncFactory.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <thread>

namespace melta::test {
namespace {

constexpr Wishes everything = Wish::energy | Wish::forces | Wish::virial | Wish::atomVirials |
                              Wish::modelEnergies | Wish::modelForces | Wish::novelty;

// The kinds of descriptors, weighted and resolved by element.
struct Kind {
    const char* name;
    int code;
    int elemWeight;
    int tanhCutoff;
};

class PotentialOfKinds : public PotentialFixture, public testing::WithParamInterface<Kind> {
protected:
    PotentialOfKinds() {
        property.symmFuncKind = GetParam().code;
        property.elemWeight = GetParam().elemWeight;
        property.tanhCutoff = GetParam().tanhCutoff;
        property.m2 = 7;
        property.m3 = 3;
        property.rinner = 0.0f;
        property.router = 3.4f;
        if (GetParam().code == BehlerKind::code) {
            property.numRadius = 3;
            property.numAngle = 2;
            property.radiusEta = {0.5f, 1.0f, 2.0f};
            property.radiusShift = {0.0f, 1.0f, 2.0f};
            property.angleEta = {0.1f, 0.3f};
            property.angleZeta = {1.0f, 4.0f};
            property.angleShift = {0.0f, 0.5f};
        }
        makeModel();
    }
};

TEST_P(PotentialOfKinds, GivesTheEnergiesAndForcesOfTheArrangement) {
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;
    for (const auto& geometry : set->geometries) {
        const Expected expected = expect(*geometry);
        const PeriodicView view = viewOf(*geometry, potential);

        potential.evaluate(view.view(), Wish::energy | Wish::forces, result, workspace);

        std::vector<double> forces(expected.forces.size());
        view.fold(result.forces, forces);
        const double scale =
            std::abs(*std::ranges::max_element(expected.forces, {}, [](double x) { return std::abs(x); }));
        for (std::size_t a = 0; a < expected.energies.size(); ++a) {
            EXPECT_LE(std::abs(result.energies[a] - expected.energies[a]), 2.0e-5) << a;
        }
        for (std::size_t i = 0; i < forces.size(); ++i) {
            EXPECT_LE(std::abs(forces[i] - expected.forces[i]), 2.0e-5 * (1.0 + scale)) << i;
        }
        EXPECT_LE(
            std::abs(result.energy - std::accumulate(result.energies.begin(), result.energies.end(), 0.0)),
            1.0e-9);
    }
}

TEST_P(PotentialOfKinds, ModelsAverageToTheMean) {
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation mean;
    Evaluation all;
    const PeriodicView view = viewOf(*set->geometries.front(), potential);

    potential.evaluate(view.view(), Wish::energy | Wish::forces | Wish::virial, mean, workspace);
    potential.evaluate(view.view(), everything, all, workspace);

    const auto numModels = static_cast<std::size_t>(potential.numModels());
    ASSERT_EQ(numModels, 2U);
    ASSERT_EQ(all.modelForces.size(), numModels * mean.forces.size());
    EXPECT_LE(std::abs(all.energy - mean.energy), 1.0e-5);
    EXPECT_LE(std::abs((all.modelEnergies[0] + all.modelEnergies[1]) / 2.0 - mean.energy), 1.0e-5);
    for (std::size_t i = 0; i < mean.forces.size(); ++i) {
        const double first = all.modelForces[i];
        const double second = all.modelForces[mean.forces.size() + i];
        EXPECT_LE(std::abs(all.forces[i] - mean.forces[i]), 1.0e-4 * (1.0 + std::abs(mean.forces[i]))) << i;
        EXPECT_LE(std::abs((first + second) / 2.0 - all.forces[i]), 1.0e-9 * (1.0 + std::abs(first))) << i;
    }
    for (std::size_t a = 0; a < all.forceDeviations.size(); ++a) {
        double square = 0.0;
        for (std::size_t i = 3 * a; i < 3 * a + 3; ++i) {
            const double half = (all.modelForces[i] - all.modelForces[mean.forces.size() + i]) / 2.0;
            square += half * half;
        }
        EXPECT_LE(std::abs(all.forceDeviations[a] - std::sqrt(square)), 1.0e-9 * (1.0 + square)) << a;
    }
}

// Minus the derivative of the energy by strain, by central differences.
TEST_P(PotentialOfKinds, VirialIsTheDerivativeByStrain) {
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;
    const Geometry& geometry = *set->geometries.front();
    const PeriodicView view = viewOf(geometry, potential);
    potential.evaluate(view.view(), Wish::virial | Wish::atomVirials, result, workspace);
    const auto energyOfStrain = [&](std::size_t row, std::size_t column, double strain) {
        const auto strained = [&](std::span<const float> rows) {
            std::vector<double> moved(rows.begin(), rows.end());
            for (std::size_t i = 0; i < moved.size(); i += 3) {
                moved[i + row] += strain * static_cast<double>(rows[i + column]);
            }
            return moved;
        };
        const std::vector<int> elements(view.view().elements, view.view().elements + geometry.numAtoms);
        const PeriodicView other(strained(geometry.lattice), strained(geometry.positions), elements,
                                 potential.influenceDistance());
        Evaluation energy;
        potential.evaluate(other.view(), Wish::energy, energy, workspace);
        return energy.energy;
    };
    constexpr std::array<std::array<std::size_t, 2>, 6> axes{
        {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}}};
    double scale = 1.0;
    for (const double part : result.virial) {
        scale = std::max(scale, std::abs(part));
    }
    for (std::size_t v = 0; v < axes.size(); ++v) {
        constexpr double step = 2.0e-3;
        const double numerical =
            -(energyOfStrain(axes[v][0], axes[v][1], step) - energyOfStrain(axes[v][0], axes[v][1], -step)) /
            (2.0 * step);
        EXPECT_LE(std::abs(result.virial[v] - numerical), 1.0e-2 * scale) << v;
        double sum = 0.0;
        for (std::size_t a = 0; a < static_cast<std::size_t>(geometry.numAtoms); ++a) {
            sum += result.atomVirials[6 * a + v];
        }
        EXPECT_LE(std::abs(result.virial[v] - sum), 1.0e-9 * scale) << v;
    }
}

TEST_P(PotentialOfKinds, ExportedForceFieldIsTheSamePotential) {
    const Potential loaded = Potential::load(directory.path());
    const Potential read = Potential::read(exportModel());
    Potential::Workspace workspace;
    const PeriodicView view = viewOf(*set->geometries.front(), loaded);
    Evaluation a;
    Evaluation b;

    loaded.evaluate(view.view(), everything, a, workspace);
    read.evaluate(view.view(), everything, b, workspace);

    EXPECT_EQ(a.energies, b.energies);
    EXPECT_EQ(a.forces, b.forces);
    EXPECT_EQ(a.virial, b.virial);
    EXPECT_EQ(loaded.elements(), read.elements());
    EXPECT_EQ(loaded.cutoff(), read.cutoff());
}

// The quantity that trainings fit is minus the virial, which is the derivative by strain.
TEST_P(PotentialOfKinds, TrainingsFitTheVirial) {
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;
    Geometry& geometry = *set->geometries.front();
    potential.evaluate(viewOf(geometry, potential).view(), Wish::virial, result, workspace);
    Geometry* const batch[] = {&geometry};
    const DerivativeQuantity* const stress[] = {&cellStress()};
    const auto errorFrom = [&](const std::array<float, 6>& reference) {
        geometry.stressVolume = reference;
        outputOf([&] { arch->prepareBatch(batch, Derivatives::yes); });
        arch->evaluate(NetworkTarget::energy, stress);
        QuantityError error{&cellStress()};
        arch->squareErrors({&error, 1});
        arch->clearGeometries();
        return error.rootMeanSquare();
    };
    std::array<float, 6> expected{};
    double squares = 0.0;
    for (std::size_t v = 0; v < 6; ++v) {
        // yz, xz, xy here; xy, xz, yz there
        expected[v] = -static_cast<float>(result.virial[v > 2 ? 8 - v : v]);
        squares += result.virial[v] * result.virial[v] / 6.0;
    }

    const double size = std::sqrt(squares) / geometry.numAtoms;
    EXPECT_NEAR(static_cast<double>(errorFrom({})), size, 1.0e-4 * size);
    EXPECT_LE(static_cast<double>(errorFrom(expected)), 1.0e-4 * size);
    EXPECT_GT(size, 1.0e-3);
}

INSTANTIATE_TEST_SUITE_P(Kinds, PotentialOfKinds,
                         testing::Values(Kind{"chebyshev", ChebyshevKind::code, 1, 1},
                                         Kind{"chebyshevResolved", ChebyshevKind::code, 0, 0},
                                         Kind{"behler", BehlerKind::code, 1, 0},
                                         Kind{"behlerResolved", BehlerKind::code, 0, 1},
                                         Kind{"manyBody", ManyBodyKind::code, 0, 1},
                                         Kind{"cluster", ClusterKind::code, 0, 1}),
                         [](const auto& instance) { return std::string(instance.param.name); });

class PotentialTest : public PotentialFixture {};

TEST_F(PotentialTest, TellsWhatItIs) {
    property.withCharge = 1;
    makeModel();

    const Potential potential = Potential::load(directory.path());

    EXPECT_EQ(potential.elements(), set->elemNames);
    EXPECT_EQ(potential.elementIndex("Si"), 0);
    EXPECT_EQ(potential.elementIndex("Xx"), -1);
    EXPECT_EQ(potential.cutoff(), static_cast<double>(findLargestCutoff(property)));
    EXPECT_EQ(potential.influenceDistance(), potential.cutoff());
    EXPECT_EQ(potential.numModels(), property.modelsEnergy);
    EXPECT_TRUE(potential.hasCharges());
    EXPECT_FALSE(potential.hasHistograms());
    EXPECT_STREQ(potential.descriptor(), "chebyshev");
    EXPECT_EQ(potential.numDescriptors(), arch->getNumBasis());
    const SymmStatistics& statistics = arch->getSymmStatistics();
    EXPECT_NEAR(potential.descriptorRange(1).low,
                static_cast<double>(statistics.symmAve[1] - statistics.symmDev[1]), 1.0e-5);
    EXPECT_NEAR(potential.descriptorRange(1).high,
                static_cast<double>(statistics.symmAve[1] + statistics.symmDev[1]), 1.0e-5);
    EXPECT_THROW(static_cast<void>(potential.descriptorRange(2)), Error);
}

TEST_F(PotentialTest, GivesTheChargesOfTheArrangement) {
    property.withCharge = 1;
    makeModel();
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;
    const Expected expected = expect(*set->geometries.front());

    potential.evaluate(viewOf(*set->geometries.front(), potential).view(), Wish::charges, result, workspace);

    for (std::size_t a = 0; a < expected.charges.size(); ++a) {
        EXPECT_LE(std::abs(result.charges[a] - expected.charges[a]), 1.0e-5) << a;
    }
}

TEST_F(PotentialTest, ChargesNeedChargeNetworks) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;

    EXPECT_THROW(potential.evaluate(viewOf(*set->geometries.front(), potential).view(), Wish::charges, result,
                                    workspace),
                 Error);
}

TEST_F(PotentialTest, TrainingDataAreNotNovel) {
    makeModel();
    for (const bool withHistograms : {false, true}) {
        if (withHistograms) {
            writeHistograms();
        }
        const Potential potential = Potential::load(directory.path());
        EXPECT_EQ(potential.hasHistograms(), withHistograms);
        Potential::Workspace workspace;
        Evaluation result;
        for (const auto& geometry : set->geometries) {
            potential.evaluate(viewOf(*geometry, potential).view(), Wish::novelty, result, workspace);
            // Values at the very ends of the range may fall on either side.
            EXPECT_LE(result.numNovel, 2);
        }
        Geometry& squeezed = *set->geometries.front();
        const PeriodicView view = viewOf(squeezed, potential);
        std::vector<double> positions(view.view().positions,
                                      view.view().positions + 3 * view.view().numAtoms);
        std::ranges::transform(positions, positions.begin(), [](double x) { return 0.8 * x; });
        NeighborView close = view.view();
        close.positions = positions.data();
        potential.evaluate(close, Wish::novelty, result, workspace);
        EXPECT_GE(result.numNovel, 1);
        EXPECT_EQ(result.numNovel, std::accumulate(result.novelty.begin(), result.novelty.end(), 0));
    }
}

// The range of the raw values of the training data becomes -1 to 1.
TEST_F(PotentialTest, DescriptorsOfTheTrainingDataFillTheirRange) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const auto numBasis = static_cast<std::size_t>(potential.numDescriptors());
    Potential::Workspace workspace;
    Evaluation result;
    std::vector<float> lows(potential.elements().size(), 9.0f);
    std::vector<float> highs(potential.elements().size(), -9.0f);
    for (const auto& geometry : set->geometries) {
        const PeriodicView view = viewOf(*geometry, potential);
        const NeighborView& atoms = view.view();
        potential.evaluate(atoms, Wish::descriptors, result, workspace);
        ASSERT_EQ(result.descriptors.size(), numBasis * static_cast<std::size_t>(atoms.numAtoms));
        for (std::size_t a = 0; a < static_cast<std::size_t>(atoms.numLocal); ++a) {
            const auto values = std::span(result.descriptors).subspan(a * numBasis, numBasis);
            const auto element = static_cast<std::size_t>(atoms.elements[a]);
            const auto [low, high] = std::ranges::minmax(values);
            lows[element] = std::min(lows[element], low);
            highs[element] = std::max(highs[element], high);
        }
    }
    for (std::size_t e = 0; e < lows.size(); ++e) {
        EXPECT_NEAR(lows[e], -1.0f, 1.0e-4f) << e;
        EXPECT_NEAR(highs[e], 1.0f, 1.0e-4f) << e;
    }
}

TEST_F(PotentialTest, DescriptorsAreTheInputsOfTheArrangement) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const SymmStatistics& statistics = arch->getSymmStatistics();
    Potential::Workspace workspace;
    Evaluation result;
    Geometry* const geometry = set->geometries.back().get();
    const auto symmFunc = SymmFuncFactory().createSymmFunc(arch->getNumElems(), property);
    const auto rows = calculateSymmRows(*symmFunc, std::span(&geometry, 1), false, false);

    potential.evaluate(viewOf(*geometry, potential).view(), Wish::descriptors, result, workspace);

    const auto numBasis = static_cast<std::size_t>(potential.numDescriptors());
    for (int atom = 0; atom < geometry->numAtoms; ++atom) {
        const auto a = static_cast<std::size_t>(atom);
        const auto e = static_cast<std::size_t>(geometry->elements[a]);
        for (std::size_t i = 0; i < numBasis; ++i) {
            const float expected = (rows[0].valuesOf(a)[i] - statistics.symmAve[e]) / statistics.symmDev[e];
            EXPECT_NEAR(result.descriptors[a * numBasis + i], expected, 1.0e-5f) << atom << ' ' << i;
        }
    }
}

TEST_F(PotentialTest, UnknownAtomsHaveNoEnergyAndDoNotAct) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;
    const std::vector<double> positions{0.0, 0.0, 0.0, 1.5, 0.0, 0.0};
    const std::vector<int> partners{1, 0};
    const std::vector<const int*> lists{&partners[0], &partners[1]};
    const std::vector<int> lengths{1, 1};
    const auto energyOf = [&](std::vector<int> elements) {
        const NeighborView view{.numAtoms = 2,
                                .numLocal = 2,
                                .positions = positions.data(),
                                .elements = elements.data(),
                                .atoms = nullptr,
                                .numLists = 2,
                                .neighbors = lists.data(),
                                .lengths = lengths.data()};
        potential.evaluate(view, Wish::energy | Wish::forces, result, workspace);
        return result.energies;
    };

    const std::vector<double> both = energyOf({0, 1});
    const std::vector<double> one = energyOf({0, -1});

    EXPECT_EQ(one[1], 0.0);
    EXPECT_NE(one[0], both[0]);
    EXPECT_EQ(result.forces, std::vector<double>(6, 0.0));
}

TEST_F(PotentialTest, ViewsThatAreNotConsistentAreRefused) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation result;
    const PeriodicView whole = viewOf(*set->geometries.front(), potential);
    const auto refusalOf = [&](const NeighborView& view) -> std::string {
        try {
            potential.evaluate(view, Wish::energy, result, workspace);
        } catch (const Error& error) {
            return error.what();
        }
        return "(none)";
    };
    EXPECT_EQ(refusalOf(whole.view()), "(none)");
    NeighborView view = whole.view();
    view.numLists -= 1;
    EXPECT_EQ(refusalOf(view), "incorrect view: a local atom without a list.");
    view = whole.view();
    view.numAtoms = view.numLocal - 1;
    EXPECT_EQ(refusalOf(view), "incorrect view: numbers of atoms.");
    view = whole.view();
    view.numAtoms = view.numLocal;
    EXPECT_EQ(refusalOf(view), "incorrect view: index of a neighbour.");
    view = whole.view();
    view.positions = nullptr;
    EXPECT_EQ(refusalOf(view), "incorrect view: no positions or elements.");
    std::vector<int> elements(whole.view().elements, whole.view().elements + whole.view().numAtoms);
    elements[0] = 2;
    view = whole.view();
    view.elements = elements.data();
    EXPECT_EQ(refusalOf(view), "incorrect view: index of an element.");
    const auto numAtoms = static_cast<std::size_t>(whole.view().numAtoms);
    std::vector<double> positions(whole.view().positions, whole.view().positions + 3 * numAtoms);
    view = whole.view();
    view.positions = positions.data();
    positions.back() = std::numeric_limits<double>::infinity();
    EXPECT_EQ(refusalOf(view), "incorrect view: a position that is not finite.");
    positions.back() = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(refusalOf(view), "incorrect view: a position that is not finite.");
    elements[0] = whole.view().elements[0];
    elements.back() = -1;
    view.elements = elements.data();
    EXPECT_EQ(refusalOf(view), "(none)");
}

TEST_F(PotentialTest, MaskedEntriesAndListsInAnyOrderAreTheSameView) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    Potential::Workspace workspace;
    Evaluation plain;
    Evaluation masked;
    const PeriodicView whole = viewOf(*set->geometries.front(), potential);
    potential.evaluate(whole.view(), everything, plain, workspace);
    NeighborView view = whole.view();
    std::vector<std::vector<int>> lists;
    std::vector<const int*> pointers;
    std::vector<int> lengths;
    std::vector<int> atoms;
    for (int l = view.numLists - 1; l >= 0; --l) {
        std::vector<int> list(view.neighbors[l], view.neighbors[l] + view.lengths[l]);
        for (int& entry : list) {
            entry |= 1 << 30;
        }
        lists.push_back(std::move(list));
        lengths.push_back(view.lengths[l]);
        atoms.push_back(l);
    }
    for (const auto& list : lists) {
        pointers.push_back(list.data());
    }
    view.atoms = atoms.data();
    view.neighbors = pointers.data();
    view.lengths = lengths.data();
    view.entryMask = (1 << 30) - 1;

    potential.evaluate(view, everything, masked, workspace);

    EXPECT_EQ(plain.energies, masked.energies);
    for (std::size_t i = 0; i < plain.forces.size(); ++i) {
        EXPECT_NEAR(plain.forces[i], masked.forces[i], 1.0e-12);
    }
}

TEST_F(PotentialTest, ThreadsShareOnePotential) {
    makeModel();
    const Potential potential = Potential::load(directory.path());
    const PeriodicView view = viewOf(*set->geometries.front(), potential);
    Evaluation expected;
    Potential::Workspace workspace;
    potential.evaluate(view.view(), everything, expected, workspace);
    std::vector<Evaluation> results(8);
    std::vector<std::thread> threads;

    for (Evaluation& result : results) {
        threads.emplace_back([&] {
            const Potential own = Potential::load(directory.path());
            Potential::Workspace work;
            for (int turn = 0; turn < 5; ++turn) {
                (turn % 2 == 0 ? potential : own).evaluate(view.view(), everything, result, work);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    for (const Evaluation& result : results) {
        EXPECT_EQ(result.energies, expected.energies);
        EXPECT_EQ(result.forces, expected.forces);
    }
}

TEST_F(PotentialTest, LoadingPrintsNothingAndDrawsNothing) {
    makeModel();
    writeHistograms();
    sharedRandom().seed(5);
    const int first = sharedRandom().draw();
    sharedRandom().seed(5);

    const std::string output = outputOf([this] { Potential::load(directory.path()); });

    EXPECT_EQ(output, "");
    EXPECT_EQ(sharedRandom().draw(), first);
}

} // namespace
} // namespace melta::test
