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

// What a model says of the symmetry functions of each element.
struct SymmStatistics {
    // Centre and half width of the raw values, [numElems] each. A half width that is not positive means that
    // the element is not prepared.
    std::vector<float> symmAve;
    std::vector<float> symmDev;

    // Where each function has a shift and a scale of its own: inputs are (value - shift) * scale, [numElems]
    // [numBasis] each. The files of a model know the shared ones alone (InputScales.hpp).
    std::vector<float> functionShift = {};
    std::vector<float> functionScale = {};

    // As SymmFunc::getElementWeights.
    std::vector<float> elementWeights = {};

    [[nodiscard]] bool scalesEach() const { return !functionScale.empty(); }

    // The part of one of these arrays, [numElems][...], that belongs to an element.
    [[nodiscard]] std::span<const float> ofElement(const std::vector<float>& values,
                                                   std::size_t element) const {
        const std::size_t length = values.size() / symmAve.size();
        return std::span(values).subspan(element * length, length);
    }
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

// Range of stored raw values; with `ofEach` also the shift and the scale of each function: its mean, and 0.4
// by the root of its deviation times the largest deviation of a function, so that functions that vary little
// count more than with a shared scale and less than those that vary much.
SymmStatistics statisticsOfRows(std::span<Geometry* const> geometries, std::span<const SymmRows> rows,
                                int numElems, bool ofEach);

// The same of values that are computed on the way and dropped, with a progress bar for more than one
// geometry unless `isSilent`.
SymmStatistics statisticsOfSet(const SymmFunc& symmFunc, const GeometrySet& geometrySet, bool ofEach,
                               bool isSilent = false);

// Whether all values are finite.
[[nodiscard]] bool areFinite(std::span<const float> values);

// Stops with "NaN at symmetry functions of the %d -th geometry.".
[[noreturn]] void stopAtSymmFuncs(std::size_t geometry);

// Turns the raw values of an atom of an element into inputs, in place: (value - symmAve) / symmDev, or by the
// shift and the scale of each function.
void renormalize(std::span<float> values, std::size_t element, const SymmStatistics& statistics);

// Turns raw values and derivatives into inputs and their derivatives, in place; once for each row.
void renormalizeSymmRows(std::span<Geometry* const> geometries, std::span<SymmRows> rows,
                         const SymmStatistics& statistics);

} // namespace melta
