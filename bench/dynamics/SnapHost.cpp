// LAMMPS with the pair style snap, which the distribution's build leaves out.
#include "pair_snap.h"

#include "force.h"
#include "input.h"
#include "lammps.h"

#include <memory>
#include <mpi.h>

namespace {

LAMMPS_NS::Pair* makePair(LAMMPS_NS::LAMMPS* lammps) {
    return std::make_unique<LAMMPS_NS::PairSNAP>(lammps).release();
}

} // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    {
        const auto lammps = std::make_unique<LAMMPS_NS::LAMMPS>(argc, argv, MPI_COMM_WORLD);
        (*lammps->force->pair_map)["snap"] = makePair;
        lammps->input->file();
    }
    MPI_Finalize();
    return 0;
}
