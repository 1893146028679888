// A model that is moved to data with other elements, for every kind of symmetry functions: what it knows
// about configurations of its own elements must not change.
#include "modelio/ModelStore.hpp"

#include "base/RandomSource.hpp"
#include "network/NNArch.hpp"
#include "structure/DataFileText.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace melta {
namespace {

using test::outputOf;
using test::writeTextFile;

struct Kind {
    const char* name;
    int symmFuncKind;
    int elemWeight;
    int behlerG4;
};

// One configuration: labels on a distorted lattice, with energies (Ry) that depend on label and seed. The
// stretch moves its symmetry functions out of the range of other configurations.
std::string blockOfLabels(const std::vector<std::string>& labels, unsigned seed, double stretch = 1.0) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> shift(-0.6, 0.6);
    std::string text = std::to_string(labels.size()) + " 1 -80.0\n" + test::cubicCell();
    for (std::size_t a = 0; a < labels.size(); ++a) {
        std::vector<std::string> fields;
        for (unsigned c = 0; c < 3; ++c) {
            const double site = 4.6 * static_cast<double>((a >> c) & 1U);
            fields.push_back(std::to_string(stretch * (site + shift(random))));
        }
        fields.push_back(std::to_string(-3.0 * (labels[a].front() - '@') + 0.1 * shift(random)));
        fields.insert(fields.end(), {"0", "0", "0", std::to_string(shift(random)), "0", "0", "0", "0"});
        text += test::atomLine(labels[a], fields);
    }
    return text;
}

std::string pureBlock() {
    return blockOfLabels({"Si", "Si", "Si", "Si", "Si"}, 1);
}

std::string pairBlock() {
    return blockOfLabels({"O", "Si", "O", "Si", "Si", "O"}, 2);
}

std::string tripleBlock() {
    return blockOfLabels({"H", "O", "Si", "H", "O", "Si", "Si"}, 3);
}

// Data, networks for their elements, and what these make of a configuration.
class Arrangement {
public:
    Arrangement(const Property& property, const std::string& folder, const std::vector<std::string>& blocks) {
        std::string text;
        for (const std::string& block : blocks) {
            text += block;
        }
        const std::string fileName = folder + "/data";
        writeTextFile(fileName, text);
        outputOf([&] {
            set->readGeometrySet(fileName, false);
            set->haveReadGeometrySet(&property, false, {}, 0);
            arch = std::make_unique<NNArch>(NNArch::energyAndCharge, set->numElems, &property, false, false);
            arch->initLayers(set.get());
        });
    }

    // Ranges of the own data, as a training takes them.
    void takeRanges() {
        outputOf([&] {
            arch->setGeometriesAll(set.get());
            arch->calculateSymmFuncs(false, true, true);
            arch->statisticsSymmFuncs(set.get());
        });
    }

    void store(const std::string& headName) const {
        outputOf([&] { storeNN(*arch, headName, set.get()); });
    }

    void restore(const std::string& headName) {
        outputOf([&] { restoreNN(*arch, headName, set.get(), false); });
    }

    // Absolute energies, charges and forces of the atoms of a geometry of the own data.
    std::vector<double> resultsOf(int index) {
        Geometry* const geometry = &set->getGeometry(index);
        arch->setGeometries(std::span<Geometry* const>(&geometry, 1));
        arch->calculateSymmFuncs(true, false, true);
        arch->renormalizeSymmFuncs(false);
        arch->goBackwardOnForce();
        arch->goForwardOnCharge();
        const std::span<const float> energies = arch->obtainEnergies(0);
        std::vector<double> results;
        for (std::size_t a = 0; a < energies.size(); ++a) {
            results.push_back(static_cast<double>(energies[a]) +
                              set->getElementEnergy(geometry->elements[a]));
        }
        std::ranges::copy(arch->obtainCharges(0), std::back_inserter(results));
        std::ranges::copy(arch->obtainForces(0), std::back_inserter(results));
        arch->clearGeometries();
        return results;
    }

    std::unique_ptr<GeometrySet> set = std::make_unique<GeometrySet>();
    std::unique_ptr<NNArch> arch;
};

// Largest difference (eV, e, eV/Angstrom); infinite when there is nothing to compare or no number.
double worstDifference(const std::vector<double>& left, const std::vector<double>& right) {
    if (left.size() != right.size() || left.empty()) {
        return std::numeric_limits<double>::infinity();
    }
    double worst = 0.0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const double difference = std::abs(left[i] - right[i]);
        worst = difference <= worst
                    ? worst
                    : (difference > worst ? difference : std::numeric_limits<double>::infinity());
    }
    return worst;
}

// Rounding of single precision for energies of some eV and forces of some eV/Angstrom.
constexpr double rounding = 1.0e-6;

class ModelMove : public testing::TestWithParam<Kind> {
protected:
    ModelMove() {
        sharedRandom().seed(20240611);
        property.symmFuncKind = GetParam().symmFuncKind;
        property.elemWeight = GetParam().elemWeight;
        property.behlerG4 = GetParam().behlerG4;
        property.withCharge = 1;
        property.numRadius = 4;
        property.numAngle = 3;
        property.rcutRadius = 4.0f;
        property.rcutAngle = 3.5f;
        property.m2 = 5;
        property.m3 = 2;
        property.router = 4.0f;
        property.radiusEta = {0.5f, 1.0f, 2.0f, 2.0f};
        property.radiusShift = {0.0f, 1.5f, 2.0f, 3.0f};
        property.angleEta = {0.05f, 0.1f, 0.2f};
        property.angleZeta = {1.0f, 2.0f, 4.0f};
        property.angleShift = {0.0f, 0.5f, 0.0f};
        property.modelsEnergy = property.modelsCharge = 2;
        property.nodesEnergy = property.nodesCharge = 6;
    }

    Arrangement arrange(const std::vector<std::string>& blocks) const {
        return {property, directory.path().string(), blocks};
    }

    // Another arrangement with the model of the first.
    Arrangement moved(const Arrangement& from, const std::vector<std::string>& blocks) const {
        const std::string headName = directory.file("melta.data");
        from.store(headName);
        Arrangement to = arrange(blocks);
        to.restore(headName);
        return to;
    }

    test::TemporaryDirectory directory;
    Property property;
};

TEST_P(ModelMove, KeepsResultsInAnotherOrderOfElements) {
    Arrangement old = arrange({tripleBlock(), pairBlock(), pureBlock()});
    old.takeRanges();

    Arrangement other = moved(old, {pureBlock(), pairBlock(), tripleBlock()});

    ASSERT_EQ(old.set->elemNames, (std::vector<std::string>{"H", "O", "Si"}));
    ASSERT_EQ(other.set->elemNames, (std::vector<std::string>{"Si", "O", "H"}));
    for (int g = 0; g < 3; ++g) {
        EXPECT_LE(worstDifference(other.resultsOf(2 - g), old.resultsOf(g)), rounding) << g;
    }
}

TEST_P(ModelMove, KeepsResultsWithFewerElements) {
    Arrangement old = arrange({tripleBlock(), pairBlock(), pureBlock()});
    old.takeRanges();

    Arrangement two = moved(old, {pureBlock(), pairBlock()});
    Arrangement one = moved(old, {pureBlock()});

    EXPECT_LE(worstDifference(two.resultsOf(0), old.resultsOf(2)), rounding);
    EXPECT_LE(worstDifference(two.resultsOf(1), old.resultsOf(1)), rounding);
    EXPECT_LE(worstDifference(one.resultsOf(0), old.resultsOf(2)), rounding);
}

// The new element has no range before the run takes the ranges of its own data.
TEST_P(ModelMove, KeepsResultsWithMoreElements) {
    Arrangement old = arrange({pairBlock(), pureBlock()});
    old.takeRanges();

    Arrangement more = moved(old, {tripleBlock(), pureBlock(), pairBlock()});
    more.takeRanges();

    EXPECT_LE(worstDifference(more.resultsOf(2), old.resultsOf(0)), rounding);
    EXPECT_LE(worstDifference(more.resultsOf(1), old.resultsOf(1)), rounding);
}

// Neither set holds all elements of the other: inputs are dropped and added at once.
TEST_P(ModelMove, KeepsResultsOfTheElementsInCommon) {
    const std::string withHydrogen = blockOfLabels({"H", "Si", "H", "Si"}, 4);
    Arrangement old = arrange({pairBlock(), pureBlock()});
    old.takeRanges();

    Arrangement other = moved(old, {withHydrogen, pureBlock()});
    other.takeRanges();

    EXPECT_LE(worstDifference(other.resultsOf(1), old.resultsOf(1)), rounding);
}

TEST_P(ModelMove, KeepsResultsOnTheWayThereAndBack) {
    Arrangement old = arrange({pairBlock(), pureBlock()});
    old.takeRanges();

    Arrangement more = moved(old, {pureBlock(), tripleBlock()});
    more.takeRanges();
    Arrangement back = moved(more, {pairBlock(), pureBlock()});
    Arrangement again = moved(back, {tripleBlock(), pairBlock()});
    again.takeRanges();

    EXPECT_LE(worstDifference(back.resultsOf(0), old.resultsOf(0)), rounding);
    EXPECT_LE(worstDifference(back.resultsOf(1), old.resultsOf(1)), rounding);
    EXPECT_LE(worstDifference(again.resultsOf(1), old.resultsOf(0)), rounding);
}

// Other data have another range of symmetry functions and other mean energies.
TEST_P(ModelMove, KeepsResultsWithAnotherRange) {
    const std::string dense = blockOfLabels({"H", "O", "Si", "H", "O", "Si", "Si", "O"}, 5, 0.6);
    Arrangement old = arrange({tripleBlock(), pairBlock()});
    old.takeRanges();

    Arrangement other = moved(old, {tripleBlock(), pairBlock(), dense});
    const SymmStatistics before = other.arch->getSymmStatistics();
    other.takeRanges();

    const SymmStatistics& after = other.arch->getSymmStatistics();
    for (std::size_t e = 0; e < 3; ++e) {
        EXPECT_GT(after.symmDev[e], 1.02f * before.symmDev[e]);
        EXPECT_GT(std::abs(other.set->energyAve[e] - old.set->energyAve[e]), 1.0e-3);
    }
    EXPECT_LE(worstDifference(other.resultsOf(0), old.resultsOf(0)), rounding);
    EXPECT_LE(worstDifference(other.resultsOf(1), old.resultsOf(1)), rounding);
}

// The results that stay are no constants.
TEST_P(ModelMove, MovesResultsThatDependOnTheConfiguration) {
    Arrangement old = arrange({pureBlock(), blockOfLabels({"Si", "Si", "Si", "Si", "Si"}, 9)});
    old.takeRanges();

    EXPECT_GE(worstDifference(old.resultsOf(0), old.resultsOf(1)), 1000.0 * rounding);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ModelMove,
                         testing::Values(Kind{"Chebyshev", ChebyshevKind::code, 0, 0},
                                         Kind{"WeightedChebyshev", ChebyshevKind::code, 1, 0},
                                         Kind{"ManyBody", ManyBodyKind::code, 0, 0},
                                         Kind{"BehlerG3", BehlerKind::code, 0, 0},
                                         Kind{"BehlerG4", BehlerKind::code, 0, 1},
                                         Kind{"WeightedBehler", BehlerKind::code, 1, 1}),
                         [](const auto& kind) { return std::string(kind.param.name); });

} // namespace
} // namespace melta
