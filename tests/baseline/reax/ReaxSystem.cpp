#include "baseline/reax/ReaxSystem.hpp"

#include <cmath>
#include <numeric>
#include <random>

namespace melta::test {

std::unique_ptr<ReaxParam> makeReaxParam(const ReaxFieldText& field, double rcut) {
    const TemporaryDirectory directory;
    const std::string fileName = directory.file("ffield.reax");
    writeTextFile(fileName, field.makeText());
    return std::make_unique<ReaxParam>(rcut, fileName);
}

std::unique_ptr<Geometry> makeReaxGeometry(std::span<const ReaxSite> sites,
                                           const std::array<float, 9>& lattice) {
    auto geometry = std::make_unique<Geometry>(lattice, static_cast<int>(sites.size()), true);
    int i = 0;
    for (const ReaxSite& site : sites) {
        geometry->setAtom(i++, 0, site.atomicNumber, site.x, site.y, site.z, 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    return geometry;
}

std::array<float, 9> makeCubicCell(float edge) {
    return {edge, 0.0f, 0.0f, 0.0f, edge, 0.0f, 0.0f, 0.0f, edge};
}

std::array<float, 9> makeSkewCell() {
    return {6.2f, 0.0f, 0.0f, 1.1f, 5.9f, 0.0f, -0.7f, 0.6f, 6.4f};
}

std::vector<ReaxSite> makeCrowd(unsigned seed, int numAtoms, float smallestDistance) {
    constexpr std::array<int, 4> atomicNumbers{6, 1, 8, 26};
    const std::array<float, 9> lattice = makeSkewCell();
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> fraction(0.02f, 0.98f);
    std::vector<ReaxSite> sites;
    while (static_cast<int>(sites.size()) < numAtoms) {
        const std::array<float, 3> f{fraction(random), fraction(random), fraction(random)};
        const ReaxSite site{atomicNumbers[sites.size() % 4],
                            f[0] * lattice[0] + f[1] * lattice[3] + f[2] * lattice[6],
                            f[0] * lattice[1] + f[1] * lattice[4] + f[2] * lattice[7],
                            f[0] * lattice[2] + f[1] * lattice[5] + f[2] * lattice[8]};
        bool isFree = true;
        for (const ReaxSite& other : sites) {
            isFree = isFree &&
                     std::hypot(site.x - other.x, site.y - other.y, site.z - other.z) >= smallestDistance;
        }
        if (isFree) {
            sites.push_back(site);
        }
    }
    return sites;
}

ReaxSystem::ReaxSystem(const ReaxParam& forceField, std::span<const ReaxSite> sites,
                       const std::array<float, 9>& lattice)
    : evaluation(forceField), param(&forceField), geometry(makeReaxGeometry(sites, lattice)) {
    geometry->haveSetAtoms(static_cast<float>(evaluation.listCutoff()), false);
    positions.assign(geometry->positions.begin(), geometry->positions.end());
    for (const ReaxSite& site : sites) {
        types.push_back(forceField.typeOf(site.atomicNumber));
    }
}

double ReaxSystem::obtainEnergy(std::span<const double> places) {
    evaluation.run(geometry->allNeighbors(), geometry->lattice, types, places, false);
    return std::accumulate(evaluation.energies().begin(), evaluation.energies().end(), 0.0);
}

std::vector<double> ReaxSystem::obtainForces(std::span<const double> places) {
    evaluation.run(geometry->allNeighbors(), geometry->lattice, types, places, true);
    return {evaluation.forces().begin(), evaluation.forces().end()};
}

double ReaxSystem::differentiate(std::size_t coordinate, double step) {
    std::vector<double> moved = positions;
    moved[coordinate] = positions[coordinate] + step;
    const double above = obtainEnergy(moved);
    moved[coordinate] = positions[coordinate] - step;
    return (obtainEnergy(moved) - above) / (2.0 * step);
}

std::vector<double> ReaxSystem::findDeltaE() {
    obtainEnergy(positions);
    const std::span<const double> totals = evaluation.bondOrders().totalOrders();
    std::vector<double> deltaE(totals.begin(), totals.end());
    for (std::size_t i = 0; i < deltaE.size(); ++i) {
        deltaE[i] -= param->valencyE[static_cast<std::size_t>(types[i])];
    }
    return deltaE;
}

} // namespace melta::test
