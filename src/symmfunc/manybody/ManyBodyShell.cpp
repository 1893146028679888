#include "symmfunc/manybody/ManyBodyShell.hpp"

#include <algorithm>
#include <limits>

namespace melta {
namespace {

// Begin of row u in a packed triangle. The number of functions fits an integer, and so does this.
std::int32_t triangleNumber(std::int32_t u) {
    return static_cast<std::int32_t>(std::int64_t{u} * (u + 1) / 2);
}

} // namespace

void ManyBodyShell::update(const NeighborArrays& neighbors, float router, int numElems) {
    countElements(neighbors, router, numElems);
    reserve(numInside);
    places.resize(std::max(places.size(), neighbors.size()));
    const auto r = neighbors.r();
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        if (!(r[n] < router)) {
            places[n] = -1;
            continue;
        }
        const std::int32_t element = neighbors.elements()[n];
        const std::size_t place = starts[static_cast<std::size_t>(element)]++;
        places[n] = static_cast<std::int32_t>(place);
        array(0)[place] = r[n];
        array(1)[place] = neighbors.dx()[n];
        array(2)[place] = neighbors.dy()[n];
        array(3)[place] = neighbors.dz()[n];
        intArray(0)[place] = static_cast<std::int32_t>(n);
        intArray(1)[place] = element;
    }
    // Harmless in any arithmetic, for the lanes behind the last neighbour.
    for (std::size_t which = 0; which < numArrays; ++which) {
        std::ranges::fill(array(which).subspan(numInside, manyBodyPadding), 1.0f);
    }
}

void ManyBodyShell::countElements(const NeighborArrays& neighbors, float router, int numElems) {
    starts.assign(static_cast<std::size_t>(numElems) + 1, 0);
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        if (neighbors.r()[n] < router) {
            ++starts[static_cast<std::size_t>(neighbors.elements()[n]) + 1];
        }
    }
    for (std::size_t e = 1; e < starts.size(); ++e) {
        starts[e] += starts[e - 1];
    }
    numInside = starts.back();
}

void ManyBodyShell::reserve(std::size_t count) {
    if (count + manyBodyPadding > stride) {
        // Room to spare, since the next atom may have a few neighbours more.
        stride = (count + count / 4 + 2 * manyBodyPadding) / manyBodyPadding * manyBodyPadding;
        values.resize(numArrays * stride);
        integers.resize(numIntArrays * stride);
        pointsRadius.reserve(stride);
        pointsAngle.reserve(stride);
        rows.resize(2 * stride);
        pairWeights.resize(4 * stride);
    }
}

void ManyBodyShell::locateRadius(const ManyBodyAxis& axis) {
    locateManyBodyPoints(array(0), numInside, axis, pointsRadius);
}

void ManyBodyShell::locateAngle(const ManyBodyAxis& axis) {
    locateManyBodyPoints(array(0), numInside, axis, pointsAngle);
    const auto elements = intArray(1);
    const auto column = intArray(2);
    const auto endColumn = intArray(3);
    for (std::size_t n = 0; n < numInside; ++n) {
        placeColumns(n, axis.numPoints * elements[n] + pointsAngle.first[n], pointsAngle.count[n]);
    }
    std::ranges::fill(column.subspan(numInside, manyBodyPadding), 0);
    std::ranges::fill(endColumn.subspan(numInside, manyBodyPadding), 0);
}

// A neighbour has two rows and two columns in any case, so that the kernel does not have to ask. Of a single
// point the row is taken twice, the second time with weight zero.
void ManyBodyShell::placeColumns(std::size_t place, std::int32_t lowest, std::int32_t count) {
    const bool isSingle = count == 1;
    const std::int32_t highest = isSingle ? lowest : lowest + 1;
    intArray(2)[place] = count > 0 ? lowest : std::numeric_limits<std::int32_t>::max();
    intArray(3)[place] = count > 0 ? highest + 1 : 0;
    intArray(4)[place] = highest - 1;
    rows[2 * place] = triangleNumber(lowest);
    rows[2 * place + 1] = triangleNumber(highest);
    const float* const from = pointsAngle.weights.data() + 4 * place;
    float* const to = pairWeights.data() + 4 * place;
    for (std::size_t i = 0; i < 4; i += 2) {
        to[i] = isSingle ? 0.0f : from[i];
        to[i + 1] = isSingle ? from[i] : from[i + 1];
    }
}

ManyBodyNeighbors ManyBodyShell::getNeighbors() const {
    const auto floats = [&](std::size_t which) {
        return std::span<const float>(values.data() + which * stride, stride);
    };
    const auto ints = [&](std::size_t which) {
        return std::span<const std::int32_t>(integers.data() + which * stride, stride);
    };
    return {.size = numInside,
            .x = floats(1),
            .y = floats(2),
            .z = floats(3),
            .entry = ints(0),
            .column = ints(2),
            .endColumn = ints(3),
            .rows = rows.span(),
            .pairColumn = ints(4),
            .weights = pointsAngle.weights.span(),
            .pairWeights = pairWeights.span()};
}

} // namespace melta
