#pragma once

#include "baseline/reax/ReaxEvaluation.hpp"
#include "baseline/reax/ReaxParam.hpp"
#include "structure/ClusterSearch.hpp"
#include "structure/NeighborStore.hpp"

#include <span>
#include <vector>

namespace melta {

// The reduced ReaxFF potential of a cluster of atoms without periodic boundaries, in which some atoms stand
// for images or for atoms that are somebody else's: only the energies of the others count.
//
// The energy of an atom depends on atoms up to influenceOf away. Work data are kept: one thread at a time.
class ReaxCluster {
public:
    // `param` must outlive the object.
    explicit ReaxCluster(const ReaxParam& param) : evaluation(param) {}

    // How far the energy of an atom reaches, Angstrom: two bonds and the over-coordination of the last atom,
    // or the van der Waals term.
    static double influenceOf(const ReaxParam& param);

    // positions [numAtoms][3], Angstrom; types [numAtoms], negative: an atom that is not there; weights
    // [numAtoms]: 1 for an atom whose energy counts, else 0.
    void evaluate(std::span<const double> positions, std::span<const int> types,
                  std::span<const double> weights);

    // Results, in kcal/mol and Angstrom, of the atoms that are there: their indices, energies (of those that
    // do not count, too), forces [...][3] and virials [...][6].
    [[nodiscard]] std::span<const int> atoms() const { return present; }
    [[nodiscard]] std::span<const double> energies() const { return evaluation.energies(); }
    [[nodiscard]] std::span<const double> forces() const { return evaluation.forces(); }
    [[nodiscard]] std::span<const double> virials() const { return evaluation.virials(); }

private:
    ReaxEvaluation evaluation;
    ClusterSearch search;
    NeighborStore lists;           // of the atoms that are there
    std::vector<int> present;      // their indices
    std::vector<int> presentTypes; // and what is theirs
    std::vector<double> presentWeights;
    std::vector<double> places; // [present][3], Angstrom
};

} // namespace melta
