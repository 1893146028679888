#pragma once

#include <cstddef>
#include <vector>

namespace melta {

// How far the models of a committee disagree about each atom. The forces of a model come in one by one, once
// the shares of the ghosts have come home.
class MeltaCommittee {
public:
    // Begins anew for this many atoms.
    void clear(std::size_t numAtoms);

    // Takes the forces [numAtoms][3] of the next model.
    void add(const double* forces);

    // Sets forceSpread from the models so far.
    void finish();

    std::vector<double> energySpread; // [numAtoms], set by the owner
    std::vector<double> forceSpread;  // [numAtoms], root of the mean square distance from the mean force

private:
    double numModels = 0.0;
    std::vector<double> mean;    // [numAtoms][3], of the models so far
    std::vector<double> squares; // [numAtoms], sum of the square distances from the mean
};

} // namespace melta
