// The quantities whose errors a training can make small. Each is, for a geometry, a list of values that are
// linear in what the networks give, either in the outputs of its atoms or in the derivatives of their
// energies, with a reference in the data. That is all a loss term needs: losses, gradients, errors and mean
// values follow from it in one way for all of them.
#pragma once

#include "structure/Geometry.hpp"

#include <cstddef>
#include <span>

namespace melta {

// What the networks are to give for each atom.
enum class NetworkTarget { energy, charge };

// Size of a batch. Where several processes share one, of the whole.
struct BatchCounts {
    std::size_t geometries = 0;
    std::size_t atoms = 0;
    std::size_t stresses = 0; // geometries with a reference stress
};

// How a quantity is called.
struct QuantityNames {
    const char* symbol; // in the progress of a training
    const char* name;   // in the result of a test
    const char* unit;   // of its errors
};

// Objects have no state and are shared by threads.
class LossQuantity {
public:
    virtual ~LossQuantity() = default;
    LossQuantity(const LossQuantity&) = delete;
    LossQuantity& operator=(const LossQuantity&) = delete;
    LossQuantity(LossQuantity&&) = delete;
    LossQuantity& operator=(LossQuantity&&) = delete;

    [[nodiscard]] virtual QuantityNames getNames() const = 0;

    // The networks that it comes from.
    [[nodiscard]] virtual NetworkTarget getTarget() const { return NetworkTarget::energy; }

    // How many values a geometry has.
    [[nodiscard]] virtual std::size_t numValues(const Geometry& geometry) const = 0;

    // Reference of a value.
    [[nodiscard]] virtual float referenceOf(const Geometry& geometry, std::size_t value) const = 0;

    // Element whose scale weighs a value.
    [[nodiscard]] virtual std::size_t elementOf(const Geometry& geometry, std::size_t value) const = 0;

    // What an error is divided by before it is squared: the atoms of a total, else 1.
    [[nodiscard]] virtual float divisorOfError(const Geometry& /*geometry*/) const { return 1.0f; }

    // What the sum of the squares is divided by.
    [[nodiscard]] virtual std::size_t divisorOf(const BatchCounts& counts) const = 0;

protected:
    LossQuantity() = default;
};

// A quantity of the outputs, energies or charges, of the atoms of a geometry. Both operations work on as many
// models side by side as the sizes say.
class OutputQuantity : public LossQuantity {
public:
    // values [numValues][numModels] of outputs [numAtoms][numModels].
    virtual void collect(const Geometry& geometry, std::size_t numModels, std::span<const float> outputs,
                         std::span<float> values) const = 0;

    // The way back: gradient with respect to the outputs [numAtoms][numModels] from that with respect to the
    // values [numValues][numModels].
    virtual void spread(const Geometry& geometry, std::size_t numModels, std::span<const float> valueGrads,
                        std::span<float> outputGrads) const = 0;
};

// A quantity of the derivatives of the energies. An atom gives rows [3 (numNeighbors + 1)][lanes],
// eV/Angstrom: the derivatives of its energy with respect to the coordinates of the atom itself and of each
// entry of its neighbour list, in the order of SymmRows; models stand side by side in `lanes`
// (ForceKernels.hpp).
class DerivativeQuantity : public LossQuantity {
public:
    // Adds what one atom gives to values [numValues][lanes].
    virtual void collect(const Geometry& geometry, std::size_t atom, std::size_t lanes, const float* rows,
                         float* values) const = 0;

    // The way back: gradient with respect to the rows of one atom, which it replaces, from that with respect
    // to the values.
    virtual void spread(const Geometry& geometry, std::size_t atom, std::size_t lanes,
                        const float* valueGrads, float* rowGrads) const = 0;
};

// Total energy, eV; its errors are eV for each atom.
const OutputQuantity& totalEnergy();

// Atomic energies, eV.
const OutputQuantity& atomicEnergy();

// Atomic charges, e.
const OutputQuantity& atomicCharge();

// Force components [numAtoms][3], eV/Angstrom.
const DerivativeQuantity& atomicForce();

// Stress times volume, xx, yy, zz, yz, xz, xy, eV, of geometries that have a reference for it, else nothing:
// the derivative of the energy by the strain. Its errors are eV for each atom.
const DerivativeQuantity& cellStress();

} // namespace melta
