#include "testing/NNForceTester.hpp"

#include "base/MyTimer.hpp"
#include "base/Reporting.hpp"
#include "network/GradientDifference.hpp"
#include "potential/ModelRestorer.hpp"
#include "testing/LackingElements.hpp"

#include <array>
#include <numeric>
#include <span>

namespace melta {
namespace {

float sumOf(std::span<const float> energies) {
    const float* const values = energies.data();
    const auto count = static_cast<int>(energies.size());
    float sum = 0.0f;
#pragma omp parallel for schedule(static) reduction(+ : sum)
    for (int i = 0; i < count; ++i) {
        sum += values[i];
    }
    return sum;
}

struct Strain {
    const char* name;
    std::size_t a; // axes
    std::size_t b;
};
constexpr std::array<Strain, 6> strains{
    {{"XX", 0, 0}, {"YY", 1, 1}, {"ZZ", 2, 2}, {"YZ", 1, 2}, {"XZ", 0, 2}, {"XY", 0, 1}}};

// Strains cell vectors or positions, half of it in each direction.
void strainRows(std::span<float> rows, const Strain& strain, float size) {
    for (std::size_t i = 0; i < rows.size(); i += 3) {
        const float a = rows[i + strain.a];
        rows[i + strain.a] += 0.5f * size * rows[i + strain.b];
        rows[i + strain.b] += 0.5f * size * a;
    }
}

// eV, in double precision: for a derivative the last digits count.
double energyOf(GeometryPredictor& networks, const Geometry& geometry) {
    const std::vector<float>& energies = networks.predict(geometry, Wish::energy).energies;
    return std::accumulate(energies.begin(), energies.end(), 0.0);
}

} // namespace

NNForceTester::NNForceTester(const Property* settings, const GeometrySet* set)
    : property(settings), geometrySet(set) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

void NNForceTester::performTesting(const std::string& networkFile, float positionShift) const {
    if (positionShift == 0.0f) {
        stopWithMessage("atomic position shift is zero.");
    }
    printOut("  * Atomic position shift is %10.3e Angstrom.\n\n", static_cast<double>(positionShift));
    MyTimer timer;
    timer.start();
    constexpr bool withCharges = false;
    const auto model = restoreModel(*property, *geometrySet, networkFile, withCharges);
    printOut("  Force Testing:\n\n");
    flushOut();
    Geometry& geometry = geometrySet->getGeometry(0);
    tellLackingElements(*model, *geometrySet);
    GeometryPredictor networks(*model);
    testGeometry(networks, geometry, positionShift);
    if (geometry.stressVolume) {
        testStress(networks, geometry, positionShift);
    }
    timer.stop();
    printOut("\n  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

void NNForceTester::testGeometry(GeometryPredictor& networks, Geometry& geometry, float positionShift) const {
    const Prediction start = networks.predict(geometry, Wish::energy | Wish::forces);
    const float energy0 = sumOf(start.energies);
    printOut("                        F(DFT)        F(NNP)        F(Num)        Error\n");
    std::vector<float> forcesNum(start.forces.size());
    for (std::size_t i = 0; i < forcesNum.size(); ++i) {
        const float kept = geometry.positions[i];
        geometry.positions[i] += positionShift;
        const float energy = sumOf(networks.predict(geometry, Wish::energy).energies);
        geometry.positions[i] = kept;
        forcesNum[i] = -(energy - energy0) / positionShift;
        if (i % 3 == 2) {
            printAtom(geometry, i / 3, start.forces, forcesNum);
        }
    }
}

// For each atom, as the errors of stress are told elsewhere.
void NNForceTester::testStress(GeometryPredictor& networks, Geometry& geometry, float size) {
    const std::vector<float> analytic = networks.predict(geometry, Wish::energy | Wish::virial).stress;
    const double energy0 = energyOf(networks, geometry);
    const auto numAtoms = static_cast<float>(geometry.numAtoms);
    const std::array<float, 9> lattice = geometry.lattice;
    const std::vector<float> positions = geometry.positions;
    printOut("\n                        S(DFT)        S(NNP)        S(Num)        Error\n");
    for (std::size_t i = 0; i < strains.size(); ++i) {
        strainRows(geometry.lattice, strains[i], size);
        strainRows(geometry.positions, strains[i], size);
        const double energy = energyOf(networks, geometry);
        geometry.lattice = lattice;
        geometry.positions = positions;
        const auto numerical = static_cast<float>((energy - energy0) / static_cast<double>(size));
        printOut(
            "                 (%s)  %s\n", strains[i].name,
            forceColumns((*geometry.stressVolume)[i] / numAtoms, analytic[i] / numAtoms, numerical / numAtoms)
                .c_str());
    }
    flushOut();
}

void NNForceTester::printAtom(const Geometry& geometry, std::size_t atom, const std::vector<float>& forcesNNP,
                              const std::vector<float>& forcesNum) const {
    const std::string& name = geometrySet->getElementName(geometry.elements[atom]);
    const auto columns = [&](std::size_t component) {
        const std::size_t i = 3 * atom + component;
        return forceColumns(geometry.forces[i], forcesNNP[i], forcesNum[i]);
    };
    printOut("  #.%5d  %-6s (X)  %s\n", static_cast<int>(atom) + 1, name.c_str(), columns(0).c_str());
    printOut("                  (Y)  %s\n", columns(1).c_str());
    printOut("                  (Z)  %s\n", columns(2).c_str());
    flushOut();
}

std::string forceColumns(float reference, float analytic, float numerical) {
    const GradientDifference difference(analytic, numerical);
    return formatText("%12.5e  %12.5e  %12.5e  %12.5e (%6.2f%%)", static_cast<double>(reference),
                      static_cast<double>(analytic), static_cast<double>(numerical),
                      static_cast<double>(difference.error), static_cast<double>(difference.percent));
}

} // namespace melta
