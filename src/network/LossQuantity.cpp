#include "network/LossQuantity.hpp"

#include "network/ForceKernels.hpp"

#include <algorithm>
#include <array>

namespace melta {
namespace {

std::size_t numAtomsOf(const Geometry& geometry) {
    return static_cast<std::size_t>(geometry.numAtoms);
}

class TotalEnergy final : public OutputQuantity {
public:
    QuantityNames getNames() const override { return {"E", "Etot", "eV/atom"}; }
    std::size_t numValues(const Geometry& /*geometry*/) const override { return 1; }

    float referenceOf(const Geometry& geometry, std::size_t /*value*/) const override {
        return static_cast<float>(geometry.energyTotal);
    }

    // A total has no element; its scales are all the same.
    std::size_t elementOf(const Geometry& /*geometry*/, std::size_t /*value*/) const override { return 0; }

    float divisorOfError(const Geometry& geometry) const override {
        return static_cast<float>(geometry.numAtoms);
    }

    std::size_t divisorOf(const BatchCounts& counts) const override { return counts.geometries; }

    void collect(const Geometry& geometry, std::size_t numModels, std::span<const float> outputs,
                 std::span<float> values) const override {
        std::ranges::fill(values, 0.0f);
        for (std::size_t a = 0; a < numAtomsOf(geometry); ++a) {
            for (std::size_t m = 0; m < numModels; ++m) {
                values[m] += outputs[a * numModels + m];
            }
        }
    }

    void spread(const Geometry& geometry, std::size_t numModels, std::span<const float> valueGrads,
                std::span<float> outputGrads) const override {
        for (std::size_t a = 0; a < numAtomsOf(geometry); ++a) {
            std::ranges::copy(valueGrads, outputGrads.subspan(a * numModels).begin());
        }
    }
};

// One value for each atom, which is the output itself.
class AtomicOutput : public OutputQuantity {
public:
    std::size_t numValues(const Geometry& geometry) const final { return numAtomsOf(geometry); }

    std::size_t elementOf(const Geometry& geometry, std::size_t value) const final {
        return static_cast<std::size_t>(geometry.elements[value]);
    }

    std::size_t divisorOf(const BatchCounts& counts) const final { return counts.atoms; }

    void collect(const Geometry& /*geometry*/, std::size_t /*numModels*/, std::span<const float> outputs,
                 std::span<float> values) const final {
        std::ranges::copy(outputs, values.begin());
    }

    void spread(const Geometry& /*geometry*/, std::size_t /*numModels*/, std::span<const float> valueGrads,
                std::span<float> outputGrads) const final {
        std::ranges::copy(valueGrads, outputGrads.begin());
    }
};

class AtomicEnergy final : public AtomicOutput {
public:
    QuantityNames getNames() const override { return {"E", "Eatom", "eV"}; }

    float referenceOf(const Geometry& geometry, std::size_t value) const override {
        return static_cast<float>(geometry.energies[value]);
    }
};

class AtomicCharge final : public AtomicOutput {
public:
    QuantityNames getNames() const override { return {"Q", "Charge", "e"}; }
    NetworkTarget getTarget() const override { return NetworkTarget::charge; }

    float referenceOf(const Geometry& geometry, std::size_t value) const override {
        return geometry.charges[value];
    }
};

class AtomicForce final : public DerivativeQuantity {
public:
    QuantityNames getNames() const override { return {"F", "Force", "eV/Angstrom"}; }
    std::size_t numValues(const Geometry& geometry) const override { return 3 * numAtomsOf(geometry); }

    float referenceOf(const Geometry& geometry, std::size_t value) const override {
        return geometry.forces[value];
    }

    std::size_t elementOf(const Geometry& geometry, std::size_t value) const override {
        return static_cast<std::size_t>(geometry.elements[value / 3]);
    }

    std::size_t divisorOf(const BatchCounts& counts) const override { return 3 * counts.atoms; }

    void collect(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* rows,
                 float* values) const override {
        const std::span<const Neighbor> neighbors = geometry.getNeighbors(static_cast<int>(atom));
        kernels::scatterForces(atom, neighbors.size(), atomsOf(neighbors), atomStride, lanes, rows, values);
    }

    void spread(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* valueGrads,
                float* rowGrads) const override {
        const std::span<const Neighbor> neighbors = geometry.getNeighbors(static_cast<int>(atom));
        kernels::gatherForces(atom, neighbors.size(), atomsOf(neighbors), atomStride, lanes, valueGrads,
                              rowGrads);
    }

private:
    static constexpr std::size_t atomStride = sizeof(Neighbor) / sizeof(std::int32_t);

    static const std::int32_t* atomsOf(std::span<const Neighbor> neighbors) {
        return neighbors.empty() ? nullptr : &neighbors.front().atom;
    }
};

// With d the way from an atom to a neighbour and g the derivative of the atom's energy by the place of the
// neighbour, each pair gives (d_a g_b + d_b g_a) / 2 to the component ab. The way to the atom itself is zero.
class CellStress final : public DerivativeQuantity {
public:
    QuantityNames getNames() const override { return {"S", "Stress", "eV/atom"}; }

    std::size_t numValues(const Geometry& geometry) const override {
        return geometry.stressVolume ? geometry.stressVolume->size() : 0;
    }

    float referenceOf(const Geometry& geometry, std::size_t value) const override {
        return (*geometry.stressVolume)[value];
    }

    // Like a total it has no element.
    std::size_t elementOf(const Geometry& /*geometry*/, std::size_t /*value*/) const override { return 0; }

    float divisorOfError(const Geometry& geometry) const override {
        return static_cast<float>(geometry.numAtoms);
    }

    std::size_t divisorOf(const BatchCounts& counts) const override { return 6 * counts.stresses; }

    void collect(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* rows,
                 float* values) const override {
        forEachPart(geometry, atom, [=](std::size_t first, std::size_t count, const float* ways) {
            kernels::addStress(count, ways, lanes, rows + 3 * (first + 1) * lanes, values);
        });
    }

    void spread(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* valueGrads,
                float* rowGrads) const override {
        const std::size_t numNeighbors = geometry.getNeighbors(static_cast<int>(atom)).size();
        std::fill_n(rowGrads, 3 * (geometry.stressVolume ? 1 : numNeighbors + 1) * lanes, 0.0f);
        forEachPart(geometry, atom, [=](std::size_t first, std::size_t count, const float* ways) {
            kernels::spreadStress(count, ways, lanes, valueGrads, rowGrads + 3 * (first + 1) * lanes);
        });
    }

private:
    // Calls work(first, count, ways) for some neighbours after the other, where the geometry has a stress.
    template <class Work>
    static void forEachPart(const Geometry& geometry, std::size_t atom, const Work& work) {
        if (!geometry.stressVolume) {
            return;
        }
        constexpr std::size_t most = 64;
        std::array<float, 3 * most> ways;
        const float* const place = geometry.positions.data() + 3 * atom;
        const std::span<const Neighbor> neighbors = geometry.getNeighbors(static_cast<int>(atom));
        for (std::size_t first = 0; first < neighbors.size(); first += most) {
            const std::size_t count = std::min(most, neighbors.size() - first);
            for (std::size_t n = 0; n < count; ++n) {
                const std::array<float, 3> image = geometry.computeNeighborPosition(neighbors[first + n]);
                for (std::size_t c = 0; c < 3; ++c) {
                    ways[3 * n + c] = image[c] - place[c];
                }
            }
            work(first, count, ways.data());
        }
    }
};

} // namespace

const OutputQuantity& totalEnergy() {
    static const TotalEnergy quantity;
    return quantity;
}

const OutputQuantity& atomicEnergy() {
    static const AtomicEnergy quantity;
    return quantity;
}

const OutputQuantity& atomicCharge() {
    static const AtomicCharge quantity;
    return quantity;
}

const DerivativeQuantity& atomicForce() {
    static const AtomicForce quantity;
    return quantity;
}

const DerivativeQuantity& cellStress() {
    static const CellStress quantity;
    return quantity;
}

} // namespace melta
