#include "baseline/classical/ClassicalPot.hpp"

#include "baseline/classical/ClassicalTwin.hpp"
#include "config/Property.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace melta {
namespace {

using test::ClassicalTwin;
using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

constexpr float rc = 4.5f;
const std::string restored = "  * Restore the Lennard-Jones-like parameters from the file.\n\n";
const std::string notRestored = "  * CANNOT restore the Lennard-Jones-like parameters from the file.\n\n";

class ClassicalPotTest : public testing::Test {
protected:
    ClassicalPotTest() {
        property.rcutRadius = rc;
        property.rcutAngle = 3.0f;
        test::addElements(set, 2);
        test::addGeometry(set, test::randomCell(random, {6.0f, 5.0f, 5.5f}, 7, 2, 1.8f, rc));
    }

    std::unique_ptr<ClassicalPot> makePot() {
        auto pot = std::make_unique<ClassicalPot>(&set, &property);
        pot->parameters = parameters;
        return pot;
    }

    Geometry& geometry() { return *set.geometries[0]; }

    struct Values {
        float total;
        std::vector<float> energies;
        std::vector<float> forces;
    };

    Values valuesOf(const Geometry& of) {
        Values values{0.0f, std::vector<float>(of.energies.size()), std::vector<float>(of.forces.size())};
        const auto pot = makePot();
        values.total = pot->obtainEnergiesAndForces(&of, values.energies, values.forces);
        EXPECT_LE(std::fabs(pot->obtainEnergy(&of) - values.total), 2.0e-6f * sizeOf(of));
        return values;
    }

    // Sum of the sizes of all terms, against which single precision counts.
    float sizeOf(const Geometry& of) {
        ClassicalParameters sizes = parameters;
        for (auto* const coefs : {&sizes.coefA, &sizes.coefB, &sizes.coefC, &sizes.coefD}) {
            std::ranges::transform(*coefs, coefs->begin(), [](float c) { return std::fabs(c); });
        }
        return static_cast<float>(ClassicalTwin(of, sizes, static_cast<double>(rc)).total);
    }

    // Two atoms along x in a cell so large that they are alone.
    std::unique_ptr<Geometry> dimer(float distance) {
        const std::vector<float> lattice{30, 0, 0, 0, 30, 0, 0, 0, 30};
        auto pair = std::make_unique<Geometry>(lattice, 2, true);
        pair->setAtom(0, 0, 1, 10, 10, 10, 0, 0, 0, 0, 0);
        pair->setAtom(1, 1, 2, 10 + distance, 10, 10, 0, 0, 0, 0, 0);
        // Lists that reach further than the potential.
        pair->haveSetAtoms(2.0f * rc, false);
        return pair;
    }

    std::mt19937 random{3};
    test::TemporaryDirectory directory;
    std::string name = directory.file("melta.class");
    Property property;
    GeometrySet set;
    ClassicalParameters parameters = test::randomParameters(random, 2);
};

TEST_F(ClassicalPotTest, AgreesWithItsTwin) {
    const ClassicalTwin twin(geometry(), parameters, static_cast<double>(rc));
    const auto tolerance = 2.0e-6 * static_cast<double>(sizeOf(geometry()));

    const Values values = valuesOf(geometry());

    EXPECT_LE(std::fabs(static_cast<double>(values.total) - twin.total), tolerance);
    for (std::size_t i = 0; i < twin.energies.size(); ++i) {
        EXPECT_LE(std::fabs(static_cast<double>(values.energies[i]) - twin.energies[i]), tolerance) << i;
    }
    for (std::size_t c = 0; c < twin.forces.size(); ++c) {
        EXPECT_LE(std::fabs(static_cast<double>(values.forces[c]) - twin.forces[c]), 12.0 * tolerance) << c;
    }
}

TEST_F(ClassicalPotTest, HasForcesThatAreTheSlopeOfTheEnergy) {
    const Values values = valuesOf(geometry());
    constexpr float step = 0.002f;
    for (std::size_t c = 0; c < geometry().positions.size(); ++c) {
        const float middle = geometry().positions[c];
        geometry().positions[c] = middle + step;
        const double above = ClassicalTwin(geometry(), parameters, static_cast<double>(rc)).total;
        geometry().positions[c] = middle - step;
        const double below = ClassicalTwin(geometry(), parameters, static_cast<double>(rc)).total;
        geometry().positions[c] = middle;

        const double slope = (below - above) / (2.0 * static_cast<double>(step));
        EXPECT_LE(std::fabs(static_cast<double>(values.forces[c]) - slope), 2.0e-3 * (1.0 + std::fabs(slope)))
            << c;
    }
}

TEST_F(ClassicalPotTest, PushesNothingAsAWhole) {
    const Values values = valuesOf(geometry());

    for (std::size_t c = 0; c < 3; ++c) {
        float sum = 0.0f;
        for (std::size_t i = c; i < values.forces.size(); i += 3) {
            sum += values.forces[i];
        }
        EXPECT_LE(std::fabs(sum), 1.0e-5f * sizeOf(geometry()));
    }
    EXPECT_LE(std::fabs(std::accumulate(values.energies.begin(), values.energies.end(), 0.0f) - values.total),
              1.0e-6f * sizeOf(geometry()));
}

TEST_F(ClassicalPotTest, DoesNotDependOnTheOrigin) {
    const Values before = valuesOf(geometry());
    for (std::size_t c = 0; c < geometry().positions.size(); ++c) {
        geometry().positions[c] += 1.7f + static_cast<float>(c % 3);
    }
    geometry().updateAtoms(rc);

    const Values after = valuesOf(geometry());

    EXPECT_LE(std::fabs(after.total - before.total), 1.0e-5f * sizeOf(geometry()));
    for (std::size_t c = 0; c < before.forces.size(); ++c) {
        EXPECT_LE(std::fabs(after.forces[c] - before.forces[c]), 1.0e-4f * sizeOf(geometry())) << c;
    }
}

TEST_F(ClassicalPotTest, TurnsWithTheAtoms) {
    // The axes change places: x takes the place of y and so on, without rounding.
    const Values before = valuesOf(geometry());
    const Geometry& old = geometry();
    std::vector<float> lattice(9);
    for (std::size_t k = 0; k < 3; ++k) {
        lattice[3 * k + k] = old.lattice[3 * ((k + 2) % 3) + (k + 2) % 3];
    }
    Geometry turned(lattice, old.numAtoms, false);
    for (int i = 0; i < old.numAtoms; ++i) {
        const float* const p = old.positions.data() + 3 * static_cast<std::size_t>(i);
        turned.setAtom(i, old.elements[static_cast<std::size_t>(i)], 1, p[2], p[0], p[1], 0, 0, 0, 0, 0);
    }
    turned.haveSetAtoms(rc, false);

    const Values after = valuesOf(turned);

    EXPECT_LE(std::fabs(after.total - before.total), 2.0e-6f * sizeOf(old));
    for (std::size_t c = 0; c < before.forces.size(); ++c) {
        const std::size_t place = c / 3 * 3 + (c + 1) % 3;
        EXPECT_LE(std::fabs(after.forces[place] - before.forces[c]), 2.0e-5f * sizeOf(old)) << c;
    }
}

TEST_F(ClassicalPotTest, EndsAtTheCutoff) {
    const Values at = valuesOf(*dimer(rc));
    EXPECT_EQ(at.total, 0.0f);
    EXPECT_EQ(at.forces, std::vector<float>(6));

    const Values below = valuesOf(*dimer(rc - 0.01f));
    EXPECT_NE(below.total, 0.0f);
    EXPECT_LE(std::fabs(below.total), 1.0e-5f);
    EXPECT_LE(std::fabs(below.forces[0]), 1.0e-3f);
    EXPECT_EQ(valuesOf(*dimer(rc + 0.5f)).total, 0.0f);
}

TEST_F(ClassicalPotTest, PushesAlongTheLineBetweenTheAtoms) {
    parameters.reset(1000.0f);

    const Values values = valuesOf(*dimer(2.0f));

    EXPECT_LT(values.forces[0], 0.0f);
    EXPECT_EQ(values.forces[3], -values.forces[0]);
    EXPECT_EQ(values.forces[1], 0.0f);
    EXPECT_EQ(values.energies[0], values.energies[1]);
}

TEST_F(ClassicalPotTest, TakesTheCutoffOfTheSymmetryFunctions) {
    const auto cutoffOf = [this] { return ClassicalPot(&set, &property).getCutoff().rc; };
    EXPECT_EQ(cutoffOf(), rc);
    property.numRadius = 0;
    EXPECT_EQ(cutoffOf(), 3.0f);
    property.numAngle = 0;
    EXPECT_EQ(cutoffOf(), 0.0f);
    EXPECT_EQ(valuesOf(geometry()).total, 0.0f);
    EXPECT_EQ(valuesOf(geometry()).forces, std::vector<float>(geometry().forces.size()));
    property.symmFuncKind = ManyBodyKind::code;
    EXPECT_EQ(cutoffOf(), property.router);
}

TEST_F(ClassicalPotTest, IsTakenOutAndPutBack) {
    const std::vector<float> forces = geometry().forces;
    const std::vector<double> energies = geometry().energies;
    const double total = geometry().energyTotal;
    const Values values = valuesOf(geometry());
    const float tolerance = 2.0e-6f * sizeOf(geometry());

    makePot()->removeFromGeometry(&geometry());

    double taken = 0.0;
    for (std::size_t i = 0; i < energies.size(); ++i) {
        taken += static_cast<double>(values.energies[i]);
        EXPECT_EQ(geometry().energies[i], energies[i] - static_cast<double>(values.energies[i]));
    }
    EXPECT_LE(std::fabs(geometry().energyTotal + taken - total), 1.0e-12 * std::fabs(taken));
    for (std::size_t c = 0; c < forces.size(); ++c) {
        EXPECT_LE(std::fabs(geometry().forces[c] + values.forces[c] - forces[c]), tolerance);
        EXPECT_NE(geometry().forces[c], forces[c]);
    }
}

TEST_F(ClassicalPotTest, HasNothingForNoGeometry) {
    const auto pot = makePot();
    std::vector<float> energies{7.0f};
    std::vector<float> forces{8.0f};

    pot->removeFromGeometry(nullptr);

    EXPECT_EQ(pot->obtainEnergy(nullptr), 0.0f);
    EXPECT_EQ(pot->obtainEnergiesAndForces(nullptr, energies, forces), 0.0f);
    EXPECT_EQ(energies[0], 7.0f);
}

TEST_F(ClassicalPotTest, LeavesTheEnergiesOfElementsOut) {
    const float before = valuesOf(geometry()).total;
    parameters.elemEnergy = {100.0f, 200.0f};

    EXPECT_EQ(valuesOf(geometry()).total, before);
}

TEST_F(ClassicalPotTest, NeedsElementsAndSettings) {
    EXPECT_EQ(stopMessageOf([&] { ClassicalPot(nullptr, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { ClassicalPot(&set, nullptr); }), "property is null.");
}

TEST_F(ClassicalPotTest, IsReadAsAWhole) {
    writeTextFile(name, "2\nAa 1\nBb 2\nAa Aa 3 4 5 6\n");
    const auto pot = makePot();

    const std::string text = outputOf([&] { pot->restoreParameters(name); });

    EXPECT_EQ(text, restored);
    EXPECT_EQ(pot->parameters.coefA, (std::vector<float>{3, 0, 0}));
    EXPECT_EQ(pot->parameters.coefD, (std::vector<float>{6, 0, 0}));
    EXPECT_EQ(pot->parameters.elemEnergy, (std::vector<float>{1, 2}));
}

TEST_F(ClassicalPotTest, HasNoInteractionWhereTheFileHasNone) {
    writeTextFile(name, "1\nXx 1\nXx Xx 3 4 5 6\n");
    const auto pot = makePot();

    (void)outputOf([&] { pot->restoreParameters(name); });

    EXPECT_EQ(pot->obtainEnergy(&geometry()), 0.0f);
}

TEST_F(ClassicalPotTest, NeedsItsFile) {
    const auto pot = makePot();
    std::string message;

    const std::string text =
        outputOf([&] { message = stopMessageOf([&] { pot->restoreParameters(name); }); });

    EXPECT_EQ(message, "cannot open file: " + name);
    EXPECT_EQ(text, "");
}

TEST_F(ClassicalPotTest, CanDoWithoutItsFileInARestart) {
    const auto pot = makePot();

    EXPECT_EQ(outputOf([&] { pot->restoreParametersIfPresent(name); }), notRestored);
    EXPECT_EQ(pot->parameters.coefB, parameters.coefB);

    writeTextFile(name, "1\nBb 2\nBb Bb 3 4 5 6\n");
    EXPECT_EQ(outputOf([&] { pot->restoreParametersIfPresent(name); }), restored);
    EXPECT_EQ(pot->parameters.coefB, (std::vector<float>{parameters.coefB[0], parameters.coefB[1], 4.0f}));
}

TEST_F(ClassicalPotTest, IsStoredWhereItWasReadFrom) {
    writeTextFile(name, "1\nBb 2\nBb Bb 3 4 5 6\n");
    ClassicalPot pot(&set, &property);
    (void)outputOf([&] { pot.restoreParameters(name); });

    EXPECT_EQ(outputOf([&] { pot.storeParameters(); }),
              "  * Store the Lennard-Jones-like parameters to the file.\n\n");
    EXPECT_EQ(outputOf([&] { pot.printCsv(); }), "  * Print the classical potential to the csv-file.\n\n");

    EXPECT_EQ(readTextFile(name).substr(0, 37), "2\nAa 0.00000000e+00\nBb 2.00000000e+00");
    EXPECT_EQ(readTextFile(name + ".csv").substr(0, 32), "R/Angstrom, Aa-Aa, Aa-Bb, Bb-Bb\n");
}

} // namespace
} // namespace melta
