// The arithmetic of the Chebyshev symmetry functions. One call serves one block of orders: the radial orders
// of one element or the angular orders of one pair of elements. It writes everything that belongs to the
// block's columns: the values, the rows of the neighbours that take part, and the rows of the central atom.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

// Neighbours inside a cutoff, those of one element side by side. Arrays have `size` entries and at least
// chebyshevPadding more that are readable and finite. Lengths in Angstrom.
struct ChebyshevShell {
    std::size_t size = 0;
    std::span<const float> dx, dy, dz;   // neighbour minus central position
    std::span<const float> r;            // its length
    std::span<const float> fc;           // cutoff function times the neighbour's share of the weight
    std::span<const float> dfc;          // derivative of fc by r
    std::span<const std::int32_t> entry; // position in the atom's neighbour list
};
constexpr std::size_t chebyshevPadding = 16;

// A run of neighbours of a shell.
struct ChebyshevRange {
    std::size_t begin;
    std::size_t end;
    bool operator==(const ChebyshevRange&) const = default;
};

// Where a block goes. The number of orders is the length of `values`.
struct ChebyshevBlock {
    std::span<float> values;   // [numOrders], overwritten
    float* diff = nullptr;     // first element of the block in row 0 of the derivatives; null: values only
    std::size_t rowStride = 0; // distance between two rows, the length of the whole vector
};

// Length of the scratch array for shells of that many neighbours and blocks of that many orders.
std::size_t obtainChebyshevScratchSize(std::size_t numNeighbors, std::size_t numOrders);

// Values: sum over the range of fc T_k(2 r / rcut - 1), k = 0 to numOrders - 1.
void computeChebyshevRadial(const ChebyshevShell& shell, ChebyshevRange range, float rcut,
                            const ChebyshevBlock& block, std::span<float> scratch);

// Values: sum over pairs of fc1 fc2 T_k(2 t / pi - 1), with t the angle between the two neighbours. The pairs
// are all of `first` with all of `second`, or, if the two ranges are the same, each pair within it once.
void computeChebyshevAngular(const ChebyshevShell& shell, ChebyshevRange first, ChebyshevRange second,
                             const ChebyshevBlock& block, std::span<float> scratch);

// Name of the instruction set that the calls above use on this processor.
const char* obtainChebyshevTarget();

} // namespace melta
