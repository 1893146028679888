#include "baseline/classical/ClassicalTwin.hpp"

#include <algorithm>
#include <cmath>

namespace melta::test {
namespace {

constexpr std::array<double, numPowers> powers{12.0, 10.0, 8.0, 6.0};

double length(const std::array<double, 3>& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// Position of i minus that of an image of j.
std::array<double, 3> difference(const Geometry& geometry, std::size_t i, std::size_t j,
                                 const std::array<int, 3>& image) {
    std::array<double, 3> result{};
    for (std::size_t c = 0; c < 3; ++c) {
        result[c] = static_cast<double>(geometry.positions[3 * i + c]) -
                    static_cast<double>(geometry.positions[3 * j + c]);
        for (std::size_t k = 0; k < 3; ++k) {
            result[c] -= image[k] * static_cast<double>(geometry.lattice[3 * k + c]);
        }
    }
    return result;
}

// All images of the cell that can hold an atom within a distance of one in the cell. The cell is a box.
template <class Work>
void forEachImage(const Geometry& geometry, double distance, const Work& work) {
    const float side = std::min({geometry.lattice[0], geometry.lattice[4], geometry.lattice[8]});
    const int reach = static_cast<int>(distance / static_cast<double>(side)) + 1;
    for (int a = -reach; a <= reach; ++a) {
        for (int b = -reach; b <= reach; ++b) {
            for (int c = -reach; c <= reach; ++c) {
                work(std::array<int, 3>{a, b, c});
            }
        }
    }
}

double nearestDistance(const Geometry& geometry, std::size_t i) {
    double nearest = 1.0e10;
    forEachImage(geometry, 0.0, [&](const std::array<int, 3>& image) {
        for (std::size_t j = 0; j < i; ++j) {
            nearest = std::min(nearest, length(difference(geometry, i, j, image)));
        }
    });
    return nearest;
}

} // namespace

double baseValue(double n, double r, double rc) {
    const double shift = std::pow(rc, -n);
    return std::pow(r, -n) - shift + n * shift / rc * (r - rc);
}

double baseForce(double n, double r, double rc) {
    return n * std::pow(r, -n - 1.0) - n * std::pow(rc, -n - 1.0);
}

ClassicalTwin::ClassicalTwin(const Geometry& geometry, const ClassicalParameters& parameters, double rc)
    : energies(geometry.elements.size()), forces(3 * geometry.elements.size()) {
    const auto addPair = [&](std::size_t i, std::size_t j, const std::array<double, 3>& d) {
        const double r = length(d);
        if (r < 0.1 || !(r < rc)) {
            return;
        }
        const auto coefs = parameters.coefsOf(pairIndexOf(static_cast<std::size_t>(geometry.elements[i]),
                                                          static_cast<std::size_t>(geometry.elements[j])));
        for (std::size_t k = 0; k < numPowers; ++k) {
            const auto coef = static_cast<double>(coefs[k]);
            energies[i] += 0.5 * coef * baseValue(powers[k], r, rc);
            for (std::size_t c = 0; c < 3; ++c) {
                forces[3 * i + c] += coef * baseForce(powers[k], r, rc) * d[c] / r;
            }
        }
    };
    for (std::size_t i = 0; i < energies.size(); ++i) {
        forEachImage(geometry, rc, [&](const std::array<int, 3>& image) {
            for (std::size_t j = 0; j < energies.size(); ++j) {
                addPair(i, j, difference(geometry, i, j, image));
            }
        });
        total += energies[i];
    }
}

ClassicalLossTwin::ClassicalLossTwin(const GeometrySet& set, const ClassicalParameters& parameters,
                                     double rc) {
    double numForces = 0.0;
    for (const auto& geometry : set.geometries) {
        const ClassicalTwin twin(*geometry, parameters, rc);
        const auto numAtoms = static_cast<double>(twin.energies.size());
        double error = twin.total - static_cast<double>(static_cast<float>(geometry->energyTotal));
        for (const auto element : geometry->elements) {
            error += static_cast<double>(parameters.elemEnergy[static_cast<std::size_t>(element)]);
        }
        sumE += error * error / numAtoms / numAtoms / set.numGeoms;
        for (std::size_t c = 0; c < twin.forces.size(); ++c) {
            const double gap = twin.forces[c] - static_cast<double>(geometry->forces[c]);
            sumF += gap * gap;
        }
        numForces += 3.0 * numAtoms;
    }
    sumF /= numForces;
}

std::unique_ptr<Geometry> randomCell(std::mt19937& random, std::array<float, 3> sides, int numAtoms,
                                     int numElems, float nearest, float rc) {
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    std::normal_distribution<float> normal;
    const std::vector<float> lattice{sides[0], 0, 0, 0, sides[1], 0, 0, 0, sides[2]};
    auto geometry = std::make_unique<Geometry>(lattice, numAtoms, false);
    double total = 0.0;
    for (int i = 0; i < numAtoms; ++i) {
        const auto energy = static_cast<double>(normal(random));
        total += energy;
        do {
            geometry->setAtom(i, i % numElems, 1 + i % numElems, sides[0] * uniform(random),
                              sides[1] * uniform(random), sides[2] * uniform(random), normal(random),
                              normal(random), normal(random), energy, 0.0f);
        } while (nearestDistance(*geometry, static_cast<std::size_t>(i)) < static_cast<double>(nearest));
    }
    geometry->energyTotal = total;
    geometry->haveSetAtoms(rc, false);
    return geometry;
}

void addElements(GeometrySet& set, int numElems) {
    set.numElems = numElems;
    for (int e = 0; e < numElems; ++e) {
        const char upper = static_cast<char>('A' + e);
        const char lower = static_cast<char>('a' + e);
        set.elemNames.push_back({upper, lower});
    }
}

void addGeometry(GeometrySet& set, std::unique_ptr<Geometry> geometry) {
    set.geometries.push_back(std::move(geometry));
    ++set.numGeoms;
}

ClassicalParameters randomParameters(std::mt19937& random, std::size_t numElems) {
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    ClassicalParameters parameters(numElems);
    for (std::size_t p = 0; p < parameters.numPairs(); ++p) {
        parameters.coefA[p] = 3000.0f + 1000.0f * uniform(random);
        parameters.coefB[p] = 200.0f * uniform(random);
        parameters.coefC[p] = 100.0f * uniform(random);
        parameters.coefD[p] = -50.0f + 20.0f * uniform(random);
    }
    for (float& energy : parameters.elemEnergy) {
        energy = uniform(random);
    }
    return parameters;
}

void setReference(GeometrySet& set, const ClassicalParameters& parameters, double rc) {
    for (const auto& geometry : set.geometries) {
        const ClassicalTwin twin(*geometry, parameters, rc);
        geometry->energyTotal = twin.total;
        for (std::size_t i = 0; i < twin.energies.size(); ++i) {
            geometry->energyTotal +=
                static_cast<double>(parameters.elemEnergy[static_cast<std::size_t>(geometry->elements[i])]);
            for (std::size_t c = 3 * i; c < 3 * i + 3; ++c) {
                geometry->forces[c] = static_cast<float>(twin.forces[c]);
            }
        }
    }
}

} // namespace melta::test
