// What an evaluation is asked for and what it gives.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace melta {

// Quantities that may be asked for together, as bits.
enum class Wish : unsigned {
    energy = 1U << 0U,        // Evaluation::energy and energies
    forces = 1U << 1U,        // forces
    virial = 1U << 2U,        // virial
    atomVirials = 1U << 3U,   // atomVirials
    charges = 1U << 4U,       // charges; needs a model with charge networks
    modelEnergies = 1U << 5U, // modelEnergies and energyDeviations
    modelForces = 1U << 6U,   // modelForces and forceDeviations
    novelty = 1U << 7U,       // novelty and numNovel
    descriptors = 1U << 8U,   // descriptors
};

class Wishes {
public:
    constexpr Wishes() = default;
    constexpr Wishes(Wish wish) : bits(static_cast<unsigned>(wish)) {} // NOLINT: a wish is a set of one
    [[nodiscard]] constexpr bool has(Wish wish) const { return (bits & static_cast<unsigned>(wish)) != 0; }
    constexpr Wishes operator|(Wishes other) const { return Wishes(bits | other.bits); }

private:
    explicit constexpr Wishes(unsigned value) : bits(value) {}
    unsigned bits = 0;
};

constexpr Wishes operator|(Wish a, Wish b) {
    return Wishes(a) | Wishes(b);
}

// Results, in the order of the atoms of the view. Arrays that were not asked for are empty. The baseline
// potential of the model is included everywhere. Objects are meant to be used again: their memory is kept.
struct Evaluation {
    double energy = 0.0;          // sum over the local atoms, eV
    std::vector<double> energies; // [numAtoms], eV; 0 for ghosts

    // [numAtoms][3], eV/Angstrom: minus the derivative of `energy` by the position of each atom, ghosts
    // included. The force on an atom with images is the sum over its images.
    std::vector<double> forces;

    // xx, yy, zz, xy, xz, yz, eV: minus the derivative of `energy` by the strain, sum over all pairs of
    // neighbour minus atom times the force that the atom's energy gives the neighbour. Over the volume it is
    // minus the stress.
    std::array<double, 6> virial{};

    // [numAtoms][6], eV: the share of each local atom, from its own energy; their sum is `virial`.
    std::vector<double> atomVirials;

    std::vector<double> charges; // [numAtoms], e; 0 for ghosts

    // The networks that are averaged (models), one by one.
    std::vector<double> modelEnergies;    // [numModels], eV: `energy` of each
    std::vector<double> energyDeviations; // [numAtoms], eV: standard deviation of the energy of each atom
    std::vector<double> modelForces;      // [numModels][numAtoms][3], eV/Angstrom
    std::vector<double> forceDeviations;  // [numAtoms], eV/Angstrom: root of the mean square distance of the
                                          // models' force vectors from their mean, of the forces as they
                                          // stand in `forces` (a host with images adds modelForces up first)

    // [numAtoms], 1 where the descriptor of a local atom lies outside what the training data cover: outside
    // the histograms (any empty bin) or, without them, outside the range of the training data.
    std::vector<std::uint8_t> novelty;
    int numNovel = 0; // sum of novelty

    // With novelty: how far the farthest value of a descriptor lies beyond the range of the training data, in
    // half widths of that range; 0 where all lie inside.
    double excess = 0.0;

    // [numAtoms][Potential::numDescriptors()], the descriptors of each atom as the networks see them: raw
    // ones minus the centre of Potential::descriptorRange, over half its width, so that those of the training
    // data lie between -1 and 1. 0 for ghosts.
    std::vector<float> descriptors;
};

} // namespace melta
