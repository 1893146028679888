// The arithmetic of the Chebyshev symmetry functions. One call serves one block of orders: the radial orders
// of one element or the angular orders of one pair of elements. The compute calls write everything that
// belongs to the block's columns: the values, the rows of the neighbours that take part, and the rows of the
// central atom. The gradient calls take `gradient` [numOrders], the derivatives of a function by the block's
// values, and add its derivatives by the neighbours' positions.
#pragma once

#include "symmfunc/BasisBlock.hpp"
#include "symmfunc/NeighborShell.hpp"
#include "symmfunc/ShellGradient.hpp"

#include <cstddef>
#include <span>

namespace melta {

// Length of the scratch array for shells of that many neighbours and blocks of that many orders.
std::size_t countChebyshevScratch(std::size_t numNeighbors, std::size_t numOrders);

// Values: sum over the range of fc T_k(2 r / rcut - 1), k = 0 to numOrders - 1.
void computeChebyshevRadial(const NeighborShell& shell, NeighborRange range, float rcut,
                            const BasisBlock& block, std::span<float> scratch);

// Values: sum over pairs of fc1 fc2 T_k(2 t / pi - 1), with t the angle between the two neighbours. The pairs
// are all of `first` with all of `second`, or, if the two ranges are the same, each pair within it once.
void computeChebyshevAngular(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                             const BasisBlock& block, std::span<float> scratch);

// The same without derivatives, which computeChebyshevAngular leaves to it.
void computeChebyshevAngularValues(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                   std::span<float> values, std::span<float> scratch);

void addChebyshevRadialGradient(const NeighborShell& shell, NeighborRange range, float rcut,
                                std::span<const float> gradient, const ShellGradient& result);

// Length of the scratch array of the next call.
std::size_t countChebyshevGradientScratch(std::size_t numNeighbors, std::size_t numOrders);

void addChebyshevAngularGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                 std::span<const float> gradient, const ShellGradient& result,
                                 std::span<float> scratch);

// Name of the instruction set that the calls above use on this processor.
const char* findChebyshevTarget();

} // namespace melta
