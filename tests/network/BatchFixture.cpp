#include "network/BatchFixture.hpp"

#include "base/RandomSource.hpp"
#include "network/EnsembleFixture.hpp"
#include "network/Numbers.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace melta::test {
namespace {

// Room enough for atoms that keep their distance.
std::array<float, 9> latticeFor(int numAtoms) {
    std::array<float, 9> lattice{8.1f, 0.3f, -0.2f, 2.9f, 7.4f, 0.1f, -1.7f, 1.3f, 8.2f};
    const float scale = std::max(1.0f, std::cbrt(static_cast<float>(numAtoms) / 8.0f));
    for (float& component : lattice) {
        component *= scale;
    }
    return lattice;
}

std::array<float, 3> placeIn(const std::array<float, 9>& lattice, std::mt19937& random) {
    std::uniform_real_distribution<float> fraction(0.02f, 0.98f);
    const float a = fraction(random);
    const float b = fraction(random);
    const float c = fraction(random);
    std::array<float, 3> place{};
    for (std::size_t k = 0; k < 3; ++k) {
        place[k] = a * lattice[k] + b * lattice[3 + k] + c * lattice[6 + k];
    }
    return place;
}

// Nearest images are left to chance: cells are large.
bool isFree(std::span<const std::array<float, 3>> taken, const std::array<float, 3>& place) {
    for (const std::array<float, 3>& other : taken) {
        float square = 0.0f;
        for (std::size_t k = 0; k < 3; ++k) {
            square += (place[k] - other[k]) * (place[k] - other[k]);
        }
        if (square < 1.6f * 1.6f) {
            return false;
        }
    }
    return true;
}

} // namespace

Geometry makeGeometry(int numAtoms, int numElems, unsigned seed, float rcut) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    const std::array<float, 9> lattice = latticeFor(numAtoms);
    Geometry geometry(lattice, numAtoms, true);
    std::vector<std::array<float, 3>> places;
    while (places.size() < static_cast<std::size_t>(numAtoms)) {
        const std::array<float, 3> place = placeIn(lattice, random);
        if (isFree(places, place)) {
            places.push_back(place);
        }
    }
    for (int a = 0; a < numAtoms; ++a) {
        const int element = (a + static_cast<int>(seed)) % numElems;
        const auto& [x, y, z] = places[static_cast<std::size_t>(a)];
        const float fx = uniform(random);
        const float fy = uniform(random);
        const float fz = uniform(random);
        const auto energy = static_cast<double>(uniform(random));
        geometry.setAtom(a, element, element + 1, x, y, z, fx, fy, fz, energy, uniform(random));
        geometry.energyTotal += energy;
    }
    geometry.energyTotal += 0.25;
    geometry.haveSetAtoms(rcut, false);
    return geometry;
}

Geometry makeLoneAtom(int element, float edge, float rcut) {
    const std::array<float, 9> cube{edge, 0.0f, 0.0f, 0.0f, edge, 0.0f, 0.0f, 0.0f, edge};
    Geometry geometry(cube, 1, true);
    geometry.setAtom(0, element, element + 1, 0.4f, 0.3f, 0.2f, 0.5f, -0.25f, 0.125f, 0.75, 0.0f);
    geometry.energyTotal = 0.75;
    geometry.haveSetAtoms(rcut, false);
    return geometry;
}

BatchFixture::BatchFixture(const NNShape& shape, int numElems, std::span<const int> sizes, int numUsed) {
    sharedRandom().seed(815);
    for (int e = 0; e < numElems; ++e) {
        ensembles.emplace_back(shape, numBasis, true, false);
        ensembles.back().initWeight(0.8f + 0.3f * static_cast<float>(e), 0.1f);
        randomizeBiases(ensembles.back(), 400 + 50 * static_cast<unsigned>(e));
    }
    unsigned seed = 1;
    for (const int size : sizes) {
        add(makeGeometry(size, numUsed, seed++, 3.6f));
    }
}

void BatchFixture::add(Geometry geometry) {
    std::vector<std::size_t> numNeighbors;
    for (int a = 0; a < geometry.numAtoms; ++a) {
        numNeighbors.push_back(static_cast<std::size_t>(geometry.numNeighbors(a)));
    }
    auto row = std::make_unique<SymmRows>();
    row->resize(numBasis, numNeighbors, true);
    unsigned seed = 1000 * static_cast<unsigned>(rows.size());
    for (std::size_t a = 0; a < numNeighbors.size(); ++a) {
        std::ranges::copy(randomFloats(row->valuesOf(a).size(), ++seed), row->valuesOf(a).begin());
        std::ranges::copy(randomFloats(row->derivsOf(a).size(), ++seed, -0.3f, 0.3f),
                          row->derivsOf(a).begin());
    }
    geometries.push_back(std::make_unique<Geometry>(std::move(geometry)));
    pointers.push_back(geometries.back().get());
    rows.push_back(std::move(row));
    symm.push_back(rows.back().get());
}

BatchView BatchFixture::view() const {
    const auto hasStress = [](const Geometry* geometry) { return geometry->stressVolume.has_value(); };
    const auto stresses = static_cast<std::size_t>(std::ranges::count_if(pointers, hasStress));
    return {ensembles, pointers, symm, {pointers.size(), numAtoms(), stresses}};
}

std::size_t BatchFixture::numAtoms() const {
    std::size_t count = 0;
    for (const Geometry* const geometry : pointers) {
        count += static_cast<std::size_t>(geometry->numAtoms);
    }
    return count;
}

std::vector<float> BatchFixture::gradsOf(int element, int model) const {
    std::vector<float> grads;
    for (const NNLayer* const layer : ensembles[static_cast<std::size_t>(element)].getLayers()) {
        const auto weights = layer->weightGradOf(model);
        const auto biases = layer->biasGradOf(model);
        grads.insert(grads.end(), weights.begin(), weights.end());
        grads.insert(grads.end(), biases.begin(), biases.end());
    }
    return grads;
}

void BatchFixture::clearGrads() {
    for (NNEnsemble& ensemble : ensembles) {
        ensemble.initWeightGrad();
    }
}

} // namespace melta::test
