#pragma once

#include "baseline/classical/ClassicalParameters.hpp"
#include "structure/ViewBaseline.hpp"

#include <array>
#include <cstddef>

namespace melta {

// The Lennard-Jones-like potential (see ClassicalPot) for views, in double precision.
class ClassicalView final : public ViewBaseline {
public:
    // `rcut`: cutoff, Angstrom.
    ClassicalView(ClassicalParameters fitted, double rcut);

    [[nodiscard]] double influenceDistance() const override { return cutoff; }
    [[nodiscard]] std::unique_ptr<Evaluator> makeEvaluator() const override;

    // Energy of a pair of elements at a distance (Angstrom) below the cutoff, eV, and its derivative,
    // eV/Angstrom.
    struct Pair {
        double energy;
        double slope;
    };
    [[nodiscard]] Pair evaluate(std::size_t element, std::size_t other, double r) const;

private:
    class PairEvaluator;

    ClassicalParameters parameters;
    double cutoff;
    std::array<double, numPowers> shift{}; // rcut^-n
    std::array<double, numPowers> tilt{};  // n rcut^-(n + 1)
};

} // namespace melta
