#include "network/NetworkTile.hpp"

#include "network/ForceKernels.hpp"
#include "network/NNSecondDeriver.hpp"
#include "network/SymmPreparation.hpp"

#include <algorithm>
#include <functional>

namespace melta {
namespace {

// Rows of derivatives of an atom: three of its own and three for each neighbour.
std::size_t countRows(const Geometry& geometry, std::size_t atom) {
    return 3 * (geometry.getNeighbors(static_cast<int>(atom)).size() + 1);
}

} // namespace

void NetworkTile::bind(const BatchView& view, const BatchTile& nextTile, bool training) {
    batch = view;
    tile = &nextTile;
    forTraining = training;
    hasBackward = false;
    hasOutputGrad = false;
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
            const std::span<float> inputs(inpData.data() + columnOf(piece, a) * numBasis, numBasis);
            if (batch.changing != nullptr) {
                computeInputs(piece, a, inputs);
            } else {
                std::ranges::copy(batch.symm[piece.geometry]->valuesOf(a), inputs.begin());
            }
        }
    }
}

void NetworkTile::computeInputs(const BatchTile::Piece& piece, std::size_t atom, std::span<float> inputs) {
    const Geometry& geometry = geometryOf(piece);
    neighbors.update(geometry, static_cast<int>(atom));
    batch.symmFunc->calculateAtom(neighbors, inputs, {});
    renormalize(inputs, static_cast<std::size_t>(geometry.elements[atom]), *batch.changing);
}

void NetworkTile::goForward(bool wantDerivs) {
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        if (ensembleTiles[e].numSamples > 0) {
            batch.ensembles[e].goForward(ensembleTiles[e], wantDerivs);
        }
    }
}

void NetworkTile::goBackwardOnOutput(const LossTerm& term, std::span<const float> factor,
                                     std::span<double> loss) {
    const OutputQuantity& quantity = *term.getOutputQuantity();
    for (const BatchTile::Piece& piece : tile->pieces) {
        const Geometry& geometry = geometryOf(piece);
        valueScratch.resize(quantity.numValues(geometry) * numModels);
        quantity.collect(geometry, numModels, gatherOutputs(piece), valueScratch);
        term.differentiate(geometry, batch.whole, numModels, factor, valueScratch.data(), loss);
        quantity.spread(geometry, numModels, valueScratch, atomScratch);
        addOutputGrads(piece, atomScratch);
    }
    hasOutputGrad = true;
}

// Outputs of a geometry [numAtoms][numModels], by atom.
std::span<const float> NetworkTile::gatherOutputs(const BatchTile::Piece& piece) {
    atomScratch.resize(piece.numAtoms * numModels);
    for (std::size_t a = 0; a < piece.numAtoms; ++a) {
        std::copy_n(outData.data() + columnOf(piece, a) * numModels, numModels,
                    atomScratch.data() + a * numModels);
    }
    return atomScratch;
}

void NetworkTile::addOutputGrads(const BatchTile::Piece& piece, std::span<const float> grads) {
    for (std::size_t a = 0; a < piece.numAtoms; ++a) {
        const std::span<const float> grad = grads.subspan(a * numModels, numModels);
        float* const sum = outGrad.data() + columnOf(piece, a) * numModels;
        if (hasOutputGrad) {
            std::ranges::transform(grad, std::span(sum, numModels), sum, std::plus<>());
        } else {
            std::ranges::copy(grad, sum);
        }
    }
}

void NetworkTile::goBackwardOnForce(std::span<const DerivativeQuantity* const> quantities) {
    inpGrad.reserve(tile->numAtoms * numForces * numBasis);
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        EnsembleTile& part = ensembleTiles[e];
        if (part.numSamples == 0) {
            continue;
        }
        part.inpGrad = inpGrad.data() + tile->elementStart[e] * numForces * numBasis;
        batch.ensembles[e].goBackward(part);
        if (forTraining) {
            batch.ensembles[e].computeInputGrads(part);
        } else {
            batch.ensembles[e].computeSummedInputGrads(part);
        }
    }
    hasBackward = true;
    prepareDerived(quantities);
    collectDerived();
}

void NetworkTile::prepareDerived(std::span<const DerivativeQuantity* const> quantities) {
    derived.resize(quantities.size());
    for (std::size_t q = 0; q < derived.size(); ++q) {
        Derived& part = derived[q];
        part.quantity = quantities[q];
        part.first.assign(1, 0);
        for (const BatchTile::Piece& piece : tile->pieces) {
            part.first.push_back(part.first.back() + part.quantity->numValues(geometryOf(piece)));
        }
        part.values.reserve(part.first.back() * lanes);
        std::fill_n(part.values.data(), part.first.back() * lanes, 0.0f);
    }
}

void NetworkTile::collectDerived() {
    columns.reserve(numBasis * lanes);
    for (std::size_t p = 0; p < tile->pieces.size(); ++p) {
        const BatchTile::Piece& piece = tile->pieces[p];
        const Geometry& geometry = geometryOf(piece);
        for (std::size_t a = piece.firstAtom; a < piece.firstAtom + piece.numAtoms; ++a) {
            multiplyByGrads(piece, a);
            for (Derived& part : derived) {
                part.quantity->collect(geometry, a, lanes, rows.data(),
                                       part.values.data() + part.first[p] * lanes);
            }
        }
    }
}

void NetworkTile::differentiate(std::size_t index, const LossTerm& term, std::span<const float> factor,
                                std::span<double> loss) {
    Derived& part = derived[index];
    for (std::size_t p = 0; p < tile->pieces.size(); ++p) {
        term.differentiate(geometryOf(tile->pieces[p]), batch.whole, lanes, factor,
                           part.values.data() + part.first[p] * lanes, loss);
    }
}

void NetworkTile::goDoubleBackwardOnForce() {
    for (std::size_t p = 0; p < tile->pieces.size(); ++p) {
        const BatchTile::Piece& piece = tile->pieces[p];
        const Geometry& geometry = geometryOf(piece);
        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
            gatherRowGrads(p, a, countRows(geometry, a) * lanes);
            multiplyByRows(piece, a);
        }
    }
}

// Takes the neighbours of an atom, and gives the scales [numBasis] of its inputs.
std::span<const float> NetworkTile::bindNeighbors(const Geometry& geometry, std::size_t atom) {
    neighbors.update(geometry, static_cast<int>(atom));
    return batch.inputScales.subspan(static_cast<std::size_t>(geometry.elements[atom]) * numBasis, numBasis);
}

// rows = derivatives of the inputs of an atom times dE/dG.
void NetworkTile::multiplyByGrads(const BatchTile::Piece& piece, std::size_t atom) {
    const std::size_t numRows = countRows(geometryOf(piece), atom);
    const float* const grads = inpGrad.data() + columnOf(piece, atom) * numForces * numBasis;
    rows.reserve(numRows * lanes);
    if (batch.symmFunc == nullptr) {
        kernels::multiplyByGrads(numRows, numBasis, numForces,
                                 batch.symm[piece.geometry]->derivsOf(atom).data(), grads, columns.data(),
                                 rows.data());
        return;
    }
    const std::span<const float> scales = bindNeighbors(geometryOf(piece), atom);
    const std::span<float> byValues = columns.span().first(numForces * numBasis);
    for (std::size_t begin = 0; begin < byValues.size(); begin += numBasis) {
        std::transform(scales.begin(), scales.end(), grads + begin, byValues.data() + begin,
                       std::multiplies<>());
    }
    products.multiplyByGrads(*batch.symmFunc, neighbors, byValues, rows.data());
}

// The way back, which replaces dE/dG.
void NetworkTile::multiplyByRows(const BatchTile::Piece& piece, std::size_t atom) {
    float* const grads = inpGrad.data() + columnOf(piece, atom) * numForces * numBasis;
    if (batch.symmFunc == nullptr) {
        kernels::multiplyByRows(countRows(geometryOf(piece), atom), numBasis, numForces,
                                batch.symm[piece.geometry]->derivsOf(atom).data(), rows.data(),
                                columns.data(), grads);
        return;
    }
    const std::span<const float> scales = bindNeighbors(geometryOf(piece), atom);
    const std::span<float> changes(grads, numForces * numBasis);
    products.multiplyByRows(*batch.symmFunc, neighbors, rows.data(), changes);
    for (std::size_t begin = 0; begin < changes.size(); begin += numBasis) {
        std::transform(scales.begin(), scales.end(), grads + begin, grads + begin, std::multiplies<>());
    }
}

// Fills `rows` [length] with the gradient of all quantities with respect to the rows of an atom.
void NetworkTile::gatherRowGrads(std::size_t piece, std::size_t atom, std::size_t length) {
    const Geometry& geometry = geometryOf(tile->pieces[piece]);
    for (std::size_t q = 0; q < derived.size(); ++q) {
        const float* const grads = derived[q].values.data() + derived[q].first[piece] * lanes;
        if (q == 0) {
            derived[q].quantity->spread(geometry, atom, lanes, grads, rows.data());
            continue;
        }
        moreRows.reserve(length);
        derived[q].quantity->spread(geometry, atom, lanes, grads, moreRows.data());
        std::transform(rows.data(), rows.data() + length, moreRows.data(), rows.data(), std::plus<>());
    }
}

void NetworkTile::addWeightGrads(ForceGradient forceGradient, std::span<EnsembleGrads> grads) {
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        EnsembleTile& part = ensembleTiles[e];
        if (part.numSamples == 0) {
            continue;
        }
        if (!hasBackward) {
            batch.ensembles[e].goBackward(part);
        }
        const float* const outputGrad =
            hasOutputGrad ? outGrad.data() + tile->elementStart[e] * numModels : nullptr;
        if (forceGradient != ForceGradient::none) {
            const NNSecondDeriver deriver(&batch.ensembles[e], &part);
            deriver.updateWeightGrads(forceGradient == ForceGradient::exact, outputGrad, grads[e]);
        } else if (hasOutputGrad) {
            batch.ensembles[e].addWeightGrads(part, outputGrad, grads[e]);
        }
    }
}

void NetworkTile::addElementWeightGrads(ForceGradient forceGradient, std::span<float> grads) {
    const bool withSlopes = forceGradient != ForceGradient::none;
    const bool hasAdjoint = hasOutputGrad || forceGradient == ForceGradient::exact;
    if (!withSlopes && !hasAdjoint) {
        return;
    }
    inpLoss.reserve(tile->numAtoms * numModels * numBasis);
    inpLoss.setZero();
    for (std::size_t e = 0; e < ensembleTiles.size(); ++e) {
        EnsembleTile& part = ensembleTiles[e];
        if (hasAdjoint && part.numSamples > 0) {
            batch.ensembles[e].getInterLayers().front().goBackward(
                part.numSamples, part.layers.front().adjoint.data(),
                inpLoss.data() + tile->elementStart[e] * numModels * numBasis);
        }
        if (withSlopes && part.numSamples > 0) {
            batch.ensembles[e].computeInputGrads(part);
        }
    }
    for (std::size_t p = 0; p < tile->pieces.size(); ++p) {
        for (std::size_t a = 0; a < tile->pieces[p].numAtoms; ++a) {
            addElementWeightGrads(p, a, withSlopes, grads);
        }
    }
}

void NetworkTile::addElementWeightGrads(std::size_t piece, std::size_t atom, bool withSlopes,
                                        std::span<float> grads) {
    const Geometry& geometry = geometryOf(tile->pieces[piece]);
    const std::span<const float> scales = bindNeighbors(geometry, atom);
    const std::size_t first = columnOf(tile->pieces[piece], atom) * numModels * numBasis;
    const auto scaled = [&](AlignedBuffer<float>& buffer) {
        const std::span<float> values = buffer.span().subspan(first, numModels * numBasis);
        for (std::size_t m = 0; m < numModels; ++m) {
            std::ranges::transform(values.subspan(m * numBasis, numBasis), scales,
                                   values.begin() + static_cast<std::ptrdiff_t>(m * numBasis),
                                   std::multiplies<>());
        }
        return values;
    };
    std::span<const float> bySlopes;
    if (withSlopes) {
        bySlopes = scaled(inpGrad);
        gatherRowGrads(piece, atom, countRows(geometry, atom) * lanes);
    }
    const std::size_t length = grads.size() / batch.ensembles.size();
    products.addElementWeightGrads(
        *batch.symmFunc, neighbors, rows.data(), scaled(inpLoss), bySlopes,
        grads.subspan(static_cast<std::size_t>(geometry.elements[atom]) * length, length));
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

void NetworkTile::addMeanValues(std::size_t index, std::span<const std::size_t> valueStart,
                                std::span<float> values) const {
    const Derived& part = derived[index];
    for (std::size_t p = 0; p < tile->pieces.size(); ++p) {
        const std::size_t first = valueStart[tile->pieces[p].geometry];
        for (std::size_t i = 0; i < part.first[p + 1] - part.first[p]; ++i) {
            float sum = 0.0f;
            for (std::size_t m = 0; m < numForces; ++m) {
                sum += part.values[(part.first[p] + i) * lanes + m];
            }
            // The sum over models was taken before the collection where only the mean is wanted.
            values[first + i] += sum / static_cast<float>(numModels);
        }
    }
}

} // namespace melta
