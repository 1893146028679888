#pragma once

#include "KIM_ModelHeaders.hpp"
#include "melta/NeighborView.hpp"

#include <span>
#include <vector>

namespace melta {

// The particles of a simulator as the atoms of a view: those that contribute come first, as KIM does not ask
// for. Keeps its memory from step to step.
class KimAtoms {
public:
    // Takes particles and lists from the arguments. `angstrom`: one Angstrom in the units of the simulator.
    // `numElements`: the codes of species are below. Throws Error if the simulator leaves out an argument or
    // a list, or hands over a code or a neighbour that is out of range.
    void update(const KIM::ModelComputeArguments& arguments, double angstrom, int numElements);

    // Valid until the next update.
    [[nodiscard]] NeighborView view() const;

    // [numAtoms of the view]: the particle that each atom is.
    [[nodiscard]] std::span<const int> particles() const { return particleOf; }

private:
    void orderParticles(std::span<const int> contributing);
    void copyAtoms(const double* coordinates, const int* codes, double angstrom, int numElements);
    void copyLists(const KIM::ModelComputeArguments& arguments);

    int numLocal = 0;
    std::vector<int> particleOf;
    std::vector<int> atomOf; // the inverse
    std::vector<double> positions;
    std::vector<int> elements;
    std::vector<int> entries; // all lists behind each other
    std::vector<int> lengths; // [numLocal]
    std::vector<const int*> lists;
};

} // namespace melta
