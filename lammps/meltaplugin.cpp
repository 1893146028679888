// The pair style melta for a LAMMPS that loads plugins: "plugin load meltaplugin.so".
#include "lammpsplugin.h"
#include "pair_melta.h"
#include "version.h"

#include <memory>

namespace {

// LAMMPS takes what comes back for a Pair*.
void* makePair(void* lammps) {
    std::unique_ptr<LAMMPS_NS::Pair> pair =
        std::make_unique<LAMMPS_NS::PairMelta>(static_cast<LAMMPS_NS::LAMMPS*>(lammps));
    return pair.release();
}

} // namespace

extern "C" __attribute__((visibility("default"))) void lammpsplugin_init(void* lammps, void* handle,
                                                                         void* registrar) {
    lammpsplugin_t plugin{};
    plugin.version = LAMMPS_VERSION;
    plugin.style = "pair";
    plugin.name = "melta";
    plugin.info = "neural-network potentials of melta";
    plugin.author = "the melta developers";
    plugin.creator.v1 = &makePair;
    plugin.handle = handle;
    reinterpret_cast<lammpsplugin_regfunc>(registrar)(&plugin, lammps);
}
