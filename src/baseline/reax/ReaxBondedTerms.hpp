#pragma once

#include "baseline/reax/ReaxBondOrders.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace melta {

class ReaxParam;

// The terms of ReaxFF that live on the corrected bond orders: bond energy, lone pairs, over- and
// under-coordination (Chenoweth, van Duin and Goddard, J. Phys. Chem. A 112, 1040 (2008)), with the smooth
// count of lone pairs of countLonePairs.
//
// Keeps its memory between evaluations: one thread at a time.
class ReaxBondedTerms {
public:
    // `param` must outlive the object.
    explicit ReaxBondedTerms(const ReaxParam& param);

    // Adds the energies of all terms to `energies` [numAtoms], kcal/mol. `types` [numAtoms]. `weights`
    // [numAtoms]: how much the energy of each atom counts in the energy that createGradients derives.
    void calculate(const ReaxBondOrders& orders, std::span<const int> types, std::span<const double> weights,
                   std::span<double> energies);

    // After calculate: the derivatives of the weighted energy by the orders of each bond.
    std::span<const ReaxOrderGradient> createGradients(const ReaxBondOrders& orders);

private:
    // What the terms know of an atom. Derivatives are those of the weighted energy, kcal/mol.
    struct Atom {
        double delta = 0.0;        // sum of the orders minus valency
        double nlp = 0.0;          // lone pairs
        double nlpDeriv = 0.0;     // by deltaE
        double nlpTemp = 0.0;      // lone pairs as neighbours see them
        double nlpTempDeriv = 0.0; // by deltaE
        double deltaLp = 0.0;      // delta, corrected by the lone pairs
        double sumPi = 0.0;        // sum over the bonds of the pi orders times deltaLp of the neighbour
        double sumSigma = 0.0;     // sum over the bonds of order x pOvun1 x deSigma, kcal/mol
        double byNlp = 0.0;
        double byNlpTemp = 0.0;
        double byDelta = 0.0;
        double bySumPi = 0.0;
        double bySumSigma = 0.0;
    };

    static void weigh(Atom& atom, double weight);
    void prepareAtoms(const ReaxBondOrders& orders, std::span<const int> types);
    void sumOverBonds(const ReaxBondOrders& orders);
    void addBondEnergy(const ReaxBondOrders& orders, std::span<const double> weights,
                       std::span<double> energies);
    [[nodiscard]] double computeLonePairEnergy(Atom& atom, std::size_t type) const;
    [[nodiscard]] double computeCoordinationEnergy(Atom& atom, std::size_t type) const;

    const ReaxParam* param;
    std::vector<Atom> atoms;
    std::vector<ReaxOrderGradient> gradients; // per bond
};

} // namespace melta
