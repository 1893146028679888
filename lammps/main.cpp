// lmp_melta: LAMMPS with the pair style melta beside those that its library has. Command line and input are
// those of lmp.
#include "pair_melta.h"

#include "force.h"
#include "input.h"
#include "lammps.h"
#include "lmppython.h"

#include <cstdio>
#include <exception>
#include <memory>
#include <mpi.h>

namespace {

LAMMPS_NS::Pair* makePair(LAMMPS_NS::LAMMPS* lammps) {
    return std::make_unique<LAMMPS_NS::PairMelta>(lammps).release();
}

void run(int argc, char** argv) {
    const auto lammps = std::make_unique<LAMMPS_NS::LAMMPS>(argc, argv, MPI_COMM_WORLD);
    (*lammps->force->pair_map)["melta"] = makePair;
    lammps->input->file();
}

} // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    try {
        run(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "lmp_melta: %s\n", failure.what());
        MPI_Abort(MPI_COMM_WORLD, 1);
    }
    LAMMPS_NS::Python::finalize();
    MPI_Barrier(MPI_COMM_WORLD);
    MPI_Finalize();
    return 0;
}
