#include "baseline/BaselineRemover.hpp"

#include "baseline/classical/ClassicalPot.hpp"
#include "baseline/classical/ClassicalTwin.hpp"
#include "baseline/reax/ReaxFieldText.hpp"
#include "baseline/reax/ReaxPot.hpp"
#include "baseline/zbl/ZblPot.hpp"
#include "config/Property.hpp"
#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numeric>
#include <span>

namespace melta {
namespace {

using test::outputOf;
using test::stopMessageOf;
using test::ThreadCount;
using test::writeTextFile;

constexpr float rc = 5.0f;
constexpr int numGeoms = 7;

class BaselineRemoverTest : public testing::Test {
protected:
    BaselineRemoverTest() {
        property.rcutRadius = rc;
        property.rcutAngle = rc;
        writeTextFile(name, "1\nAa 2\nAa Aa 1000 0 0 -40\n");
        writeTextFile(fieldName, test::makeReaxField().makeText());
    }

    // Carbon atoms under another label; the same for each call.
    std::unique_ptr<GeometrySet> makeSet() const {
        std::mt19937 random(9);
        auto set = std::make_unique<GeometrySet>();
        test::addElements(*set, 1);
        for (int g = 0; g < numGeoms; ++g) {
            auto geometry = test::randomCell(random, {6.0f, 6.5f, 7.0f}, 3 + g, 1, 1.5f, rc);
            std::ranges::fill(geometry->atomNumbers, 6);
            test::addGeometry(*set, std::move(geometry));
        }
        return set;
    }

    // Takes the potential out of one geometry after the other.
    static void removeFrom(GeometrySet& set, BaselinePotential& pot) {
        for (const auto& geometry : set.geometries) {
            pot.removeFromGeometry(geometry.get());
        }
    }

    std::string apply(const GeometrySet& set, const std::string& file) {
        return apply(makeBaselineRemoval(file), set);
    }
    std::string applyToTrainingSet(const GeometrySet& set, const std::string& file) {
        return apply(makeTrainingRemoval(file), set);
    }
    std::string apply(const BaselineRemoval& removal, const GeometrySet& set) {
        std::vector<int> order(numGeoms);
        std::iota(order.rbegin(), order.rend(), 0);
        return outputOf([&] { removal(set, property, order); });
    }

    static void expectSame(const GeometrySet& found, const GeometrySet& expected) {
        for (std::size_t g = 0; g < numGeoms; ++g) {
            EXPECT_EQ(found.geometries[g]->energyTotal, expected.geometries[g]->energyTotal) << g;
            EXPECT_EQ(found.geometries[g]->energies, expected.geometries[g]->energies) << g;
            EXPECT_EQ(found.geometries[g]->forces, expected.geometries[g]->forces) << g;
        }
    }

    // Derivative of the energy by a component of the strain, by differences.
    static double slopeOfStrain(BaselinePotential& pot, const Geometry& geometry, std::size_t component) {
        constexpr std::array<std::array<std::size_t, 2>, 6> axes{
            {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}}};
        constexpr float step = 2.0e-3f;
        const auto [a, b] = axes[component];
        const auto energyAt = [&](float size) {
            const auto strain = [&, x = a, y = b](std::span<float> rows) {
                for (std::size_t i = 0; i < rows.size(); i += 3) {
                    const float kept = rows[i + x];
                    rows[i + x] += 0.5f * size * rows[i + y];
                    rows[i + y] += 0.5f * size * kept;
                }
            };
            Geometry strained(geometry.lattice, geometry.numAtoms, false);
            strained.elements = geometry.elements;
            strained.atomNumbers = geometry.atomNumbers;
            strained.positions = geometry.positions;
            strain(strained.lattice);
            strain(strained.positions);
            strained.haveSetAtoms(rc, false);
            return static_cast<double>(pot.obtainEnergy(&strained));
        };
        return (energyAt(step) - energyAt(-step)) / (2.0 * static_cast<double>(step));
    }

    test::TemporaryDirectory directory;
    std::string name = directory.file("melta.class");
    std::string fieldName = directory.file("ffield.reax");
    std::string radiiName = directory.file("melta.zbl");
    Property property;
};

TEST_F(BaselineRemoverTest, TakesTheLennardJonesLikePotentialOut) {
    const auto expected = makeSet();
    ClassicalPot pot(expected.get(), &property);
    (void)outputOf([&] { pot.restoreParameters(name); });
    removeFrom(*expected, pot);
    for (const int count : {1, 4}) {
        const ThreadCount threads(count);
        const auto set = makeSet();
        set->withClassical = true;

        const std::string text = apply(*set, name);

        EXPECT_EQ(text, "  * Restore the Lennard-Jones-like parameters from the file.\n\n"
                        "  * Remove energies and forces of the Lennard-Jones-like potential.\n\n");
        expectSame(*set, *expected);
        EXPECT_NE(set->geometries[3]->energyTotal, makeSet()->geometries[3]->energyTotal);
    }
}

TEST_F(BaselineRemoverTest, TakesReaxFFOut) {
    const auto expected = makeSet();
    ReaxPot pot(static_cast<double>(property.rcutReaxFF), static_cast<double>(property.rateReaxFF),
                fieldName);
    removeFrom(*expected, pot);
    for (const int count : {1, 4, 16}) {
        const ThreadCount threads(count);
        const auto set = makeSet();
        set->withReaxFF = true;

        const std::string text = apply(*set, fieldName);

        EXPECT_EQ(text, "  * Remove energies and forces of the ReaxFF potential.\n\n");
        expectSame(*set, *expected);
        EXPECT_NE(set->geometries[3]->energyTotal, makeSet()->geometries[3]->energyTotal);
    }
}

TEST_F(BaselineRemoverTest, TakesTheRepulsionOut) {
    const std::vector<ZblRadii> radii{{"C", "C", 1.0, 3.0}};
    writeZblFile(radiiName, radii);
    const auto expected = makeSet();
    ZblPot pot(ZblTable(std::vector<std::string>{"C"}, radii, static_cast<double>(rc), radiiName));
    removeFrom(*expected, pot);
    for (const int count : {1, 4}) {
        const ThreadCount threads(count);
        const auto set = makeSet();
        set->elemNames = {"C"};
        set->withBaseline = true;

        const std::string text = apply(*set, radiiName);

        EXPECT_EQ(text, "  * Remove energies and forces of the ZBL repulsion.\n\n");
        expectSame(*set, *expected);
        EXPECT_NE(set->geometries[3]->energyTotal, makeSet()->geometries[3]->energyTotal);
    }
}

// The repulsion ends where the data begin.
TEST_F(BaselineRemoverTest, TrainingSetsMakeTheRadiiOfTheRepulsion) {
    const auto set = makeSet();
    set->elemNames = {"C"};
    set->elemAtomNumbers = {6};
    set->withBaseline = true;

    const std::string text = applyToTrainingSet(*set, radiiName);

    const std::string file = test::readTextFile(radiiName);
    EXPECT_EQ(file.find("1\nC C 1."), 0U) << file;
    EXPECT_EQ(text.find("  * Find the radii of the ZBL repulsion: inner, outer / Angstrom\n"
                        "        C      - C      :  1."),
              0U)
        << text;
    expectSame(*set, *makeSet());

    EXPECT_EQ(applyToTrainingSet(*set, radiiName),
              "  * Remove energies and forces of the ZBL repulsion.\n\n");
    EXPECT_EQ(test::readTextFile(radiiName), file);
}

TEST_F(BaselineRemoverTest, TrainingSetsOfOtherPotentialsMakeNothing) {
    const auto set = makeSet();
    set->withClassical = true;

    EXPECT_EQ(applyToTrainingSet(*set, name), apply(*set, name));
    EXPECT_EQ(applyToTrainingSet(*makeSet(), "nowhere"), "");
}

// The stress that goes is the derivative of the energy that goes.
TEST_F(BaselineRemoverTest, TakesTheStressOut) {
    struct Case {
        bool GeometrySet::*mark;
        int Property::*key;
        const std::string& file;
        const char* label;
    };
    for (const Case& given : {Case{&GeometrySet::withClassical, &Property::withClassical, name, "Aa"},
                              Case{&GeometrySet::withReaxFF, &Property::withReaxFF, fieldName, "C"}}) {
        const auto set = makeSet();
        set->elemNames = {given.label};
        set.get()->*given.mark = true;
        property.*given.key = 1;
        std::unique_ptr<BaselinePotential> pot;
        (void)outputOf([&] { pot = makeBaseline(set.get(), &property, given.file); });
        property.*given.key = 0;
        set->getGeometry(2).stressVolume = {1, 2, 3, 4, 5, 6};

        apply(*set, given.file);

        ASSERT_TRUE(set->getGeometry(2).stressVolume);
        EXPECT_FALSE(set->getGeometry(1).stressVolume);
        const std::array<float, 6> left = *set->getGeometry(2).stressVolume;
        for (std::size_t v = 0; v < left.size(); ++v) {
            const double share = static_cast<double>(v + 1) - static_cast<double>(left[v]);
            const double expected = slopeOfStrain(*pot, set->getGeometry(2), v);
            EXPECT_NEAR(share, expected, 1.0e-3 + 2.0e-3 * std::abs(expected)) << v;
            EXPECT_GT(std::abs(expected), 0.02) << v;
        }
    }
}

TEST_F(BaselineRemoverTest, LeavesOtherSetsAlone) {
    const auto set = makeSet();

    EXPECT_EQ(apply(*set, "nowhere"), "");

    expectSame(*set, *makeSet());
}

TEST_F(BaselineRemoverTest, NeedsTheFileOfThePotential) {
    const auto set = makeSet();
    set->withClassical = true;
    EXPECT_EQ(stopMessageOf([&] { apply(*set, "nowhere"); }), "cannot open file: nowhere");
    set->withClassical = false;
    set->withReaxFF = true;
    EXPECT_NE(stopMessageOf([&] { apply(*set, "nowhere"); }), "(no stop)");
    set->withReaxFF = false;
    set->withBaseline = true;
    EXPECT_EQ(stopMessageOf([&] { apply(*set, "nowhere"); }), "cannot open file: nowhere");
}

TEST_F(BaselineRemoverTest, MakesThePotentialOfTheSettings) {
    const auto set = makeSet();
    EXPECT_EQ(makeBaseline(set.get(), &property, "nowhere"), nullptr);

    property.withClassical = 1;
    std::unique_ptr<BaselinePotential> pot;
    (void)outputOf([&] { pot = makeBaseline(set.get(), &property, name); });
    EXPECT_NE(dynamic_cast<ClassicalPot*>(pot.get()), nullptr);

    property.withClassical = 0;
    property.withReaxFF = 1;
    pot = makeBaseline(set.get(), &property, fieldName);
    EXPECT_NE(dynamic_cast<ReaxPot*>(pot.get()), nullptr);

    property.withReaxFF = 0;
    property.kindSettings["withZBL"] = 1.0;
    writeTextFile(radiiName, "0\n");
    pot = makeBaseline(set.get(), &property, radiiName);
    EXPECT_NE(dynamic_cast<ZblPot*>(pot.get()), nullptr);
}

} // namespace
} // namespace melta
