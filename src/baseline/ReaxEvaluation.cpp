#include "baseline/ReaxEvaluation.hpp"

#include "baseline/ReaxParam.hpp"
#include "structure/Geometry.hpp"

#include <algorithm>

namespace melta {

ReaxEvaluation::ReaxEvaluation(const ReaxParam& forceField)
    : param(&forceField), orders(forceField), bondedTerms(forceField), vdw(forceField) {}

double ReaxEvaluation::listCutoff() const {
    return std::max(param->rcut, param->rcutVdw);
}

void ReaxEvaluation::run(const Geometry& geometry, std::span<const int> types,
                         std::span<const double> positions, bool withForces) {
    atomEnergies.assign(types.size(), 0.0);
    atomForces.assign(withForces ? positions.size() : 0, 0.0);
    shells.start(geometry, types, param->numElems, positions);
    orders.start(types);
    vdw.prepare();
    for (int iatom = 0; iatom < geometry.numAtoms; ++iatom) {
        const ReaxShell& shell = shells.create(iatom, listCutoff());
        orders.addShell(shell);
        // The taper grows again beyond its upper radius: bonds that reach farther need a shell of their own.
        const bool isForBoth = param->rcutVdw >= listCutoff();
        vdw.add(isForBoth ? shell : shells.create(iatom, param->rcutVdw), atomEnergies, atomForces);
    }
    orders.correct();
    bondedTerms.calculate(orders, types, atomEnergies);
    if (withForces) {
        orders.distribute(bondedTerms.createGradients(orders), atomForces);
    }
}

} // namespace melta
