#include "structure/NeighborSearch.hpp"

#include "driver/ParallelGuard.hpp"
#include "driver/Reporting.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <omp.h>

namespace melta {
namespace {

// The single-precision number just above 0.01, square of the distance (Angstrom) below which two atoms are
// one.
constexpr float smallestSquare = 0.010000001f;

// An image in the table: who it is and where. The place is kept so that each pair costs one distance and no
// more.
struct Image {
    float x, y, z; // Angstrom
    Neighbor record;
};

// Distance between the two faces of the cell that the vectors other than `axis` span, Angstrom.
float projectedLength(std::span<const float, 9> invLattice, std::size_t axis) {
    const float x = invLattice[axis];
    const float y = invLattice[3 + axis];
    const float z = invLattice[6 + axis];
    const float square = x * x + y * y + z * z;
    if (!(square > 0.0f)) {
        stopWithMessage("projected lattice length is incorrect.");
    }
    // One Newton step evens out how the machine rounds the root and the quotient.
    const float estimate = 1.0f / std::sqrt(square);
    return -0.5f * estimate * (square * estimate * estimate - 3.0f);
}

// Numbers of images on either side, as floats: they come out huge, or no numbers, for absurd cells.
std::array<float, 3> measureImages(std::span<const float, 9> invLattice, float rcut) {
    std::array<float, 3> numImages{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        numImages[axis] = std::ceil(rcut / projectedLength(invLattice, axis));
    }
    return numImages;
}

// The numbers of images as integers, unless all images of all atoms together are too many.
std::array<int, 3> checkImages(const std::array<float, 3>& numImages, std::size_t numAtoms) {
    std::array<int, 3> checked{};
    double total = static_cast<double>(numAtoms);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        total *= 2.0 * static_cast<double>(numImages[axis]) + 1.0;
        if (!(total <= static_cast<double>(maxSearchImages))) {
            stopWithMessage("too many periodic images for detecting neighbors.");
        }
        checked[axis] = static_cast<int>(numImages[axis]);
    }
    return checked;
}

// The box around the cell and its division into bins.
class BinGrid {
public:
    BinGrid(std::span<const float, 9> lattice, float rcut) {
        lower.fill(-rcut);
        upper.fill(rcut);
        for (std::size_t i = 0; i < 9; ++i) {
            (lattice[i] > 0.0f ? upper : lower)[i % 3] += lattice[i];
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            divide(axis, rcut);
        }
    }

    [[nodiscard]] bool contains(const std::array<float, 3>& p) const {
        return lower[0] <= p[0] && p[0] <= upper[0] && lower[1] <= p[1] && p[1] <= upper[1] &&
               lower[2] <= p[2] && p[2] <= upper[2];
    }

    // Bin of a coordinate along an axis, limited to the first and the last one, wherever the coordinate lies.
    [[nodiscard]] int binAlong(std::size_t axis, float coordinate) const {
        const float bin = (coordinate - lower[axis]) / width[axis];
        if (!(bin > 0.0f)) {
            return 0;
        }
        return bin < static_cast<float>(numBins[axis]) ? static_cast<int>(bin) : numBins[axis] - 1;
    }

    [[nodiscard]] std::size_t indexOf(int bx, int by, int bz) const {
        const auto numX = static_cast<std::size_t>(numBins[0]);
        const auto numY = static_cast<std::size_t>(numBins[1]);
        return static_cast<std::size_t>(bx) +
               numX * (static_cast<std::size_t>(by) + numY * static_cast<std::size_t>(bz));
    }

    [[nodiscard]] std::size_t indexOf(const std::array<float, 3>& p) const {
        return indexOf(binAlong(0, p[0]), binAlong(1, p[1]), binAlong(2, p[2]));
    }

    [[nodiscard]] int binsAlong(std::size_t axis) const { return numBins[axis]; }
    [[nodiscard]] std::size_t totalBins() const { return total; }

private:
    void divide(std::size_t axis, float rcut) {
        const float extent = upper[axis] - lower[axis];
        const float count = extent / rcut;
        if (!(count >= 1.0f)) {
            stopWithMessage("%c-dimension of binning table is not positive.", "xyz"[axis]);
        }
        if (!(count <= static_cast<float>(maxSearchBins / total))) {
            stopWithMessage("too many bins for detecting neighbors.");
        }
        numBins[axis] = static_cast<int>(count);
        total *= static_cast<std::size_t>(numBins[axis]);
        width[axis] = extent / static_cast<float>(numBins[axis]);
    }

    std::array<float, 3> lower{}; // Angstrom
    std::array<float, 3> upper{}; // Angstrom
    std::array<float, 3> width{}; // of a bin, Angstrom
    std::array<int, 3> numBins{};
    std::size_t total = 1;
};

// Calls visit(position, record) for all images of all atoms, in the order of atom, ia, ib, ic.
template <class Visit>
void forEachImage(std::span<const float, 9> lattice, std::span<const float> positions,
                  const std::array<int, 3>& num, const Visit& visit) {
    // A shift by no vectors adds zeros, which leave a coordinate as it is.
    const auto shifted = [&](const std::array<float, 3>& p, int count, std::size_t row) {
        const auto times = static_cast<float>(count);
        return std::array<float, 3>{p[0] + times * lattice[3 * row], p[1] + times * lattice[3 * row + 1],
                                    p[2] + times * lattice[3 * row + 2]};
    };
    for (std::size_t i = 0; 3 * i < positions.size(); ++i) {
        const std::array<float, 3> p{positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]};
        for (int ia = -num[0]; ia <= num[0]; ++ia) {
            const auto pa = shifted(p, ia, 0);
            for (int ib = -num[1]; ib <= num[1]; ++ib) {
                const auto pb = shifted(pa, ib, 1);
                for (int ic = -num[2]; ic <= num[2]; ++ic) {
                    visit(shifted(pb, ic, 2), Neighbor{static_cast<std::int32_t>(i), ia, ib, ic});
                }
            }
        }
    }
}

// The images in the box, bin by bin.
struct BinTable {
    std::vector<Image> images;
    std::vector<std::uint32_t> offsets; // [totalBins + 1], first image of each bin

    [[nodiscard]] std::span<const Image> bin(std::size_t index) const {
        return std::span<const Image>(images).subspan(offsets[index], offsets[index + 1] - offsets[index]);
    }
};

// Counts first and places then, so that the table is one array and each bin keeps the order of the visits.
BinTable fillTable(const BinGrid& grid, std::span<const float, 9> lattice, std::span<const float> positions,
                   const std::array<int, 3>& numImages) {
    static_assert(maxSearchImages <= UINT32_MAX);
    BinTable table;
    // While images are counted and placed, entry b + 1 holds the next free place of bin b; at the end, its
    // end.
    table.offsets.assign(grid.totalBins() + 2, 0);
    forEachImage(lattice, positions, numImages,
                 [&](const std::array<float, 3>& p, const Neighbor& /*record*/) {
                     if (grid.contains(p)) {
                         ++table.offsets[grid.indexOf(p) + 2];
                     }
                 });
    for (std::size_t b = 2; b < table.offsets.size(); ++b) {
        table.offsets[b] += table.offsets[b - 1];
    }
    table.images.resize(table.offsets.back());
    forEachImage(lattice, positions, numImages, [&](const std::array<float, 3>& p, const Neighbor& record) {
        if (grid.contains(p)) {
            table.images[table.offsets[grid.indexOf(p) + 1]++] = Image{p[0], p[1], p[2], record};
        }
    });
    table.offsets.pop_back();
    return table;
}

// Collects the lists of consecutive atoms for one thread.
class ListBuilder {
public:
    ListBuilder(const BinGrid& searchGrid, const BinTable& searchTable, float rcut)
        : grid(&searchGrid), table(&searchTable), squareOfCutoff(rcut * rcut) {}

    // Appends the list of an atom at `p` and returns its length.
    std::size_t append(const std::array<float, 3>& p) {
        const std::array<int, 3> own{grid->binAlong(0, p[0]), grid->binAlong(1, p[1]),
                                     grid->binAlong(2, p[2])};
        const std::size_t numBefore = records.size();
        for (int x = first(own, 0); x <= last(own, 0); ++x) {
            for (int y = first(own, 1); y <= last(own, 1); ++y) {
                for (int z = first(own, 2); z <= last(own, 2); ++z) {
                    appendBin(p, table->bin(grid->indexOf(x, y, z)));
                }
            }
        }
        return records.size() - numBefore;
    }

    [[nodiscard]] std::span<const Neighbor> result() const { return records; }

private:
    static int first(const std::array<int, 3>& own, std::size_t axis) { return std::max(own[axis] - 1, 0); }
    [[nodiscard]] int last(const std::array<int, 3>& own, std::size_t axis) const {
        return std::min(own[axis] + 1, grid->binsAlong(axis) - 1);
    }

    void appendBin(const std::array<float, 3>& p, std::span<const Image> images) {
        if (chosen.size() < images.size()) {
            chosen.resize(images.size());
        }
        // Every image is written and only a neighbour is kept: about one in six is, which no branch predicts.
        std::size_t numChosen = 0;
        for (const Image& image : images) {
            const float dx = image.x - p[0];
            const float dy = image.y - p[1];
            const float dz = image.z - p[2];
            const float square = dx * dx + dy * dy + dz * dz;
            chosen[numChosen] = image.record;
            numChosen += static_cast<std::size_t>(static_cast<int>(square < squareOfCutoff) &
                                                  static_cast<int>(square >= smallestSquare));
        }
        records.insert(records.end(), chosen.begin(),
                       chosen.begin() + static_cast<std::ptrdiff_t>(numChosen));
    }

    const BinGrid* grid;
    const BinTable* table;
    float squareOfCutoff; // Angstrom^2
    std::vector<Neighbor> records;
    std::vector<Neighbor> chosen; // scratch
};

// Each thread takes one run of consecutive atoms, so that its lists lie behind each other already.
NeighborLists findNeighbors(const BinGrid& grid, const BinTable& table, std::span<const float> positions,
                            float rcut) {
    const std::size_t numAtoms = positions.size() / 3;
    NeighborLists lists;
    lists.offsets.assign(numAtoms + 1, 0);
    std::vector<ListBuilder> builders(static_cast<std::size_t>(omp_get_max_threads()),
                                      ListBuilder(grid, table, rcut));
    std::atomic<std::size_t> total = 0;
    ParallelGuard guard;
#pragma omp parallel
    guard.run([&] {
        const auto thread = static_cast<std::size_t>(omp_get_thread_num());
        const auto numThreads = static_cast<std::size_t>(omp_get_num_threads());
        const std::size_t end = numAtoms * (thread + 1) / numThreads;
        for (std::size_t i = numAtoms * thread / numThreads; i < end; ++i) {
            const std::size_t length =
                builders[thread].append({positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]});
            lists.offsets[i + 1] = length;
            if (total.fetch_add(length, std::memory_order_relaxed) + length > maxSearchNeighbors) {
                stopWithMessage("too many neighbors.");
            }
        }
    });
    guard.rethrow();
    for (std::size_t i = 0; i < numAtoms; ++i) {
        lists.offsets[i + 1] += lists.offsets[i];
    }
    lists.records.reserve(lists.offsets.back());
    for (const ListBuilder& builder : builders) {
        lists.records.insert(lists.records.end(), builder.result().begin(), builder.result().end());
    }
    return lists;
}

} // namespace

NeighborLists searchNeighbors(std::span<const float, 9> lattice, std::span<const float, 9> invLattice,
                              std::span<const float> positions, float rcut) {
    if (!(rcut > 0.0f)) {
        stopWithMessage("cutoff radius is not positive for detecting neighbors.");
    }
    const std::array<float, 3> numImages = measureImages(invLattice, rcut);
    const BinGrid grid(lattice, rcut);
    const BinTable table = fillTable(grid, lattice, positions, checkImages(numImages, positions.size() / 3));
    return findNeighbors(grid, table, positions, rcut);
}

} // namespace melta
