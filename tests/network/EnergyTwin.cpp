#include "network/EnergyTwin.hpp"

#include "network/Numbers.hpp"

#include <cmath>

namespace melta::test {
namespace {

// Derivative of the root of a loss by the loss; too small a loss drives nothing.
double slopeOfRoot(bool sqrtLoss, double squares) {
    if (!sqrtLoss) {
        return 1.0;
    }
    const double root = std::sqrt(squares);
    return root > 1.0e-6 ? 0.5 / root : 0.0;
}

} // namespace

EnergyTwin::EnergyTwin(const BatchView& view, int model) : batch(view) {
    for (const NNEnsemble& ensemble : batch.ensembles) {
        networks.emplace_back(ensemble, model);
    }
    batch.whole = {batch.geometries.size(), 0};
    for (const Geometry* const geometry : batch.geometries) {
        batch.whole.atoms += static_cast<std::size_t>(geometry->numAtoms);
    }
}

NetworkTwin& EnergyTwin::networkOf(std::size_t geometry, std::size_t atom) {
    return networks[static_cast<std::size_t>(batch.geometries[geometry]->elements[atom])];
}

std::vector<double> EnergyTwin::inputsOf(std::size_t geometry, std::size_t atom) const {
    return toDouble(batch.symm[geometry]->valuesOf(atom));
}

// The atoms that the triples of rows of an atom's derivatives belong to.
std::vector<std::size_t> EnergyTwin::atomsOfRows(std::size_t geometry, std::size_t atom) const {
    std::vector<std::size_t> atoms{atom};
    for (const Neighbor& neighbor : batch.geometries[geometry]->getNeighbors(static_cast<int>(atom))) {
        atoms.push_back(static_cast<std::size_t>(neighbor.atom));
    }
    return atoms;
}

std::vector<double> EnergyTwin::energiesOf(std::size_t geometry) {
    std::vector<double> energies;
    for (std::size_t a = 0; a < batch.geometries[geometry]->elements.size(); ++a) {
        energies.push_back(networkOf(geometry, a).energyOf(inputsOf(geometry, a)));
    }
    return energies;
}

std::vector<double> EnergyTwin::forcesOf(std::size_t geometry) {
    const std::size_t numAtoms = batch.geometries[geometry]->elements.size();
    std::vector<double> forces(3 * numAtoms, 0.0);
    for (std::size_t a = 0; a < numAtoms; ++a) {
        const std::vector<double> grads = networkOf(geometry, a).inputGradsOf(inputsOf(geometry, a));
        const std::span<const float> derivs = batch.symm[geometry]->derivsOf(a);
        const std::vector<std::size_t> atoms = atomsOfRows(geometry, a);
        for (std::size_t row = 0; row < 3 * atoms.size(); ++row) {
            for (std::size_t b = 0; b < grads.size(); ++b) {
                forces[3 * atoms[row / 3] + row % 3] -=
                    grads[b] * static_cast<double>(derivs[row * grads.size() + b]);
            }
        }
    }
    return forces;
}

double EnergyTwin::energyWeight(const LossTwin& loss, std::size_t geometry, std::size_t atom) const {
    const Geometry& atoms = *batch.geometries[geometry];
    if (loss.withHDNNP) {
        const double numAtoms = atoms.numAtoms;
        return loss.energyScale.front() / (numAtoms * numAtoms) /
               static_cast<double>(batch.geometries.size());
    }
    return loss.energyScale[static_cast<std::size_t>(atoms.elements[atom])] /
           static_cast<double>(batch.whole.atoms);
}

// Of each atom, or of the total energy for each atom.
std::vector<double> EnergyTwin::energyErrorsOf(const LossTwin& loss, std::size_t geometry) {
    std::vector<double> errors = energiesOf(geometry);
    double total = -batch.geometries[geometry]->energyTotal;
    for (std::size_t a = 0; a < errors.size(); ++a) {
        total += errors[a];
        errors[a] -= batch.geometries[geometry]->energies[a];
    }
    return loss.withHDNNP ? std::vector<double>(errors.size(), total) : errors;
}

double EnergyTwin::squaredEnergyErrors(const LossTwin& loss) {
    double sum = 0.0;
    for (std::size_t g = 0; g < batch.geometries.size(); ++g) {
        const std::vector<double> errors = energyErrorsOf(loss, g);
        const std::size_t count = loss.withHDNNP ? 1 : errors.size();
        for (std::size_t a = 0; a < count; ++a) {
            sum += energyWeight(loss, g, a) * errors[a] * errors[a];
        }
    }
    return sum;
}

double EnergyTwin::squaredForceErrors(const LossTwin& loss) {
    double sum = 0.0;
    for (std::size_t g = 0; g < batch.geometries.size(); ++g) {
        const std::vector<double> forces = forcesOf(g);
        for (std::size_t i = 0; i < forces.size(); ++i) {
            const double error = forces[i] - static_cast<double>(batch.geometries[g]->forces[i]);
            const auto element = static_cast<std::size_t>(batch.geometries[g]->elements[i / 3]);
            sum += loss.forceScale[element] / (3.0 * static_cast<double>(batch.whole.atoms)) * error * error;
        }
    }
    return sum;
}

double EnergyTwin::energyLossOf(const LossTwin& loss) {
    if (loss.energyScale.empty()) {
        return 0.0;
    }
    const double squares = squaredEnergyErrors(loss);
    return loss.sqrtLoss ? std::sqrt(squares) : squares;
}

double EnergyTwin::forceLossOf(const LossTwin& loss) {
    if (loss.forceScale.empty()) {
        return 0.0;
    }
    const double squares = squaredForceErrors(loss);
    return loss.sqrtLoss ? std::sqrt(squares) : squares;
}

void EnergyTwin::addLossGrads(const LossTwin& loss) {
    if (!loss.energyScale.empty()) {
        addEnergyLossGrads(loss);
    }
    if (!loss.forceScale.empty()) {
        addForceLossGrads(loss);
    }
}

void EnergyTwin::addEnergyLossGrads(const LossTwin& loss) {
    const double slope = slopeOfRoot(loss.sqrtLoss, squaredEnergyErrors(loss));
    for (std::size_t g = 0; g < batch.geometries.size(); ++g) {
        const std::vector<double> errors = energyErrorsOf(loss, g);
        for (std::size_t a = 0; a < errors.size(); ++a) {
            networkOf(g, a).addEnergyGrads(inputsOf(g, a),
                                           2.0 * energyWeight(loss, g, a) * errors[a] * slope);
        }
    }
}

void EnergyTwin::addForceLossGrads(const LossTwin& loss) {
    const double slope = slopeOfRoot(loss.sqrtLoss, squaredForceErrors(loss));
    for (std::size_t g = 0; g < batch.geometries.size(); ++g) {
        const Geometry& geometry = *batch.geometries[g];
        std::vector<double> forceGrads = forcesOf(g);
        for (std::size_t i = 0; i < forceGrads.size(); ++i) {
            const auto element = static_cast<std::size_t>(geometry.elements[i / 3]);
            const double weight = loss.forceScale[element] / (3.0 * static_cast<double>(batch.whole.atoms));
            forceGrads[i] = 2.0 * weight * (forceGrads[i] - static_cast<double>(geometry.forces[i])) * slope;
        }
        for (std::size_t a = 0; a < geometry.elements.size(); ++a) {
            const std::vector<double> inputs = inputsOf(g, a);
            const std::span<const float> derivs = batch.symm[g]->derivsOf(a);
            const std::vector<std::size_t> atoms = atomsOfRows(g, a);
            std::vector<double> coefs(inputs.size(), 0.0);
            for (std::size_t row = 0; row < 3 * atoms.size(); ++row) {
                for (std::size_t b = 0; b < coefs.size(); ++b) {
                    coefs[b] -= forceGrads[3 * atoms[row / 3] + row % 3] *
                                static_cast<double>(derivs[row * coefs.size() + b]);
                }
            }
            if (loss.isExact) {
                networkOf(g, a).addExactGrads(inputs, coefs);
            } else {
                networkOf(g, a).addApproximateGrads(inputs, coefs);
            }
        }
    }
}

} // namespace melta::test
