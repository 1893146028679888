#pragma once

#include "melta/Potential.hpp"

#include <string>
#include <vector>

namespace melta {

// A trained potential as the KIM API knows it: in the units of the simulator. It does not change after
// loading; each set of compute arguments has a KimEvaluation of its own. KIM keeps pointers to the distances.
class KimModel {
public:
    // What one Angstrom and one eV are in the units of the simulator.
    struct Units {
        double length;
        double energy;
    };

    // Name of the force field beside the library of an installed model.
    static constexpr const char* forceFieldName = "ffield.melta";

    // Reads an exported force field. Throws Error if it is not sound.
    KimModel(const std::string& file, Units hostUnits);

    KimModel(const KimModel&) = delete;
    KimModel& operator=(const KimModel&) = delete;
    KimModel(KimModel&&) = delete;
    KimModel& operator=(KimModel&&) = delete;
    ~KimModel() = default;

    [[nodiscard]] const Potential& getPotential() const { return potential; }
    [[nodiscard]] const Units& getUnits() const { return units; }

    // In the units of the simulator: how far ghosts have to be there, and how far the lists reach.
    [[nodiscard]] const double* getInfluenceDistance() const { return &influenceDistance; }
    [[nodiscard]] const double* getCutoff() const { return &cutoff; }

    // KIM's word for "no lists of particles that do not contribute": baselines that look further find their
    // neighbours themselves.
    [[nodiscard]] const int* getListsOfContributingOnly() const { return &listsOfContributingOnly; }

private:
    Potential potential;
    Units units;
    double influenceDistance;
    double cutoff;
    int listsOfContributingOnly = 1;
};

} // namespace melta
