#include "baseline/reax/ReaxVdw.hpp"

#include "baseline/reax/ReaxParam.hpp"
#include "baseline/reax/ReaxShell.hpp"
#include "baseline/reax/ReaxVirial.hpp"

#include <array>
#include <cmath>

namespace melta {
namespace {

constexpr double smallestLength = 1.0e-16;

ReaxVdwPair makePair(const ReaxParam& param, std::size_t index) {
    ReaxVdwPair pair;
    const bool hasDistance = !param.withShielding || param.pairGammaW[index] >= smallestLength;
    if (param.pairRVdw[index] >= smallestLength && hasDistance) {
        pair.depth = param.pairDepth[index];
        pair.halfAlpha = 0.5 * param.pairAlpha[index];
        pair.halfAlphaPerRVdw = pair.halfAlpha / param.pairRVdw[index];
    }
    if (param.withShielding && hasDistance) {
        pair.shielding = std::pow(1.0 / param.pairGammaW[index], param.pVdw1);
    }
    if (param.pairRcore[index] >= smallestLength) {
        pair.ecore = param.pairEcore[index];
        pair.acore = param.pairAcore[index];
        pair.acorePerRcore = pair.acore / param.pairRcore[index];
    }
    return pair;
}

} // namespace

ReaxVdw::ReaxVdw(const ReaxParam& forceField) : param(&forceField), form{forceField.taper, forceField.pVdw1} {
    const std::size_t numPairs = forceField.pairIndex(forceField.numElems, 0);
    pairs.reserve(numPairs);
    for (std::size_t index = 0; index < numPairs; ++index) {
        pairs.push_back(makePair(forceField, index));
    }
}

void ReaxVdw::prepare() {
    kernel = selectReaxVdwKernel(param->withShielding, param->withInnerWall);
}

void ReaxVdw::add(const ReaxShell& shell, std::span<const double> weights, std::span<double> energies,
                  std::span<double> forces, std::span<double> virials) {
    pairEnergies.reserve(shell.size);
    pairFactors.reserve(shell.size);
    const auto i = static_cast<std::size_t>(shell.iatom);
    double energy = 0.0;
    std::array<double, 3> force{};
    for (const ReaxShell::Run& run : shell.runs) {
        const ReaxVdwRun work{run.end - run.begin, shell.r.data() + run.begin,
                              pairEnergies.data() + run.begin, pairFactors.data() + run.begin};
        kernel(work, form, pairs[param->pairIndex(shell.type, run.type)]);
        for (std::size_t n = run.begin; n < run.end; ++n) {
            const auto j = static_cast<std::size_t>(shell.atom[n]);
            const double half = 0.5 * pairEnergies[n];
            energy += half;
            energies[j] += half;
        }
        if (forces.empty()) {
            continue;
        }
        for (std::size_t n = run.begin; n < run.end; ++n) {
            const auto j = static_cast<std::size_t>(shell.atom[n]);
            double* const forceOfOther = forces.data() + 3 * j;
            const double factor = pairFactors[n] * (0.5 * (weights[i] + weights[j]));
            const double fx = factor * shell.dx[n];
            const double fy = factor * shell.dy[n];
            const double fz = factor * shell.dz[n];
            force[0] += fx;
            force[1] += fy;
            force[2] += fz;
            forceOfOther[0] -= fx;
            forceOfOther[1] -= fy;
            forceOfOther[2] -= fz;
            if (!virials.empty()) {
                addVirial(i, j, {shell.dx[n], shell.dy[n], shell.dz[n]}, -factor, virials);
            }
        }
    }
    energies[i] += energy;
    if (!forces.empty()) {
        for (std::size_t c = 0; c < 3; ++c) {
            forces[3 * i + c] += force[c];
        }
    }
}

} // namespace melta
