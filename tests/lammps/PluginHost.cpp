// LAMMPS with the command "plugin" of its package PLUGIN, otherwise as it is installed.
#include "plugin.h"

#include "input.h"
#include "lammps.h"

#include <memory>
#include <mpi.h>

namespace {

LAMMPS_NS::Command* makeCommand(LAMMPS_NS::LAMMPS* lammps) {
    return std::make_unique<LAMMPS_NS::Plugin>(lammps).release();
}

} // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    {
        const auto lammps = std::make_unique<LAMMPS_NS::LAMMPS>(argc, argv, MPI_COMM_WORLD);
        (*lammps->input->command_map)["plugin"] = makeCommand;
        lammps->input->file();
        LAMMPS_NS::plugin_clear(lammps.get());
    }
    MPI_Finalize();
    return 0;
}
