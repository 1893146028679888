#include "pair_melta.h"

#include "atom.h"
#include "comm.h"
#include "error.h"
#include "force.h"
#include "memory.h"
#include "neigh_list.h"
#include "neigh_request.h"
#include "neighbor.h"
#include "update.h"
#include "utils.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <numeric>

namespace LAMMPS_NS {
namespace {

std::size_t sizeOf(int number) {
    return static_cast<std::size_t>(number);
}

} // namespace

PairMelta::PairMelta(LAMMPS* lammps) : Pair(lammps), totals(3), shares(3) {
    single_enable = 0;
    restartinfo = 0;
    one_coeff = 1;
    manybody_flag = 1;
    centroidstressflag = CENTROID_NOTAVAIL;
    no_virial_fdotr_compute = 1;
    comm_reverse = 3;
    nextra = 3;
    pvector = shares.data();
}

PairMelta::~PairMelta() {
    pvector = nullptr;
    if (allocated) {
        memory->destroy(setflag);
        memory->destroy(cutsq);
    }
}

void PairMelta::settings(int narg, char** arg) {
    const std::vector<std::string> words(arg, arg + narg);
    try {
        options = melta::MeltaOptions::read(words);
        workspace = melta::Potential::Workspace(options.threads);
    } catch (const melta::Error& failure) {
        error->all(FLERR, "melta: {}", failure.what());
    }
    dump = options.dumpFile.empty() ? nullptr : std::make_unique<melta::MeltaDump>(lmp, options.dumpFile);
}

void PairMelta::allocate() {
    const int n = atom->ntypes;
    memory->create(setflag, n + 1, n + 1, "pair:setflag");
    memory->create(cutsq, n + 1, n + 1, "pair:cutsq");
    allocated = 1;
}

void PairMelta::coeff(int narg, char** arg) {
    if (narg != 3 + atom->ntypes || std::strcmp(arg[0], "*") != 0 || std::strcmp(arg[1], "*") != 0) {
        error->all(FLERR, "melta: pair_coeff wants * *, a force field and the element of each atom type");
    }
    if (allocated == 0) {
        allocate();
    }
    readForceField(arg[2]);
    elementOf.assign(sizeOf(atom->ntypes) + 1, -1);
    elementNames.assign(elementOf.size(), "X");
    for (int type = 1; type <= atom->ntypes; ++type) {
        const std::string label = arg[2 + type];
        elementOf[sizeOf(type)] = potential->elementIndex(label);
        if (label != "NULL" && elementOf[sizeOf(type)] < 0) {
            error->all(FLERR, "melta: the force field has no element {}", label);
        }
        if (elementOf[sizeOf(type)] >= 0) {
            elementNames[sizeOf(type)] = label;
        }
    }
    // Beside other styles only the pairs that are ours are claimed; alone, types without an element do
    // nothing.
    const bool isAlone = force->pair_match("^hybrid", 0) == nullptr;
    for (int i = 1; i <= atom->ntypes; ++i) {
        for (int j = 1; j <= atom->ntypes; ++j) {
            const bool isOurs = elementOf[sizeOf(i)] >= 0 && elementOf[sizeOf(j)] >= 0;
            setflag[i][j] = isOurs || isAlone ? 1 : 0;
        }
    }
}

// All processes read the file, and all of them end if one cannot.
void PairMelta::readForceField(const std::string& file) {
    std::string complaint;
    try {
        potential = std::make_unique<melta::Potential>(melta::Potential::read(file));
    } catch (const std::exception& failure) {
        complaint = failure.what();
    }
    const int mine = complaint.empty() ? 0 : 1;
    int ofAll = 0;
    MPI_Allreduce(&mine, &ofAll, 1, MPI_INT, MPI_MAX, world);
    if (ofAll != 0) {
        error->all(FLERR, "melta: {}", complaint.empty() ? "another process cannot read " + file : complaint);
    }
}

void PairMelta::init_style() {
    if (utils::strmatch(update->integrate_style, "^respa")) {
        error->all(FLERR, "melta: there are no parts of the forces for run_style respa");
    }
    if (force->newton_pair == 0) {
        error->all(FLERR, "melta: pair style melta needs newton on");
    }
    if (options.spreadEvery > 0 && potential->numModels() < 2) {
        error->all(FLERR, "melta: the force field has one model, which has no spread");
    }
    if (std::strcmp(update->unit_style, "metal") == 0) {
        electronVolt = 1.0;
    } else if (std::strcmp(update->unit_style, "real") == 0) {
        electronVolt = utils::get_conversion_factor(utils::ENERGY, utils::METAL2REAL);
    } else {
        error->all(FLERR, "melta: pair style melta needs units metal or real");
    }
    const int request = neighbor->request(this, instance_me);
    neighbor->requests[request]->half = 0;
    neighbor->requests[request]->full = 1;
    // Lists end at the cutoff, ghosts further out: a baseline may look over several bonds.
    comm->cutghostuser = std::max(comm->cutghostuser, potential->influenceDistance() + neighbor->skin);
}

double PairMelta::init_one(int i, int j) {
    if (setflag[i][j] == 0) {
        error->all(FLERR, "All pair coeffs are not set");
    }
    return potential->cutoff();
}

void PairMelta::compute(int eflag, int vflag) {
    ev_init(eflag, vflag);
    const bool withSpread = isReportStep(options.spreadEvery);
    const bool withNovelty = isReportStep(options.noveltyEvery);
    evaluate(wishesOf(withSpread, withNovelty));
    addResults();
    if (withSpread) {
        findSpread();
    }
    if (withSpread || withNovelty) {
        report(withSpread, withNovelty);
    }
    if (withSpread) {
        checkLimit();
    }
}

bool PairMelta::isReportStep(int every) const {
    return every > 0 && update->ntimestep % every == 0;
}

melta::Wishes PairMelta::wishesOf(bool withSpread, bool withNovelty) const {
    using melta::Wish;
    melta::Wishes wishes = Wish::forces;
    if (eflag_either != 0) {
        wishes = wishes | Wish::energy;
    }
    if (vflag_global != 0) {
        wishes = wishes | Wish::virial;
    }
    if (vflag_atom != 0) {
        wishes = wishes | Wish::atomVirials;
    }
    if (withSpread) {
        wishes = wishes | Wish::modelEnergies | Wish::modelForces;
    }
    return withNovelty ? wishes | Wish::novelty : wishes;
}

void PairMelta::evaluate(melta::Wishes wishes) {
    const int numAtoms = atom->nlocal + atom->nghost;
    elements.resize(sizeOf(numAtoms));
    for (int i = 0; i < numAtoms; ++i) {
        elements[sizeOf(i)] = elementOf[sizeOf(atom->type[i])];
    }
    lists.clear();
    lengths.clear();
    for (int l = 0; l < list->inum; ++l) {
        lists.push_back(list->firstneigh[list->ilist[l]]);
        lengths.push_back(list->numneigh[list->ilist[l]]);
    }
    melta::NeighborView view;
    view.numAtoms = numAtoms;
    view.numLocal = atom->nlocal;
    view.positions = numAtoms > 0 ? atom->x[0] : nullptr;
    view.elements = elements.data();
    view.atoms = list->ilist;
    view.numLists = list->inum;
    view.neighbors = lists.data();
    view.lengths = lengths.data();
    view.entryMask = NEIGHMASK;
    try {
        potential->evaluate(view, wishes, result, workspace);
    } catch (const std::exception& failure) {
        error->one(FLERR, "melta: {}", failure.what());
    }
}

void PairMelta::addResults() {
    const int numAtoms = atom->nlocal + atom->nghost;
    for (int i = 0; i < numAtoms; ++i) {
        for (int c = 0; c < 3; ++c) {
            atom->f[i][c] += electronVolt * result.forces[sizeOf(3 * i + c)];
        }
        for (int k = 0; k < 6 && vflag_atom != 0; ++k) {
            vatom[i][k] += electronVolt * result.atomVirials[sizeOf(6 * i + k)];
        }
        if (eflag_atom != 0) {
            eatom[i] += electronVolt * result.energies[sizeOf(i)];
        }
    }
    if (eflag_global != 0) {
        eng_vdwl += electronVolt * result.energy;
    }
    for (int k = 0; k < 6 && vflag_global != 0; ++k) {
        virial[k] += electronVolt * result.virial[sizeOf(k)];
    }
}

void PairMelta::findSpread() {
    const auto numLocal = sizeOf(atom->nlocal);
    const std::size_t length = result.forces.size();
    committee.clear(numLocal);
    for (std::size_t first = 0; first < result.modelForces.size(); first += length) {
        reversed = result.modelForces.data() + first;
        comm->reverse_comm_pair(this);
        committee.add(reversed);
    }
    committee.finish();
    const auto scale = [this](double number) { return electronVolt * number; };
    std::ranges::transform(committee.forceSpread, committee.forceSpread.begin(), scale);
    committee.energySpread.resize(numLocal);
    std::transform(result.energyDeviations.begin(),
                   result.energyDeviations.begin() + static_cast<std::ptrdiff_t>(numLocal),
                   committee.energySpread.begin(), scale);
}

void PairMelta::report(bool withSpread, bool withNovelty) {
    std::string line = "melta: step " + std::to_string(update->ntimestep);
    if (withSpread) {
        const auto largestOf = [](const std::vector<double>& values) {
            return std::accumulate(values.begin(), values.end(), 0.0,
                                   [](double a, double b) { return std::max(a, b); });
        };
        const double mine[2] = {largestOf(committee.forceSpread), largestOf(committee.energySpread)};
        MPI_Allreduce(mine, totals.data(), 2, MPI_DOUBLE, MPI_MAX, world);
        line += fmt::format(", largest spread of forces {:.4g}, of energies {:.4g}", totals[0], totals[1]);
        copyToProperty("forceSpread", committee.forceSpread);
        copyToProperty("energySpread", committee.energySpread);
    }
    if (withNovelty) {
        novelty.assign(result.novelty.begin(), result.novelty.begin() + atom->nlocal);
        const double mine = result.numNovel;
        MPI_Allreduce(&mine, &totals[2], 1, MPI_DOUBLE, MPI_SUM, world);
        line += fmt::format(", {:.0f} novel atoms", totals[2]);
        copyToProperty("novelty", novelty);
    }
    if (comm->me == 0) {
        std::ranges::copy(totals, shares.begin());
        utils::logmesg(lmp, line + "\n");
    }
}

void PairMelta::checkLimit() {
    if (options.limit == melta::MeltaOptions::Limit::none || totals[0] <= options.largestSpread) {
        return;
    }
    if (dump != nullptr) {
        dump->add(elementNames, committee.forceSpread);
    }
    if (options.limit == melta::MeltaOptions::Limit::stop) {
        error->all(FLERR, "melta: the spread of forces exceeds {:g}", options.largestSpread);
    }
    if (comm->me == 0) {
        error->warning(FLERR, "melta: the spread of forces exceeds {:g}", options.largestSpread);
    }
}

// Into a property of atoms of this name, if "fix property/atom" has made one, so that dumps can show it.
void PairMelta::copyToProperty(const char* name, const std::vector<double>& values) {
    int isReal = 0;
    int columns = 0;
    const int index = atom->find_custom(name, isReal, columns);
    if (index >= 0 && isReal == 1 && columns == 0) {
        std::ranges::copy(values, atom->dvector[index]);
    }
}

int PairMelta::pack_reverse_comm(int n, int first, double* buffer) {
    std::copy_n(reversed + 3 * first, 3 * n, buffer);
    return 3 * n;
}

void PairMelta::unpack_reverse_comm(int n, int* atoms, double* buffer) {
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < 3; ++c) {
            reversed[3 * atoms[i] + c] += *buffer++;
        }
    }
}

void* PairMelta::extract_peratom(const char* name, int& columns) {
    columns = 0;
    const auto given = [](std::vector<double>& values) { return static_cast<void*>(values.data()); };
    if (std::strcmp(name, "forceSpread") == 0) {
        return given(committee.forceSpread);
    }
    if (std::strcmp(name, "energySpread") == 0) {
        return given(committee.energySpread);
    }
    return std::strcmp(name, "novelty") == 0 ? given(novelty) : nullptr;
}

double PairMelta::memory_usage() {
    const std::size_t numNumbers = result.forces.capacity() + result.atomVirials.capacity() +
                                   result.modelForces.capacity() + result.energies.capacity();
    return Pair::memory_usage() + static_cast<double>(numNumbers * sizeof(double));
}

} // namespace LAMMPS_NS
