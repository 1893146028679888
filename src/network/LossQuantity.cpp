#include "network/LossQuantity.hpp"

#include "network/ForceKernels.hpp"

#include <algorithm>

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

} // namespace melta
