#pragma once

#include "melta/NeighborView.hpp"

#include <memory>
#include <span>

namespace melta {

// Results of a baseline potential for the atoms of a view, to which it adds. The last two may be empty.
struct BaselineSums {
    std::span<double> energies; // [numAtoms], of local atoms, eV
    std::span<double> forces;   // [numAtoms][3], eV/Angstrom, from the energies of the local atoms
    std::span<double> virials;  // [numAtoms][6], xx, yy, zz, xy, xz, yz, eV; shares of ghosts may be in it
};

// A baseline potential with its parameters, for the evaluation of views. It does not change; several threads
// may use it at once, each with an evaluator of its own.
class ViewBaseline {
public:
    // Keeps work data: one thread at a time.
    class Evaluator {
    public:
        Evaluator() = default;
        virtual ~Evaluator() = default;
        Evaluator(const Evaluator&) = delete;
        Evaluator& operator=(const Evaluator&) = delete;
        Evaluator(Evaluator&&) = delete;
        Evaluator& operator=(Evaluator&&) = delete;

        virtual void add(const NeighborView& view, const BaselineSums& sums) = 0;
    };

    ViewBaseline() = default;
    virtual ~ViewBaseline() = default;
    ViewBaseline(const ViewBaseline&) = delete;
    ViewBaseline& operator=(const ViewBaseline&) = delete;
    ViewBaseline(ViewBaseline&&) = delete;
    ViewBaseline& operator=(ViewBaseline&&) = delete;

    // How far the energy of an atom reaches, Angstrom.
    [[nodiscard]] virtual double influenceDistance() const = 0;

    // Borrows this object.
    [[nodiscard]] virtual std::unique_ptr<Evaluator> makeEvaluator() const = 0;
};

} // namespace melta
