#include "potential/TileEvaluator.hpp"

#include "network/ForceKernels.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace melta {
namespace {

// A bin of the histograms that is empty lies outside.
constexpr int leastCounts = 1;

std::size_t sizeOf(int count) {
    return static_cast<std::size_t>(count);
}

template <class T>
void resetIf(bool isWanted, std::vector<T>& values, std::size_t size) {
    values.assign(isWanted ? size : 0, T());
}

// Adds the force that an atom's energy gives entry `n` of its neighbours, and its share of the virial.
void addPair(Evaluation& result, std::size_t atom, const NeighborArrays& list, std::size_t n,
             const std::array<double, 3>& force) {
    const std::size_t neighbor = sizeOf(list.atoms()[n]);
    for (std::size_t c = 0; c < 3 && !result.forces.empty(); ++c) {
        result.forces[3 * neighbor + c] += force[c];
        result.forces[3 * atom + c] -= force[c];
    }
    const std::array<double, 3> d{static_cast<double>(list.dx()[n]), static_cast<double>(list.dy()[n]),
                                  static_cast<double>(list.dz()[n])};
    const std::array<double, 6> share{d[0] * force[0], d[1] * force[1], d[2] * force[2],
                                      d[0] * force[1], d[0] * force[2], d[1] * force[2]};
    for (std::size_t c = 0; c < share.size(); ++c) {
        result.virial[c] += share[c];
        if (!result.atomVirials.empty()) {
            result.atomVirials[6 * atom + c] += share[c];
        }
    }
}

} // namespace

void prepareResult(const ModelData& model, std::size_t numAtoms, Wishes wishes, Evaluation& result) {
    const std::size_t numModels = sizeOf(model.settings.modelsEnergy);
    const bool withModelEnergies = wishes.has(Wish::modelEnergies);
    const bool withModelForces = wishes.has(Wish::modelForces);
    result.energy = 0.0;
    result.virial = {};
    result.numNovel = 0;
    result.excess = 0.0;
    result.energies.assign(numAtoms, 0.0);
    resetIf(wishes.has(Wish::forces) || withModelForces, result.forces, 3 * numAtoms);
    resetIf(wishes.has(Wish::atomVirials), result.atomVirials, 6 * numAtoms);
    resetIf(wishes.has(Wish::charges), result.charges, numAtoms);
    resetIf(withModelEnergies, result.modelEnergies, numModels);
    resetIf(withModelEnergies, result.energyDeviations, numAtoms);
    resetIf(withModelForces, result.modelForces, 3 * numModels * numAtoms);
    resetIf(withModelForces, result.forceDeviations, numAtoms);
    resetIf(wishes.has(Wish::novelty), result.novelty, numAtoms);
    resetIf(wishes.has(Wish::descriptors), result.descriptors,
            numAtoms * sizeOf(model.symmFunc->getNumBasis()));
}

void TileEvaluator::evaluate(const ModelData& model, const AtomSource& source, std::span<const int> atoms,
                             Wishes wishes, Evaluation& result) {
    const bool withModelForces = wishes.has(Wish::modelForces);
    const bool withForces = withModelForces || wishes.has(Wish::forces) || wishes.has(Wish::virial) ||
                            wishes.has(Wish::atomVirials);
    const Job job{model, source, wishes, result, withForces, withModelForces};
    for (std::size_t first = 0; first < atoms.size(); first += tileSize) {
        evaluateTile(job, atoms.subspan(first, std::min(tileSize, atoms.size() - first)));
    }
}

std::size_t TileEvaluator::columnsOf(const Job& job) {
    return job.withModelForces ? sizeOf(job.model.settings.modelsEnergy) : 1;
}

void TileEvaluator::evaluateTile(const Job& job, std::span<const int> atoms) {
    sortByElement(job, atoms);
    evaluateDescriptors(job, atoms);
    runNetworks(job.model.energyNetworks, energyTiles, job.withForces, job.withModelForces);
    storeEnergies(job, atoms);
    if (job.wishes.has(Wish::charges)) {
        runNetworks(job.model.chargeNetworks, chargeTiles, false, false);
        storeCharges(job, atoms);
    }
    if (job.withForces) {
        spreadForces(job, atoms);
    }
}

// Gives each atom its column, so that those of one element lie side by side, and each element's networks
// theirs.
void TileEvaluator::sortByElement(const Job& job, std::span<const int> atoms) {
    const std::size_t numElems = job.model.energyNetworks.size();
    const std::size_t numBasis = sizeOf(job.model.symmFunc->getNumBasis());
    neighbors.resize(std::max(neighbors.size(), atoms.size()));
    columnOf.resize(atoms.size());
    starts.assign(numElems + 1, 0);
    for (const int atom : atoms) {
        ++starts[job.source.elementOf(atom) + 1];
    }
    for (std::size_t e = 0; e < numElems; ++e) {
        starts[e + 1] += starts[e];
    }
    nexts.assign(starts.begin(), starts.end() - 1);
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        columnOf[k] = nexts[job.source.elementOf(atoms[k])]++;
    }
    inputs.reserve(atoms.size() * numBasis);
    gradients.reserve(job.withForces ? atoms.size() * columnsOf(job) * numBasis : 0);
    const auto bind = [&](const std::vector<NNEnsemble>& ensembles, std::vector<EnsembleTile>& tiles,
                          AlignedBuffer<float>& out) {
        tiles.resize(ensembles.size());
        for (std::size_t e = 0; e < ensembles.size(); ++e) {
            const std::size_t numModels = sizeOf(ensembles[e].getNumModels());
            out.reserve(atoms.size() * numModels);
            ensembles[e].prepareTile(tiles[e], starts[e + 1] - starts[e], false);
            tiles[e].inpData = inputs.data() + starts[e] * numBasis;
            tiles[e].outData = out.data() + starts[e] * numModels;
            tiles[e].inpGrad =
                job.withForces ? gradients.data() + starts[e] * columnsOf(job) * numBasis : nullptr;
        }
    };
    bind(job.model.energyNetworks, energyTiles, outputs);
    if (job.wishes.has(Wish::charges)) {
        bind(job.model.chargeNetworks, chargeTiles, chargeOutputs);
    }
}

void TileEvaluator::evaluateDescriptors(const Job& job, std::span<const int> atoms) {
    const SymmFunc& symmFunc = *job.model.symmFunc;
    const std::size_t numBasis = sizeOf(symmFunc.getNumBasis());
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        const std::size_t element = job.source.elementOf(atoms[k]);
        const std::span<float> input = inputs.span().subspan(columnOf[k] * numBasis, numBasis);
        NeighborArrays& list = neighbors[job.withForces ? k : 0]; // energies need it once
        job.source.gather(atoms[k], list);
        symmFunc.calculateAtom(list, input, {});
        if (!areFinite(input)) {
            job.source.stopAtDescriptors(atoms[k]);
        }
        renormalize(input, element, job.model.statistics);
        if (job.wishes.has(Wish::novelty)) {
            noteNovelty(job, atoms[k], element, input);
        }
        if (job.wishes.has(Wish::descriptors)) {
            std::ranges::copy(input, job.result.descriptors.data() + sizeOf(atoms[k]) * numBasis);
        }
    }
}

void TileEvaluator::noteNovelty(const Job& job, int atom, std::size_t element,
                                std::span<const float> input) const {
    const bool isNovel =
        job.model.histograms
            ? job.model.histograms->isOutside(static_cast<int>(element), input, leastCounts)
            : !std::ranges::all_of(input, [](float value) { return std::fabs(value) <= 1.0f; });
    job.result.novelty[sizeOf(atom)] = isNovel ? 1 : 0;
    job.result.numNovel += isNovel ? 1 : 0;
    for (const float value : input) {
        job.result.excess = std::max(job.result.excess, static_cast<double>(std::fabs(value)) - 1.0);
    }
}

void TileEvaluator::runNetworks(const std::vector<NNEnsemble>& ensembles, std::vector<EnsembleTile>& tiles,
                                bool withGradients, bool perModel) {
    for (std::size_t e = 0; e < ensembles.size(); ++e) {
        if (tiles[e].numSamples == 0) {
            continue;
        }
        ensembles[e].goForward(tiles[e], withGradients);
        if (!withGradients) {
            continue;
        }
        ensembles[e].goBackward(tiles[e]);
        if (perModel) {
            ensembles[e].computeInputGrads(tiles[e]);
        } else {
            ensembles[e].computeSummedInputGrads(tiles[e]);
        }
    }
}

void TileEvaluator::storeEnergies(const Job& job, std::span<const int> atoms) const {
    const std::size_t numModels = sizeOf(job.model.settings.modelsEnergy);
    Evaluation& result = job.result;
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        const double reference = job.model.references[job.source.elementOf(atoms[k])];
        const auto ofModels = outputs.span().subspan(columnOf[k] * numModels, numModels);
        double sum = 0.0;
        for (const float energy : ofModels) {
            sum += static_cast<double>(energy);
        }
        const double mean = sum / static_cast<double>(numModels);
        result.energies[sizeOf(atoms[k])] = mean + reference;
        result.energy += mean + reference;
        if (!job.wishes.has(Wish::modelEnergies)) {
            continue;
        }
        double squares = 0.0;
        for (std::size_t m = 0; m < numModels; ++m) {
            const double deviation = static_cast<double>(ofModels[m]) - mean;
            squares += deviation * deviation;
            result.modelEnergies[m] += static_cast<double>(ofModels[m]) + reference;
        }
        result.energyDeviations[sizeOf(atoms[k])] = std::sqrt(squares / static_cast<double>(numModels));
    }
}

void TileEvaluator::storeCharges(const Job& job, std::span<const int> atoms) const {
    const std::size_t numModels = sizeOf(job.model.settings.modelsCharge);
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        double sum = 0.0;
        for (const float charge : chargeOutputs.span().subspan(columnOf[k] * numModels, numModels)) {
            sum += static_cast<double>(charge);
        }
        job.result.charges[sizeOf(atoms[k])] = sum / static_cast<double>(numModels);
    }
}

// Each column becomes the gradient of an energy with respect to the raw values.
void TileEvaluator::scaleGradients(const Job& job, std::size_t element, std::span<float> columns) const {
    const float numSummed = job.withModelForces ? 1.0f : static_cast<float>(job.model.settings.modelsEnergy);
    const float factor = 1.0f / (job.model.statistics.symmDev[element] * numSummed);
    for (float& value : columns) {
        value *= factor;
    }
}

void TileEvaluator::spreadForces(const Job& job, std::span<const int> atoms) {
    const std::size_t length = columnsOf(job) * sizeOf(job.model.symmFunc->getNumBasis());
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        const std::span<float> columns = gradients.span().subspan(columnOf[k] * length, length);
        scaleGradients(job, job.source.elementOf(atoms[k]), columns);
        if (columnsOf(job) == 1) {
            addForces(job, sizeOf(atoms[k]), neighbors[k], columns);
        } else {
            addModelForces(job, sizeOf(atoms[k]), neighbors[k], columns);
        }
    }
}

void TileEvaluator::addForces(const Job& job, std::size_t atom, const NeighborArrays& list,
                              std::span<const float> byValues) {
    const std::size_t numNeighbors = list.size();
    rows.reserve(3 * numNeighbors);
    const std::span<float> slopes = rows.span().first(3 * numNeighbors);
    job.model.symmFunc->calculateGradient(list, byValues, slopes);
    for (std::size_t n = 0; n < numNeighbors; ++n) {
        const std::array<double, 3> force{-static_cast<double>(slopes[n]),
                                          -static_cast<double>(slopes[numNeighbors + n]),
                                          -static_cast<double>(slopes[2 * numNeighbors + n])};
        addPair(job.result, atom, list, n, force);
    }
}

// Fills rows [3 (neighbours + 1)][lanes] with the derivatives of each model's energy of an atom. Where the
// way back goes through all pairs of neighbours, the derivatives of the atom's descriptors are worth their
// making for so many columns: each then takes one product with them.
void TileEvaluator::computeModelRows(const Job& job, const NeighborArrays& list,
                                     std::span<const float> byValues) {
    const SymmFunc& symmFunc = *job.model.symmFunc;
    const std::size_t numBasis = sizeOf(symmFunc.getNumBasis());
    const std::size_t numColumns = columnsOf(job);
    const std::size_t lanes = kernels::roundUpToLanes(numColumns);
    const std::size_t numRows = 3 * (list.size() + 1);
    rows.reserve(numRows * lanes);
    if (symmFunc.isCheapWithoutDiff()) {
        products.multiplyByGrads(symmFunc, list, byValues, rows.data());
        return;
    }
    values.reserve(numBasis);
    work.reserve(numBasis * lanes);
    symmDiff.reserve(numRows * numBasis);
    symmFunc.calculateAtom(list, values.span().first(numBasis), symmDiff.span().first(numRows * numBasis));
    kernels::multiplyByGrads(numRows, numBasis, numColumns, symmDiff.data(), byValues.data(), work.data(),
                             rows.data());
}

// Forces of each model, and their mean to forces and virials.
void TileEvaluator::addModelForces(const Job& job, std::size_t atom, const NeighborArrays& list,
                                   std::span<const float> byValues) {
    const std::size_t numColumns = columnsOf(job);
    const std::size_t lanes = kernels::roundUpToLanes(numColumns);
    computeModelRows(job, list, byValues);
    const std::size_t length = job.result.modelForces.size() / numColumns;
    for (std::size_t n = 0; n < list.size(); ++n) {
        const auto neighbor = sizeOf(list.atoms()[n]);
        const float* const row = rows.data() + 3 * (n + 1) * lanes;
        std::array<double, 3> mean{};
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t m = 0; m < numColumns; ++m) {
                const auto force = -static_cast<double>(row[c * lanes + m]);
                mean[c] += force;
                job.result.modelForces[m * length + 3 * neighbor + c] += force;
                job.result.modelForces[m * length + 3 * atom + c] -= force;
            }
            mean[c] /= static_cast<double>(numColumns);
        }
        addPair(job.result, atom, list, n, mean);
    }
}

} // namespace melta
