// A pair style of LAMMPS. LAMMPS finds styles in headers of this name by the lines up to #else.
#ifdef PAIR_CLASS
// clang-format off
PairStyle(melta,PairMelta);
// clang-format on
#else

#ifndef LMP_PAIR_MELTA_H
#define LMP_PAIR_MELTA_H

#include "MeltaCommittee.hpp"
#include "MeltaDump.hpp"
#include "MeltaOptions.hpp"
#include "melta/Potential.hpp"
#include "pair.h"

#include <memory>
#include <string>
#include <vector>

namespace LAMMPS_NS {

// pair_style melta [spread N [warn X | stop X [dump FILE]]] [novelty N] [threads N]
// pair_coeff * * ffield.melta <element of each atom type, or NULL>
//
// Energies, forces, global and per-atom virial of an exported force field, in units metal or real. Needs
// newton on and full lists. What is wrong with a force field ends LAMMPS with an error of its own.
class PairMelta : public Pair {
public:
    explicit PairMelta(LAMMPS* lammps);
    ~PairMelta() override;

    void compute(int eflag, int vflag) override;
    void settings(int narg, char** arg) override;
    void coeff(int narg, char** arg) override;
    void init_style() override;
    double init_one(int i, int j) override;
    int pack_reverse_comm(int n, int first, double* buffer) override;
    void unpack_reverse_comm(int n, int* atoms, double* buffer) override;
    double memory_usage() override;

    // Of the last step with a report, for each local atom: "energySpread" and "forceSpread", standard
    // deviations over the models; "novelty", 1 where the training data do not cover the atom. Null for other
    // names.
    virtual void* extract_peratom(const char* name, int& columns);

private:
    void allocate();
    void readForceField(const std::string& file);
    [[nodiscard]] bool isReportStep(int every) const;
    melta::Wishes wishesOf(bool withSpread, bool withNovelty) const;
    void evaluate(melta::Wishes wishes);
    void addResults();
    void findSpread();
    void report(bool withSpread, bool withNovelty);
    void checkLimit();
    void copyToProperty(const char* name, const std::vector<double>& values);

    melta::MeltaOptions options;
    std::unique_ptr<melta::Potential> potential;
    melta::Potential::Workspace workspace;
    melta::Evaluation result;
    melta::MeltaCommittee committee;
    std::unique_ptr<melta::MeltaDump> dump; // null without the option
    double electronVolt = 1.0;              // in the units of the run
    std::vector<int> elementOf;             // [ntypes + 1], -1 for NULL
    std::vector<std::string> elementNames;  // [ntypes + 1], X for NULL as in XYZ
    std::vector<int> elements;              // [atoms and ghosts]
    std::vector<const int*> lists;          // [inum]
    std::vector<int> lengths;               // [inum]
    std::vector<double> novelty;            // [nlocal] of the last report
    std::vector<double> totals; // of the last report: largest spread of forces and of energies, novel atoms
    std::vector<double> shares; // pvector, of which LAMMPS takes the sum: totals on one process, else 0
    double* reversed = nullptr; // [atoms and ghosts][3], what goes home from the ghosts
};

} // namespace LAMMPS_NS

#endif
#endif
