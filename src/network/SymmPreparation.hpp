// Turning geometries into network input: symmetry functions of many geometries in parallel, their range for
// each element, and their normalisation. NNArch owns the data; these functions do the work.
#pragma once

#include "network/SymmRows.hpp"
#include "structure/Geometry.hpp"
#include "structure/GeometrySet.hpp"
#include "symmfunc/SymmFunc.hpp"

#include <span>
#include <string>
#include <vector>

namespace melta {

// Centre and half width of the raw values of each element, [numElems] each. A half width that is not positive
// means that the element is not prepared.
struct SymmStatistics {
    std::vector<float> symmAve;
    std::vector<float> symmDev;
};

// Stops with "symmDev have not been prepared." if any element is not.
void requirePrepared(const SymmStatistics& statistics);

// Tells on the console how many symmetry functions there are.
void printNumBasis(const SymmFunc& symmFunc);

// Symmetry functions, with `derive` their derivatives, of all atoms of the geometries. Geometries are shared
// among threads in random order; one alone is shared by its atoms. With `withBar` and more than one geometry
// a progress bar is drawn. Values or derivatives that are not finite stop with "NaN at symmetry functions of
// the %d -th geometry.".
std::vector<SymmRows> calculateSymmRows(const SymmFunc& symmFunc, std::span<Geometry* const> geometries,
                                        bool derive, bool withBar);

// Range of stored raw values.
SymmStatistics statisticsOfRows(std::span<Geometry* const> geometries, std::span<const SymmRows> rows,
                                int numElems);

// Range of values that are computed on the way and dropped, with a progress bar for more than one geometry.
SymmStatistics statisticsOfSet(const SymmFunc& symmFunc, const GeometrySet& geometrySet);

// Whether all values are finite.
[[nodiscard]] bool areFinite(std::span<const float> values);

// Stops with "NaN at symmetry functions of the %d -th geometry.".
[[noreturn]] void stopAtSymmFuncs(std::size_t geometry);

// Maps the raw values of an atom of an element to (value - symmAve) / symmDev, in place.
void renormalize(std::span<float> values, std::size_t element, const SymmStatistics& statistics);

// Maps raw values to (value - symmAve) / symmDev and divides derivatives by symmDev, in place; once for each
// row.
void renormalizeSymmRows(std::span<Geometry* const> geometries, std::span<SymmRows> rows,
                         const SymmStatistics& statistics);

} // namespace melta
