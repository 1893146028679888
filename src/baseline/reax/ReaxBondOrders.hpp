#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace melta {

class ReaxParam;
struct ReaxShell;

// How one corrected bond order depends on what it is made of.
struct ReaxOrder {
    double value = 0.0;
    double byOwn = 0.0;    // derivative by the uncorrected order of its own kind (pi, double pi)
    double byTotal = 0.0;  // by the uncorrected total order
    double byFirst = 0.0;  // by deltaPrime of the first atom
    double bySecond = 0.0; // by deltaPrime of the second atom
};

// A pair of atoms, or of an atom and an image, that forms a bond. Lengths in Angstrom.
struct ReaxBond {
    std::size_t first; // index of the atoms
    std::size_t second;
    std::size_t pair;                // index of the pair of types
    std::array<double, 3> direction; // unit vector from the first to the second
    double length;

    // Uncorrected orders and their derivatives by the distance, 1/Angstrom. The total is reduced by the
    // cutoff of bond orders.
    double total;
    double pi;
    double piPi;
    double totalSlope;
    double piSlope;
    double piPiSlope;

    // Corrected orders: of the whole bond, and of the pi parts in it.
    ReaxOrder order;
    ReaxOrder orderPi;
    ReaxOrder orderPiPi;
};

// Derivatives of an energy by the three corrected orders of a bond, kcal/mol.
struct ReaxOrderGradient {
    double order = 0.0;
    double orderPi = 0.0;
    double orderPiPi = 0.0;
};

// The bond orders of ReaxFF (van Duin, Dasgupta, Lorant and Goddard, J. Phys. Chem. A 105, 9396 (2001)) and
// the way back from them to the atoms.
//
// Each bond is kept once and serves both of its atoms. Order of calls: start, addShell for all atoms,
// correct. Keeps its memory between evaluations: one thread at a time.
class ReaxBondOrders {
public:
    // `param` must outlive the object.
    explicit ReaxBondOrders(const ReaxParam& param);

    // Forgets all bonds. `types` [numAtoms] must live until the last call.
    void start(std::span<const int> types);

    // Adds the bonds of one atom: the pairs nearer than the cutoff of bonds whose uncorrected order reaches
    // boCut.
    void addShell(const ReaxShell& shell);

    // Corrects the orders of all bonds.
    void correct();

    [[nodiscard]] std::span<const ReaxBond> bonds() const { return bondList; }

    // Per atom: sum of the uncorrected orders minus the valency.
    [[nodiscard]] std::span<const double> deltaPrime() const { return excess; }

    // Per atom: sum of the corrected orders.
    [[nodiscard]] std::span<const double> totalOrders() const { return sums; }

    // Adds to the forces [numAtoms][3] (kcal/mol/Angstrom) those of an energy with these derivatives, one for
    // each bond, and to the virials, unless they are empty, those of the bonds (see addVirial).
    void distribute(std::span<const ReaxOrderGradient> gradients, std::span<double> forces,
                    std::span<double> virials);

    // Distance (Angstrom) from which on a pair of types has no bonds; at most the cutoff of bonds. It saves
    // the powers of most pairs.
    [[nodiscard]] double reachOf(int type, int otherType) const;

private:
    struct Uncorrected {
        double total, pi, piPi;
        double totalSlope, piSlope, piPiSlope;
    };
    struct Damping; // what the correction multiplies with

    [[nodiscard]] Uncorrected computeUncorrected(int type, int otherType, double r) const;
    [[nodiscard]] double findReach(int type, int otherType) const;
    [[nodiscard]] bool fallsWithDistance(int type, int otherType) const;
    void dampByOvercoordination(const ReaxBond& bond, Damping& damping) const;
    void dampByAngles(const ReaxBond& bond, Damping& damping) const;
    void correctBond(ReaxBond& bond) const;

    const ReaxParam* param;
    std::vector<double> reach; // per pair of types
    std::span<const int> types;
    std::vector<ReaxBond> bondList;
    std::vector<double> excess;
    std::vector<double> sums;
    std::vector<double> exponentials; // per atom, exp(-pBoc1 deltaPrime)
    std::vector<double> byExcess;     // per atom, derivative of the energy by deltaPrime, kcal/mol
    std::vector<double> directSlopes; // per bond, derivative of the energy by r at fixed deltaPrime
};

} // namespace melta
