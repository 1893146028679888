#pragma once

#include "baseline/reax/ReaxEvaluation.hpp"
#include "baseline/reax/ReaxParam.hpp"
#include "structure/BaselinePotential.hpp"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace melta {

class Geometry;

// The reduced ReaxFF potential: bond energy, lone pairs, over- and under-coordination, and a van der Waals
// term with an inner wall. No valence angles, torsions, hydrogen bonds or charges.
//
// Atoms whose element the force field does not know have no energy and no force, and do not act on the
// others. An evaluation works in double precision on the widened positions, in kcal/mol and Angstrom; what
// goes out is multiplied by `rate` and in eV and eV/Angstrom.
//
// An object keeps its work data between evaluations: one thread at a time.
class ReaxPot : public BaselinePotential {
public:
    // `rcut`: cutoff of bonds, Angstrom; `rate`: factor on all energies and forces; `fileName`: the force
    // field. Stops as ReaxParam.
    ReaxPot(double rcut, double rate, const std::string& fileName);
    ~ReaxPot() override;

    // All three make neighbour lists of their own and stop as Geometry::haveSetAtoms for a cell or cutoff
    // that is not usable.
    void removeFromGeometry(Geometry* geometry) override;
    float obtainEnergy(const Geometry* geometry) override;
    float obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                  std::span<float> forces) override;

private:
    bool evaluate(const Geometry& geometry, bool withForces);
    void selectAtoms(const Geometry& geometry);
    void createWorkGeometry(const Geometry& geometry);
    [[nodiscard]] double sumEnergies() const;

    ReaxParam param;
    double rate;
    ReaxEvaluation evaluation;
    std::unique_ptr<Geometry> workGeometry; // the atoms that the force field knows; null before the first
    std::vector<int> atomMap;               // for each of these its index in the given geometry
    std::vector<int> types;                 // for each of these its type
    std::vector<double> positions;          // [number of these][3], Angstrom
};

} // namespace melta
