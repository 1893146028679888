#include "network/NetworkTile.hpp"

#include "network/ForceKernels.hpp"
#include "network/NNSecondDeriver.hpp"

#include <algorithm>

namespace melta {

void NetworkTile::bind(const BatchView& view, const BatchTile& nextTile, bool training) {
    batch = view;
    tile = &nextTile;
    forTraining = training;
    hasBackward = false;
    numBasis = static_cast<std::size_t>(batch.ensembles.front().getNumInp());
    numModels = static_cast<std::size_t>(batch.ensembles.front().getNumModels());
    numForces = forTraining ? numModels : 1;
    lanes = kernels::roundUpToLanes(numForces);
    inpData.reserve(tile->numAtoms * numBasis);
    outData.reserve(tile->numAtoms * numModels);
    outGrad.reserve(forTraining ? tile->numAtoms * numModels : 0);
    prepareEnsembles();
    gatherInputs();
}

std::size_t NetworkTile::columnOf(const BatchTile::Piece& piece, std::size_t atom) const {
    return tile->columnOfAtom[piece.firstLocal + atom - piece.firstAtom];
}

void NetworkTile::prepareEnsembles() {
    ensembleTiles.resize(batch.ensembles.size());
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        const std::size_t first = tile->elementStart[e];
        EnsembleTile& part = ensembleTiles[e];
        batch.ensembles[e].prepareTile(part, tile->elementStart[e + 1] - first, forTraining);
        part.inpData = inpData.data() + first * numBasis;
        part.outData = outData.data() + first * numModels;
    }
}

void NetworkTile::gatherInputs() {
    for (const BatchTile::Piece& piece : tile->pieces) {
        for (std::size_t a = piece.firstAtom; a < piece.firstAtom + piece.numAtoms; ++a) {
            std::ranges::copy(batch.symm[piece.geometry]->valuesOf(a),
                              inpData.data() + columnOf(piece, a) * numBasis);
        }
    }
}

void NetworkTile::goForward(bool wantDerivs) {
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        if (ensembleTiles[e].numSamples > 0) {
            batch.ensembles[e].goForward(ensembleTiles[e], wantDerivs);
        }
    }
}

void NetworkTile::goBackwardOnOutput(const OutputLossTerm& term, std::span<double> loss) {
    for (const BatchTile::Piece& piece : tile->pieces) {
        if (term.withHDNNP) {
            addTotalLoss(piece, term, loss);
        } else {
            addAtomicLoss(piece, term, loss);
        }
    }
}

float NetworkTile::referenceOf(const Geometry& geometry, std::size_t atom) const {
    return batch.target == NetworkTarget::charge ? geometry.charges[atom]
                                                 : static_cast<float>(geometry.energies[atom]);
}

void NetworkTile::addAtomicLoss(const BatchTile::Piece& piece, const OutputLossTerm& term,
                                std::span<double> loss) {
    const Geometry& geometry = *batch.geometries[piece.geometry];
    for (std::size_t a = 0; a < piece.numAtoms; ++a) {
        const auto element = static_cast<std::size_t>(geometry.elements[a]);
        const float weight = term.scale[element] / static_cast<float>(batch.numAtoms);
        const float reference = referenceOf(geometry, a);
        const std::size_t first = columnOf(piece, a) * numModels;
        for (std::size_t m = 0; m < numModels; ++m) {
            const float error = outData[first + m] - reference;
            loss[m] += static_cast<double>(weight * error * error);
            outGrad[first + m] = (weight + weight) * error * term.factor[m];
        }
    }
}

void NetworkTile::addTotalLoss(const BatchTile::Piece& piece, const OutputLossTerm& term,
                               std::span<double> loss) {
    const auto numAtoms = static_cast<float>(piece.numAtoms);
    const float weight =
        (term.scale.front() / (numAtoms * numAtoms)) / static_cast<float>(batch.geometries.size());
    const auto reference = static_cast<float>(batch.geometries[piece.geometry]->energyTotal);
    for (std::size_t m = 0; m < numModels; ++m) {
        float sum = 0.0f;
        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
            sum += outData[columnOf(piece, a) * numModels + m];
        }
        const float error = sum - reference;
        loss[m] += static_cast<double>(weight * error * error);
        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
            outGrad[columnOf(piece, a) * numModels + m] = (weight + weight) * error * term.factor[m];
        }
    }
}

void NetworkTile::goBackwardOnForce() {
    inpGrad.reserve(tile->numAtoms * numForces * numBasis);
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        EnsembleTile& part = ensembleTiles[e];
        if (part.numSamples == 0) {
            continue;
        }
        part.inpGrad = inpGrad.data() + tile->elementStart[e] * numForces * numBasis;
        batch.ensembles[e].goBackward(part);
        if (forTraining) {
            batch.ensembles[e].obtainInputGrads(part);
        } else {
            batch.ensembles[e].obtainSummedInputGrads(part);
        }
    }
    hasBackward = true;
    assembleForces();
}

void NetworkTile::assembleForces() {
    forces.reserve(tile->numForceRows * 3 * lanes);
    std::fill_n(forces.data(), tile->numForceRows * 3 * lanes, 0.0f);
    columns.reserve(numBasis * lanes);
    for (const BatchTile::Piece& piece : tile->pieces) {
        const Geometry& geometry = *batch.geometries[piece.geometry];
        float* const forcesOfGeometry = forces.data() + piece.firstForce * 3 * lanes;
        for (std::size_t a = piece.firstAtom; a < piece.firstAtom + piece.numAtoms; ++a) {
            const std::span<const Neighbor> neighbors = geometry.obtainNeighbors(static_cast<int>(a));
            const std::span<const float> derivs = batch.symm[piece.geometry]->derivsOf(a);
            const std::size_t numRows = 3 * (neighbors.size() + 1);
            rows.reserve(numRows * lanes);
            kernels::multiplyByGrads(numRows, numBasis, numForces, derivs.data(),
                                     inpGrad.data() + columnOf(piece, a) * numForces * numBasis,
                                     columns.data(), rows.data());
            kernels::scatterForces(a, neighbors.size(), neighbors.empty() ? nullptr : &neighbors.front().atom,
                                   sizeof(Neighbor) / sizeof(std::int32_t), lanes, rows.data(),
                                   forcesOfGeometry);
        }
    }
}

void NetworkTile::goDoubleBackwardOnForce(const ForceLossTerm& term, std::span<double> loss) {
    differentiateForceLoss(term, loss);
    for (const BatchTile::Piece& piece : tile->pieces) {
        const Geometry& geometry = *batch.geometries[piece.geometry];
        const float* const gradOfGeometry = forces.data() + piece.firstForce * 3 * lanes;
        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
            const std::span<const Neighbor> neighbors = geometry.obtainNeighbors(static_cast<int>(a));
            const std::size_t numRows = 3 * (neighbors.size() + 1);
            kernels::gatherForces(a, neighbors.size(), neighbors.empty() ? nullptr : &neighbors.front().atom,
                                  sizeof(Neighbor) / sizeof(std::int32_t), lanes, gradOfGeometry,
                                  rows.data());
            kernels::multiplyByRows(
                numRows, numBasis, numForces, batch.symm[piece.geometry]->derivsOf(a).data(), rows.data(),
                columns.data(), inpGrad.data() + columnOf(piece, a) * numForces * numBasis);
        }
    }
}

// Turns the forces into the gradient of the force loss with respect to them.
void NetworkTile::differentiateForceLoss(const ForceLossTerm& term, std::span<double> loss) {
    for (const BatchTile::Piece& piece : tile->pieces) {
        const Geometry& geometry = *batch.geometries[piece.geometry];
        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
            const auto element = static_cast<std::size_t>(geometry.elements[a]);
            const float weight = term.scale[element] / static_cast<float>(3 * batch.numAtoms);
            for (std::size_t c = 0; c < 3; ++c) {
                const float reference = geometry.forces[3 * a + c];
                float* const force = forces.data() + (3 * (piece.firstForce + a) + c) * lanes;
                for (std::size_t m = 0; m < numModels; ++m) {
                    const float error = force[m] - reference;
                    loss[m] += static_cast<double>(weight * error * error);
                    force[m] = (weight + weight) * error * term.factor[m];
                }
            }
        }
    }
}

void NetworkTile::addWeightGrads(ForceGradient forceGradient, bool withOutput,
                                 std::span<EnsembleGrads> grads) {
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        EnsembleTile& part = ensembleTiles[e];
        if (part.numSamples == 0) {
            continue;
        }
        if (!hasBackward) {
            batch.ensembles[e].goBackward(part);
        }
        const float* const outputGrad =
            withOutput ? outGrad.data() + tile->elementStart[e] * numModels : nullptr;
        if (forceGradient != ForceGradient::none) {
            const NNSecondDeriver deriver(&batch.ensembles[e], &part);
            deriver.updateWeightGrads(forceGradient == ForceGradient::exact, outputGrad, grads[e]);
        } else if (withOutput) {
            batch.ensembles[e].addWeightGrads(part, outputGrad, grads[e]);
        }
    }
}

void NetworkTile::storeOutputs(std::span<const std::size_t> geometryStart, std::span<float> outputs) const {
    for (const BatchTile::Piece& piece : tile->pieces) {
        for (std::size_t a = piece.firstAtom; a < piece.firstAtom + piece.numAtoms; ++a) {
            float sum = 0.0f;
            for (std::size_t m = 0; m < numModels; ++m) {
                sum += outData[columnOf(piece, a) * numModels + m];
            }
            outputs[geometryStart[piece.geometry] + a] = sum / static_cast<float>(numModels);
        }
    }
}

void NetworkTile::addForces(std::span<const std::size_t> geometryStart, std::span<float> meanForces) const {
    for (const BatchTile::Piece& piece : tile->pieces) {
        const std::size_t numAtoms = geometryStart[piece.geometry + 1] - geometryStart[piece.geometry];
        for (std::size_t i = 0; i < 3 * numAtoms; ++i) {
            float sum = 0.0f;
            for (std::size_t m = 0; m < numForces; ++m) {
                sum += forces[(3 * piece.firstForce + i) * lanes + m];
            }
            // The sum over models was taken before the assembly where only the mean is wanted.
            meanForces[3 * geometryStart[piece.geometry] + i] += sum / static_cast<float>(numModels);
        }
    }
}

} // namespace melta
