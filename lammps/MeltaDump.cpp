#include "MeltaDump.hpp"

#include "atom.h"
#include "comm.h"
#include "domain.h"
#include "error.h"
#include "fmt/format.h"
#include "update.h"

#include <algorithm>
#include <fstream>
#include <mpi.h>
#include <utility>

namespace melta {

MeltaDump::MeltaDump(LAMMPS_NS::LAMMPS* lammps, std::string name) : Pointers(lammps), file(std::move(name)) {
    int isOpen = 1;
    if (comm->me == 0) {
        isOpen = std::ofstream(file, std::ios::app).is_open() ? 1 : 0;
    }
    MPI_Bcast(&isOpen, 1, MPI_INT, 0, world);
    if (isOpen == 0) {
        error->all(FLERR, "melta: cannot open file: {}", file);
    }
}

void MeltaDump::add(const std::vector<std::string>& elements, const std::vector<double>& forceSpread) {
    std::vector<Row> rows = gather(localRows(forceSpread));
    if (comm->me != 0) {
        return;
    }
    std::ranges::stable_sort(rows, {}, &Row::tag);
    std::ofstream out(file, std::ios::app);
    out << headOf(rows);
    for (const Row& row : rows) {
        const auto& [x, y, z] = row.position;
        out << fmt::format("{} {:.10f} {:.10f} {:.10f} {:.6g}\n",
                           elements[static_cast<std::size_t>(row.type)], x, y, z, row.forceSpread);
    }
    out.flush();
    if (!out) {
        error->one(FLERR, "melta: cannot write file: {}", file);
    }
}

std::vector<MeltaDump::Row> MeltaDump::localRows(const std::vector<double>& forceSpread) const {
    std::vector<Row> rows;
    rows.reserve(static_cast<std::size_t>(atom->nlocal));
    for (int i = 0; i < atom->nlocal; ++i) {
        Row row{};
        row.tag = atom->tag_enable != 0 ? static_cast<double>(atom->tag[i]) : 0.0;
        row.type = atom->type[i];
        for (int c = 0; c < 3; ++c) {
            row.position[c] = atom->x[i][c] - domain->boxlo[c];
        }
        row.forceSpread = forceSpread[static_cast<std::size_t>(i)];
        rows.push_back(row);
    }
    return rows;
}

// The rows of all processes on process 0, elsewhere none.
std::vector<MeltaDump::Row> MeltaDump::gather(const std::vector<Row>& mine) const {
    constexpr int width = sizeof(Row) / sizeof(double);
    const int length = width * static_cast<int>(mine.size());
    std::vector<int> lengths(static_cast<std::size_t>(comm->nprocs));
    std::vector<int> places(lengths.size());
    MPI_Gather(&length, 1, MPI_INT, lengths.data(), 1, MPI_INT, 0, world);
    int whole = 0;
    for (std::size_t p = 0; p < lengths.size(); ++p) {
        places[p] = std::exchange(whole, whole + lengths[p]);
    }
    std::vector<Row> all(comm->me == 0 ? static_cast<std::size_t>(whole / width) : 0);
    MPI_Gatherv(mine.data(), length, MPI_DOUBLE, all.data(), lengths.data(), places.data(), MPI_DOUBLE, 0,
                world);
    return all;
}

std::string MeltaDump::headOf(const std::vector<Row>& rows) const {
    double largest = 0.0;
    for (const Row& row : rows) {
        largest = std::max(largest, row.forceSpread);
    }
    const double* const h = domain->h; // xx, yy, zz, yz, xz, xy
    const auto letter = [](int isPeriodic) { return isPeriodic != 0 ? 'T' : 'F'; };
    return fmt::format("{}\nLattice=\"{:.10f} 0 0 {:.10f} {:.10f} 0 {:.10f} {:.10f} {:.10f}\" "
                       "Properties=species:S:1:pos:R:3:force_spread:R:1 step={} largest_force_spread={:.6g} "
                       "pbc=\"{} {} {}\"\n",
                       rows.size(), h[0], h[5], h[1], h[4], h[3], h[2], update->ntimestep, largest,
                       letter(domain->xperiodic), letter(domain->yperiodic), letter(domain->zperiodic));
}

} // namespace melta
