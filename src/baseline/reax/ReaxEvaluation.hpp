#pragma once

#include "baseline/reax/ReaxBondOrders.hpp"
#include "baseline/reax/ReaxBondedTerms.hpp"
#include "baseline/reax/ReaxShell.hpp"
#include "baseline/reax/ReaxVdw.hpp"

#include <span>
#include <vector>

namespace melta {

class ReaxParam;

// One evaluation of the reduced ReaxFF potential, in double precision: the place that sums its terms.
//
// Keeps its memory between evaluations: one thread at a time.
class ReaxEvaluation {
public:
    // `param` must outlive the object.
    explicit ReaxEvaluation(const ReaxParam& param);

    // Cutoff that the neighbour lists of an evaluation need, Angstrom.
    [[nodiscard]] double listCutoff() const;

    // `lists` and `lattice` as ReaxShellBuilder takes them, `types` [numAtoms] the types of the atoms and
    // `positions` [numAtoms][3] (Angstrom) where they are. `weights` [numAtoms]: how much the energy of each
    // atom counts in the energy that forces are derived from; empty: all are 1. With `withVirials`, which
    // needs forces, also their virials.
    void run(const NeighborStore& lists, std::span<const float, 9> lattice, std::span<const int> types,
             std::span<const double> positions, bool withForces, std::span<const double> weights = {},
             bool withVirials = false);

    // Results of the last run. Energies [numAtoms], kcal/mol.
    [[nodiscard]] std::span<const double> energies() const { return atomEnergies; }

    // Forces [numAtoms][3], kcal/mol/Angstrom; empty without.
    [[nodiscard]] std::span<const double> forces() const { return atomForces; }

    // Virials [numAtoms][6] (see addVirial), kcal/mol; empty without.
    [[nodiscard]] std::span<const double> virials() const { return atomVirials; }

    // The bonds behind them.
    [[nodiscard]] const ReaxBondOrders& bondOrders() const { return orders; }

private:
    const ReaxParam* param;
    ReaxShellBuilder shells;
    ReaxBondOrders orders;
    ReaxBondedTerms bondedTerms;
    ReaxVdw vdw;
    std::vector<double> ones; // weights of a run without
    std::vector<double> atomEnergies;
    std::vector<double> atomForces;
    std::vector<double> atomVirials;
};

} // namespace melta
