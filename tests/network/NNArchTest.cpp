#include "network/NNArch.hpp"

#include "base/Reporting.hpp"
#include "network/ArchFixture.hpp"
#include "network/Numbers.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace melta {
namespace {

using test::ArchFixture;
using test::outputOf;
using test::stopMessageOf;
using test::worstError;

constexpr std::array<int, 4> someSizes{6, 4, 5, 2};
const std::string frame = "    |" + std::string(95, '-') + "|\n    |";
const std::string fullBar = frame + std::string(95, '=') + "|\n\n";

std::vector<float> copyOf(std::span<const float> values) {
    return {values.begin(), values.end()};
}

// --- construction

TEST(NNArch, StopsWithoutElementsOrSettings) {
    const Property property;

    EXPECT_EQ(stopMessageOf([] { NNArch(1, 0, nullptr, true, false); }), "#elements is not positive.");
    EXPECT_EQ(stopMessageOf([] { NNArch(1, 1, nullptr, true, false); }), "property is null.");
    EXPECT_EQ(stopMessageOf([&] { NNArch(1, 1, &property, true, false); }), "(no stop)");
}

TEST(NNArch, TellsTheNumberOfSymmetryFunctions) {
    const ArchFixture fixture(2, someSizes);
    NNArch arch(NNArch::onlyEnergy, 2, &fixture.property, false, false);

    // Five radial functions for each of two elements, three angular ones for each of three pairs.
    EXPECT_EQ(outputOf([&] { arch.initLayers(&fixture.set); }), "  * There are 19 symmetry functions.\n\n");
    EXPECT_EQ(arch.getNumBasis(), 19);
}

TEST(NNArch, OnlyTheMainArrangementTellsWithAnInSituTest) {
    ArchFixture fixture(2, someSizes);
    fixture.property.insituTest = 1;
    NNArch test(NNArch::onlyEnergy, 2, &fixture.property, false, false);
    NNArch main(NNArch::onlyEnergy, 2, &fixture.property, true, false);

    EXPECT_EQ(outputOf([&] { test.initLayers(&fixture.set); }), "");
    EXPECT_EQ(outputOf([&] { main.initLayers(&fixture.set); }), "  * There are 19 symmetry functions.\n\n");
}

TEST(NNArch, MakesNetworksForEachElement) {
    const ArchFixture fixture(2, someSizes);
    NNArch arch(NNArch::onlyEnergy, 2, &fixture.property, true, true);
    outputOf([&] { arch.initLayers(&fixture.set); });

    ASSERT_EQ(arch.getEnergyEnsembles().size(), 2U);
    for (std::size_t e = 0; e < 2; ++e) {
        const NNEnsemble& ensemble = arch.getEnergyEnsembles()[e];
        EXPECT_EQ(ensemble.getNumInp(), 19);
        EXPECT_EQ(ensemble.getShape().numModels, 3);
        EXPECT_EQ(ensemble.getShape().numLayers, 2);
        EXPECT_EQ(ensemble.getShape().numNodes, 7);
        EXPECT_EQ(ensemble.getShape().activation, Activation::twtanh);
        EXPECT_TRUE(ensemble.getLastLayer().isLearnable());
        EXPECT_EQ(ensemble.getLastLayer().getWeightScale(), static_cast<float>(fixture.set.energyDev[e]));
        EXPECT_EQ(ensemble.getLastLayer().getBiasShift(), 0.0f);
        EXPECT_EQ(ensemble.getInterLayers().front().getWeightScale(), 1.0f);
    }
    EXPECT_EQ(arch.getSymmStatistics().symmAve, (std::vector<float>{0.0f, 0.0f}));
    EXPECT_EQ(arch.getSymmStatistics().symmDev, (std::vector<float>{-1.0f, -1.0f}));
    EXPECT_EQ(arch.getEnergyModeScheme(), 0);
}

TEST(NNArch, StopsBeforeImpossibleNetworks) {
    ArchFixture fixture(1, someSizes);
    const auto initStops = [&](int numElems) {
        NNArch arch(NNArch::onlyEnergy, numElems, &fixture.property, true, false);
        std::string message;
        outputOf([&] { message = stopMessageOf([&] { arch.initLayers(&fixture.set); }); });
        return message;
    };

    EXPECT_EQ(initStops(1), "(no stop)");
    EXPECT_EQ(initStops(2), "index of element is out of range.");
    fixture.property.nodesEnergy = 1000000;
    EXPECT_EQ(initStops(1), "neural network is too large.");
    fixture.property.symmFuncKind = 77;
    EXPECT_EQ(initStops(1), "cannot create symmFunc.");
    NNArch arch(NNArch::onlyEnergy, 1, &fixture.property, true, false);
    EXPECT_EQ(stopMessageOf([&] { arch.initLayers(nullptr); }), "geometrySet is null.");
}

// --- set and batch

TEST(NNArch, GuardsTheInCoreSet) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();

    EXPECT_EQ(stopMessageOf([&] { arch->clearGeometriesAll(); }), "geometriesAll have not been set.");
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometriesAll(nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometriesAll(std::span<Geometry* const>()); }),
              "#all-geometries is not positive.");
    arch->setGeometriesAll(&fixture.set);
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometriesAll(&fixture.set); }),
              "geometriesAll have been set, already.");
    arch->clearGeometriesAll();
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometriesAll(fixture.getGeometries()); }), "(no stop)");
}

TEST(NNArch, GuardsTheBatch) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    const std::vector<Geometry*> geometries = fixture.getGeometries();

    EXPECT_EQ(stopMessageOf([&] { arch->clearGeometries(); }), "geometries have not been set.");
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometries(std::span<Geometry* const>()); }),
              "#geometries is not positive.");
    arch->setGeometries(geometries);
    EXPECT_EQ(arch->getNumGeoms(), 4);
    EXPECT_EQ(arch->getNumAtomsBatch(), 17);
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometries(geometries); }), "geometries have been set, already.");
    arch->clearGeometries();
    EXPECT_EQ(arch->getNumGeoms(), 0);
    EXPECT_EQ(arch->getNumAtomsBatch(), 0);
    EXPECT_EQ(stopMessageOf([&] { arch->setGeometries(geometries); }), "(no stop)");
}

TEST(NNArch, GuardsTheBatchByIndexInThisOrder) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    const std::vector<int> indices{0, 2};
    const auto stopsWith = [&](const std::vector<int>& list) {
        return stopMessageOf([&] { arch->setGeometries(std::span<const int>(list)); });
    };

    arch->setGeometries(fixture.getGeometries());
    EXPECT_EQ(stopsWith({}), "geometriesAll have not been set.");
    arch->setGeometriesAll(&fixture.set);
    EXPECT_EQ(stopsWith({}), "geometries have been set, already.");
    arch->clearGeometries();
    EXPECT_EQ(stopsWith({}), "#geometries is not positive.");
    EXPECT_EQ(stopsWith(indices), "symmDataAll have not been prepared.");
    arch->calculateSymmFuncs(true, true, true);
    EXPECT_EQ(stopsWith(indices), "(no stop)");
    arch->clearGeometries();
    EXPECT_EQ(stopsWith({0, 4}), "idxGeoms is out of range.");
}

TEST(NNArch, StopsAtBadIndicesOfTheSet) {
    for (const int index : {-1, 4}) {
        const ArchFixture fixture(2, someSizes);
        const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
        const std::vector<int> indices{index};

        EXPECT_EQ(stopMessageOf([&] { arch->setGeometries(std::span<const int>(indices)); }),
                  "idxGeoms is out of range.");
    }
}

// --- symmetry functions

TEST(NNArch, GuardsTheSymmetryFunctions) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    const GeometrySet empty;

    EXPECT_EQ(stopMessageOf([&] { arch->calculateSymmFuncs(true, true, true); }),
              "geometriesAll have not been set.");
    EXPECT_EQ(stopMessageOf([&] { arch->calculateSymmFuncs(true, false, true); }),
              "geometries have not been set.");
    EXPECT_EQ(stopMessageOf([&] { arch->statisticsSymmFuncs(nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { arch->statisticsSymmFuncs(&empty); }),
              "total number of geometries is not positive.");
    EXPECT_EQ(stopMessageOf([&] { arch->renormalizeSymmFuncs(true); }), "symmDev have not been prepared.");
    outputOf([&] { arch->statisticsSymmFuncs(&fixture.set); });
    EXPECT_EQ(stopMessageOf([&] { arch->renormalizeSymmFuncs(true); }), "geometriesAll have not been set.");
    EXPECT_EQ(stopMessageOf([&] { arch->renormalizeSymmFuncs(false); }), "geometries have not been set.");
    arch->setGeometriesAll(&fixture.set);
    arch->setGeometries(fixture.getGeometries());
    EXPECT_EQ(stopMessageOf([&] { arch->renormalizeSymmFuncs(true); }),
              "symmDataAll have not been prepared.");
    EXPECT_EQ(stopMessageOf([&] { arch->renormalizeSymmFuncs(false); }), "symmData have not been prepared.");
}

TEST(NNArch, TitlesTheSymmetryFunctionsOfTheSet) {
    ArchFixture fixture(2, someSizes);
    const auto titleOf = [&](bool isMain, bool silent) {
        const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::onlyEnergy, isMain);
        arch->setGeometriesAll(&fixture.set);
        return outputOf([&] { arch->calculateSymmFuncs(false, true, silent); });
    };

    EXPECT_EQ(titleOf(true, false), "  * Calculate symmetry functions.\n\n" + fullBar);
    EXPECT_EQ(titleOf(true, true), "");
    fixture.property.insituTest = 1;
    EXPECT_EQ(titleOf(true, false), "  * Calculate symmetry functions of TRAINING data.\n\n" + fullBar);
    EXPECT_EQ(titleOf(false, false), "  * Calculate symmetry functions of TESTING data.\n\n" + fullBar);
}

TEST(NNArch, SaysNothingAboutTheBatch) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    arch->setGeometries(fixture.getGeometries());

    EXPECT_EQ(outputOf([&] { arch->calculateSymmFuncs(false, false, false); }), "");
}

TEST(NNArch, DrawsNoBarForASingleGeometry) {
    const ArchFixture fixture(1, std::array<int, 1>{6});
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    arch->setGeometriesAll(&fixture.set);

    EXPECT_EQ(outputOf([&] { arch->calculateSymmFuncs(false, true, false); }),
              "  * Calculate symmetry functions.\n\n");
}

TEST(NNArch, PrintsTheRangesOfTheElements) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> direct = fixture.makeArch();
    const std::unique_ptr<NNArch> inCore = fixture.makeArch();
    inCore->setGeometriesAll(&fixture.set);
    inCore->calculateSymmFuncs(false, true, true);

    const std::string directText = outputOf([&] { direct->statisticsSymmFuncs(&fixture.set); });
    const std::string inCoreText = outputOf([&] { inCore->statisticsSymmFuncs(&fixture.set); });

    const SymmStatistics& ranges = direct->getSymmStatistics();
    std::string table;
    for (std::size_t e = 0; e < 2; ++e) {
        table += formatText("    G (E%zu    ) = [ %+.3e , %+.3e ]\n", e + 1,
                            static_cast<double>(ranges.symmAve[e] - ranges.symmDev[e]),
                            static_cast<double>(ranges.symmAve[e] + ranges.symmDev[e]));
    }
    EXPECT_EQ(directText, "  * Renormalize symmetry functions.\n\n" + fullBar + table + "\n");
    EXPECT_EQ(inCoreText, "  * Renormalize symmetry functions.\n\n" + table + "\n");
    EXPECT_EQ(inCore->getSymmStatistics().symmAve, ranges.symmAve);
    EXPECT_EQ(inCore->getSymmStatistics().symmDev, ranges.symmDev);
}

TEST(NNArch, CopiesTheRangesOfAnotherArrangement) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> train = fixture.makeTrainingArch();
    const std::unique_ptr<NNArch> test = fixture.makeArch(NNArch::onlyEnergy, false);
    const ArchFixture otherFixture(1, someSizes);
    const std::unique_ptr<NNArch> other = otherFixture.makeArch();

    test->copySymmStatistics(train.get());

    EXPECT_EQ(test->getSymmStatistics().symmAve, train->getSymmStatistics().symmAve);
    EXPECT_EQ(test->getSymmStatistics().symmDev, train->getSymmStatistics().symmDev);
    EXPECT_EQ(stopMessageOf([&] { test->copySymmStatistics(nullptr); }), "arch is null.");
    EXPECT_EQ(stopMessageOf([&] { test->copySymmStatistics(other.get()); }), "incorrect #elements of arch.");
}

// A network that has learnt with one range keeps its function with another.
TEST(NNArch, RestartKeepsTheEnergies) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    arch->getSymmStatistics() = {{2.0f, 3.5f}, {5.0f, 4.0f}};
    const test::EvaluatedGeometry before = test::evaluate(*arch, *fixture.set.geometries.front());
    const float weight = arch->getEnergyEnsembles()[1].getInterLayers().front().weightOf(2)[5];

    outputOf([&] { arch->statisticsSymmFuncs(&fixture.set); });

    const test::EvaluatedGeometry after = test::evaluate(*arch, *fixture.set.geometries.front());
    EXPECT_NE(arch->getSymmStatistics().symmDev.front(), 5.0f);
    EXPECT_NE(arch->getEnergyEnsembles()[1].getInterLayers().front().weightOf(2)[5], weight);
    EXPECT_LE(worstError(after.energies, before.energies), 1.0e-5);
    EXPECT_LE(worstError(after.forces, before.forces), 1.0e-5);
}

TEST(NNArch, AFreshNetworkIsNotRescaled) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    const std::vector<float> before =
        copyOf(arch->getEnergyEnsembles()[1].getInterLayers().front().weightOf(2));

    outputOf([&] { arch->statisticsSymmFuncs(&fixture.set); });

    EXPECT_EQ(copyOf(arch->getEnergyEnsembles()[1].getInterLayers().front().weightOf(2)), before);
}

TEST(NNArch, WritesDistributions) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    arch->setGeometriesAll(&fixture.set);
    arch->calculateSymmFuncs(false, true, true);
    outputOf([&] { arch->statisticsSymmFuncs(&fixture.set); });
    const test::TemporaryDirectory directory;
    const std::string fileName = directory.file("dist");

    EXPECT_EQ(outputOf([&] { arch->writeSymmDistributions(fileName, &fixture.set); }),
              "  * Write distributions of symmetry functions.\n\n");

    EXPECT_GT(test::readTextFile(fileName).size(), 1000U);
}

} // namespace
} // namespace melta
