#include "network/NetworkPass.hpp"

#include "base/ParallelGuard.hpp"

#include <algorithm>
#include <cassert>
#include <functional>
#include <omp.h>

namespace melta {
namespace {

// The part of `values` that belongs to a geometry, whose first one is start[geometry].
std::span<const float> partOf(std::span<const float> values, std::span<const std::size_t> start,
                              std::size_t geometry) {
    return values.subspan(start[geometry], start[geometry + 1] - start[geometry]);
}

} // namespace

void NetworkPass::setBatch(const BatchView& view, BatchLayout::Cut cut) {
    batch = view;
    layout =
        BatchLayout(static_cast<int>(batch.ensembles.size()), batch.geometries, omp_get_max_threads(), cut);
    if (batch.whole.geometries == 0) {
        const auto hasStress = [](const Geometry* geometry) { return geometry->stressVolume.has_value(); };
        batch.whole = {batch.geometries.size(), layout.getNumAtoms(),
                       static_cast<std::size_t>(std::ranges::count_if(batch.geometries, hasStress))};
    }
    outputs.assign(layout.getNumAtoms(), 0.0f);
    means.assign(1, makeMeans(atomicForce()));
}

void NetworkPass::clearBatch() {
    batch = {};
    layout = {};
}

NetworkPass::MeanValues NetworkPass::makeMeans(const DerivativeQuantity& quantity) const {
    MeanValues made{&quantity, {0}, {}};
    for (const Geometry* const geometry : batch.geometries) {
        made.start.push_back(made.start.back() + quantity.numValues(*geometry));
    }
    made.values.assign(made.start.back(), 0.0f);
    return made;
}

std::size_t NetworkPass::placeOf(const LossQuantity& quantity) const {
    const auto found = std::ranges::find(means, &quantity, &MeanValues::quantity);
    assert(found != means.end());
    return static_cast<std::size_t>(found - means.begin());
}

void NetworkPass::prepareMeans(std::span<const DerivativeQuantity* const> quantities) {
    present.assign(quantities.begin(), quantities.end());
    for (MeanValues& mean : means) {
        std::ranges::fill(mean.values, 0.0f);
    }
    for (const DerivativeQuantity* const quantity : present) {
        if (std::ranges::find(means, quantity, &MeanValues::quantity) == means.end()) {
            means.push_back(makeMeans(*quantity));
        }
    }
}

// Adds what a tile has collected.
void NetworkPass::addDerived(const NetworkTile& tile) {
    for (std::size_t q = 0; q < present.size(); ++q) {
        MeanValues& mean = means[placeOf(*present[q])];
        tile.addMeanValues(q, mean.start, mean.values);
    }
}

void NetworkPass::evaluate(std::span<const DerivativeQuantity* const> quantities) {
    prepareMeans(quantities);
    shares.resize(static_cast<std::size_t>(layout.getNumThreads()));
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1)
    for (int thread = 0; thread < layout.getNumThreads(); ++thread) {
        guard.run([&] { evaluateShare(thread); });
    }
    guard.rethrow();
    // Where a geometry is cut, its parts reach each other's atoms, so values are added in the order of the
    // threads.
    for (std::size_t q = 0; q < present.size(); ++q) {
        std::vector<float>& sums = means[placeOf(*present[q])].values;
        for (const Share& share : shares) {
            std::ranges::transform(sums, share.values[q], sums.begin(), std::plus<>());
        }
    }
}

void NetworkPass::evaluateShare(int thread) {
    Share& share = shares[static_cast<std::size_t>(thread)];
    share.values.resize(present.size());
    for (std::size_t q = 0; q < present.size(); ++q) {
        share.values[q].assign(means[placeOf(*present[q])].values.size(), 0.0f);
    }
    for (const BatchTile& part : layout.tilesOfThread(thread)) {
        share.tile.bind(batch, part, false);
        share.tile.goForward(!present.empty());
        share.tile.storeOutputs(layout.getGeometryStart(), outputs);
        if (present.empty()) {
            continue;
        }
        share.tile.goBackwardOnForce(present);
        for (std::size_t q = 0; q < present.size(); ++q) {
            share.tile.addMeanValues(q, means[placeOf(*present[q])].start, share.values[q]);
        }
    }
}

void NetworkPass::evaluateLoss(std::span<LossTerm> terms, ForceGradient forceGradient,
                               std::span<NNEnsemble> ensembles, std::span<float> elementWeightGrads) {
    if (std::ranges::none_of(terms, &LossTerm::isInLoss)) {
        evaluate({});
        return;
    }
    const auto numModels = static_cast<std::size_t>(ensembles.front().getNumModels());
    LossSweep work{terms, forceGradient, {terms.size(), std::vector<float>(numModels, 1.0f)}, true};
    prepareMeans(derivativesIn(terms));
    prepareShares(terms.size(), true, elementWeightGrads.size());
    if (std::ranges::any_of(terms, &LossTerm::takesRoot)) {
        // The gradient of a root needs the whole loss first.
        work.wantGrads = false;
        sweep(work);
        work.factors = mergeLoss(terms);
        work.wantGrads = true;
        prepareShares(terms.size(), false, elementWeightGrads.size());
        sweep(work);
    } else {
        sweep(work);
        mergeLoss(terms);
    }
    mergeGrads(ensembles, elementWeightGrads);
}

// In the order of the threads.
void NetworkPass::mergeGrads(std::span<NNEnsemble> ensembles, std::span<float> elementWeightGrads) const {
    for (const Share& share : shares) {
        for (std::size_t e = 0; e < ensembles.size(); ++e) {
            ensembles[e].mergeWeightGrad(share.grads[e]);
        }
        std::ranges::transform(elementWeightGrads, share.elementWeightGrads, elementWeightGrads.begin(),
                               std::plus<>());
    }
}

void NetworkPass::prepareShares(std::size_t numTerms, bool wantGrads, std::size_t numElementWeights) {
    shares.resize(static_cast<std::size_t>(layout.getNumThreads()));
    const auto numModels = static_cast<std::size_t>(batch.ensembles.front().getNumModels());
    for (Share& share : shares) {
        share.loss.resize(numTerms);
        for (std::vector<double>& loss : share.loss) {
            loss.assign(numModels, 0.0);
        }
        if (!wantGrads) {
            continue;
        }
        if (share.grads.empty()) {
            for (const NNEnsemble& ensemble : batch.ensembles) {
                share.grads.push_back(ensemble.makeGrads());
            }
        }
        for (EnsembleGrads& grads : share.grads) {
            grads.setZero();
        }
        share.elementWeightGrads.assign(numElementWeights, 0.0f);
    }
}

void NetworkPass::sweep(const LossSweep& work) {
    for (MeanValues& mean : means) {
        std::ranges::fill(mean.values, 0.0f);
    }
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1)
    for (int thread = 0; thread < layout.getNumThreads(); ++thread) {
        guard.run([&] {
            for (const BatchTile& part : layout.tilesOfThread(thread)) {
                sweepTile(part, work, shares[static_cast<std::size_t>(thread)]);
            }
        });
    }
    guard.rethrow();
}

void NetworkPass::sweepTile(const BatchTile& part, const LossSweep& work, Share& share) {
    NetworkTile& tile = share.tile;
    tile.bind(batch, part, true);
    tile.goForward(true);
    tile.storeOutputs(layout.getGeometryStart(), outputs);
    for (std::size_t t = 0; t < work.terms.size(); ++t) {
        if (work.terms[t].isInLoss() && work.terms[t].getOutputQuantity() != nullptr) {
            tile.goBackwardOnOutput(work.terms[t], work.factors[t], share.loss[t]);
        }
    }
    if (!present.empty()) {
        sweepDerivatives(work, share);
    }
    if (work.wantGrads) {
        const ForceGradient ofForces = present.empty() ? ForceGradient::none : work.forceGradient;
        tile.addWeightGrads(ofForces, share.grads);
        if (!share.elementWeightGrads.empty()) {
            tile.addElementWeightGrads(ofForces, share.elementWeightGrads);
        }
    }
}

void NetworkPass::sweepDerivatives(const LossSweep& work, Share& share) {
    NetworkTile& tile = share.tile;
    tile.goBackwardOnForce(present);
    addDerived(tile);
    if (work.forceGradient == ForceGradient::none) {
        return;
    }
    std::size_t index = 0;
    for (std::size_t t = 0; t < work.terms.size(); ++t) {
        if (work.terms[t].isInLoss() && work.terms[t].getDerivativeQuantity() != nullptr) {
            tile.differentiate(index++, work.terms[t], work.factors[t], share.loss[t]);
        }
    }
    tile.goDoubleBackwardOnForce();
}

// Gives the terms their losses. Returns the factors of their gradients, [numTerms][numModels].
std::vector<std::vector<float>> NetworkPass::mergeLoss(std::span<LossTerm> terms) const {
    std::vector<std::vector<float>> factors(terms.size());
    for (std::size_t t = 0; t < terms.size(); ++t) {
        if (!terms[t].isInLoss()) {
            continue;
        }
        std::vector<double> sums(shares.front().loss[t].size(), 0.0);
        for (const Share& share : shares) {
            std::ranges::transform(sums, share.loss[t], sums.begin(), std::plus<>());
        }
        factors[t] = terms[t].setLoss(sums);
    }
    return factors;
}

void NetworkPass::addSquaredErrors(QuantityError& error) const {
    const LossQuantity& quantity = *error.quantity;
    const auto* const ofOutputs = dynamic_cast<const OutputQuantity*>(&quantity);
    const MeanValues* const mean = ofOutputs == nullptr ? &means[placeOf(quantity)] : nullptr;
    double sum = 0.0;
    const auto count = static_cast<int>(batch.geometries.size());
#pragma omp parallel for schedule(static) reduction(+ : sum)
    for (int i = 0; i < count; ++i) {
        const auto g = static_cast<std::size_t>(i);
        const Geometry& geometry = *batch.geometries[g];
        if (mean != nullptr) {
            melta::addSquaredErrors(quantity, geometry, partOf(mean->values, mean->start, g), sum);
            continue;
        }
        std::vector<float> values(quantity.numValues(geometry));
        ofOutputs->collect(geometry, 1, partOf(outputs, layout.getGeometryStart(), g), values);
        melta::addSquaredErrors(quantity, geometry, values, sum);
    }
    error.sum += static_cast<float>(sum);
    error.count += quantity.divisorOf(batch.whole);
}

} // namespace melta
