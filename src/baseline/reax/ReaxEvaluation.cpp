#include "baseline/reax/ReaxEvaluation.hpp"

#include "baseline/reax/ReaxParam.hpp"

#include <algorithm>

namespace melta {

ReaxEvaluation::ReaxEvaluation(const ReaxParam& forceField)
    : param(&forceField), orders(forceField), bondedTerms(forceField), vdw(forceField) {}

double ReaxEvaluation::listCutoff() const {
    return std::max(param->rcut, param->rcutVdw);
}

void ReaxEvaluation::run(const NeighborStore& lists, std::span<const float, 9> lattice,
                         std::span<const int> types, std::span<const double> positions, bool withForces,
                         std::span<const double> givenWeights, bool withVirials) {
    ones.assign(givenWeights.empty() ? types.size() : 0, 1.0);
    const std::span<const double> weights = givenWeights.empty() ? ones : givenWeights;
    atomEnergies.assign(types.size(), 0.0);
    atomForces.assign(withForces ? positions.size() : 0, 0.0);
    atomVirials.assign(withVirials ? 6 * types.size() : 0, 0.0);
    shells.start(lists, lattice, types, param->numElems, positions);
    orders.start(types);
    vdw.prepare();
    for (int iatom = 0; iatom < static_cast<int>(types.size()); ++iatom) {
        const ReaxShell& shell = shells.create(iatom, listCutoff());
        orders.addShell(shell);
        // The taper grows again beyond its upper radius: bonds that reach farther need a shell of their own.
        const bool isForBoth = param->rcutVdw >= listCutoff();
        vdw.add(isForBoth ? shell : shells.create(iatom, param->rcutVdw), weights, atomEnergies, atomForces,
                atomVirials);
    }
    orders.correct();
    bondedTerms.calculate(orders, types, weights, atomEnergies);
    if (withForces) {
        orders.distribute(bondedTerms.createGradients(orders), atomForces, atomVirials);
    }
}

} // namespace melta
