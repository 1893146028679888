#include "network/NetworkPass.hpp"

#include "base/ParallelGuard.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <omp.h>

namespace melta {
namespace {

// Derivative of the square root of a loss; too small a loss drives nothing.
std::vector<float> takeRoots(std::vector<float>& loss) {
    std::vector<float> factors;
    for (float& value : loss) {
        value = std::sqrt(std::max(value, 0.0f)); // in this order NaN stays NaN
        factors.push_back(value > 1.0e-6f ? 0.5f / value : 0.0f);
    }
    return factors;
}

} // namespace

void NetworkPass::setBatch(const BatchView& view, BatchLayout::Cut cut) {
    batch = view;
    layout =
        BatchLayout(static_cast<int>(batch.ensembles.size()), batch.geometries, omp_get_max_threads(), cut);
    batch.numAtoms = layout.getNumAtoms();
    outputs.assign(batch.numAtoms, 0.0f);
    forces.assign(3 * batch.numAtoms, 0.0f);
}

void NetworkPass::clearBatch() {
    batch = {};
    layout = {};
    tiles.clear();
}

void NetworkPass::goForward() {
    tiles.resize(layout.getTiles().size());
    const auto numTiles = static_cast<std::ptrdiff_t>(tiles.size());
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (std::ptrdiff_t t = 0; t < numTiles; ++t) {
        guard.run([&] {
            NetworkTile& tile = tiles[static_cast<std::size_t>(t)];
            tile.bind(batch, layout.getTiles()[static_cast<std::size_t>(t)], false);
            tile.goForward(true);
            tile.storeOutputs(layout.getGeometryStart(), outputs);
        });
    }
    guard.rethrow();
}

void NetworkPass::goBackwardOnForce() {
    std::ranges::fill(forces, 0.0f);
    const auto numTiles = static_cast<std::ptrdiff_t>(tiles.size());
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (std::ptrdiff_t t = 0; t < numTiles; ++t) {
        guard.run([&] { tiles[static_cast<std::size_t>(t)].goBackwardOnForce(); });
    }
    guard.rethrow();
    // Tiles of one geometry reach each other's atoms, so their forces are added by one thread.
    for (const NetworkTile& tile : tiles) {
        tile.addForces(layout.getGeometryStart(), forces);
    }
}

void NetworkPass::evaluate(bool wantForces) {
    std::ranges::fill(forces, 0.0f);
    shares.resize(static_cast<std::size_t>(layout.getNumThreads()));
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1)
    for (int thread = 0; thread < layout.getNumThreads(); ++thread) {
        guard.run([&] { evaluateShare(thread, wantForces); });
    }
    guard.rethrow();
    // Where a geometry is cut, its parts reach each other's atoms, so forces are added in the order of the
    // threads.
    if (wantForces) {
        for (const Share& share : shares) {
            std::ranges::transform(forces, share.forces, forces.begin(), std::plus<>());
        }
    }
}

void NetworkPass::evaluateShare(int thread, bool wantForces) {
    Share& share = shares[static_cast<std::size_t>(thread)];
    share.forces.assign(wantForces ? forces.size() : 0, 0.0f);
    for (const BatchTile& part : layout.tilesOfThread(thread)) {
        share.tile.bind(batch, part, false);
        share.tile.goForward(wantForces);
        share.tile.storeOutputs(layout.getGeometryStart(), outputs);
        if (wantForces) {
            share.tile.goBackwardOnForce();
            share.tile.addForces(layout.getGeometryStart(), share.forces);
        }
    }
}

void NetworkPass::evaluateLoss(const LossSettings& settings, std::span<NNEnsemble> ensembles,
                               NetworkLoss& loss) {
    const auto numModels = static_cast<std::size_t>(ensembles.front().getNumModels());
    Factors factors{std::vector<float>(numModels, 1.0f), std::vector<float>(numModels, 1.0f)};
    prepareShares(true);
    if (settings.sqrtLoss) {
        // The gradient of a root needs the whole loss first.
        sweep(settings, factors, false);
        mergeLoss(loss);
        factors = {takeRoots(loss.output), takeRoots(loss.force)};
        prepareShares(false);
    }
    sweep(settings, factors, true);
    if (!settings.sqrtLoss) {
        mergeLoss(loss);
    }
    for (const Share& share : shares) {
        for (std::size_t e = 0; e < ensembles.size(); ++e) {
            ensembles[e].mergeWeightGrad(share.grads[e]);
        }
    }
}

void NetworkPass::prepareShares(bool wantGrads) {
    shares.resize(static_cast<std::size_t>(layout.getNumThreads()));
    const auto numModels = static_cast<std::size_t>(batch.ensembles.front().getNumModels());
    for (Share& share : shares) {
        share.outputLoss.assign(numModels, 0.0);
        share.forceLoss.assign(numModels, 0.0);
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
    }
}

void NetworkPass::sweep(const LossSettings& settings, const Factors& factors, bool wantGrads) {
    std::ranges::fill(forces, 0.0f);
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1)
    for (int thread = 0; thread < layout.getNumThreads(); ++thread) {
        guard.run([&] {
            for (const BatchTile& part : layout.tilesOfThread(thread)) {
                sweepTile(part, settings, factors, wantGrads, shares[static_cast<std::size_t>(thread)]);
            }
        });
    }
    guard.rethrow();
}

void NetworkPass::sweepTile(const BatchTile& part, const LossSettings& settings, const Factors& factors,
                            bool wantGrads, Share& share) {
    const bool withOutput = !settings.outputScale.empty();
    const bool withForce = !settings.forceScale.empty();
    NetworkTile& tile = share.tile;
    tile.bind(batch, part, true);
    tile.goForward(true);
    tile.storeOutputs(layout.getGeometryStart(), outputs);
    if (withOutput) {
        tile.goBackwardOnOutput({settings.outputScale, factors.output, settings.withHDNNP}, share.outputLoss);
    }
    if (withForce) {
        tile.goBackwardOnForce();
        tile.addForces(layout.getGeometryStart(), forces);
        if (settings.forceGradient != ForceGradient::none) {
            tile.goDoubleBackwardOnForce({settings.forceScale, factors.force}, share.forceLoss);
        }
    }
    if (wantGrads) {
        tile.addWeightGrads(withForce ? settings.forceGradient : ForceGradient::none, withOutput,
                            share.grads);
    }
}

void NetworkPass::mergeLoss(NetworkLoss& loss) const {
    const auto merge = [&](std::vector<double> Share::*part) {
        std::vector<float> sums;
        for (std::size_t m = 0; m < (shares.front().*part).size(); ++m) {
            double sum = 0.0;
            for (const Share& share : shares) {
                sum += (share.*part)[m];
            }
            sums.push_back(static_cast<float>(sum));
        }
        return sums;
    };
    loss.output = merge(&Share::outputLoss);
    loss.force = merge(&Share::forceLoss);
}

} // namespace melta
