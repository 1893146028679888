// Between columns, one behind the other, and the rows of a bundle, in which they lie side by side.

#include "symmfunc/cluster/ClusterBundleKernels.hpp"

#include <array>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterBundleColumns.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBundle-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

#if HWY_TARGET != HWY_SCALAR
// Loads four vectors, calls store(k, v) with the four of the transposed square.
template <class Store>
HWY_INLINE void Transpose(const std::array<const float*, 4>& from, Store&& store) {
    const Quad d;
    const auto a = hn::LoadU(d, from[0]);
    const auto b = hn::LoadU(d, from[1]);
    const auto c = hn::LoadU(d, from[2]);
    const auto e = hn::LoadU(d, from[3]);
    const auto lowerAB = hn::InterleaveLower(d, a, b), upperAB = hn::InterleaveUpper(d, a, b);
    const auto lowerCE = hn::InterleaveLower(d, c, e), upperCE = hn::InterleaveUpper(d, c, e);
    store(0, hn::ConcatLowerLower(d, lowerCE, lowerAB));
    store(1, hn::ConcatUpperUpper(d, lowerCE, lowerAB));
    store(2, hn::ConcatLowerLower(d, upperCE, upperAB));
    store(3, hn::ConcatUpperUpper(d, upperCE, upperAB));
}
#endif

void GatherColumns(std::span<const float> columns, std::size_t numColumns, std::size_t lanes,
                   std::span<float> rows) {
    const std::size_t length = columns.size() / numColumns;
    const auto columnOf = [&](std::size_t lane) {
        return columns.data() + (lane < numColumns ? lane : 0) * length;
    };
    std::size_t row = 0;
#if HWY_TARGET != HWY_SCALAR
    for (; row + 4 <= length; row += 4) {
        for (std::size_t lane = 0; lane < lanes; lane += 4) {
            Transpose(
                {columnOf(lane) + row, columnOf(lane + 1) + row, columnOf(lane + 2) + row,
                 columnOf(lane + 3) + row},
                [&](std::size_t k, auto v) { hn::Store(v, Quad(), rows.data() + (row + k) * lanes + lane); });
        }
    }
#endif
    for (; row < length; ++row) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            rows[row * lanes + lane] = columnOf(lane)[row];
        }
    }
}

void ScatterRows(std::span<const float> rows, std::size_t lanes, std::size_t numColumns,
                 std::span<float> columns) {
    const std::size_t length = columns.size() / numColumns;
    std::size_t row = 0;
#if HWY_TARGET != HWY_SCALAR
    for (; row + 4 <= length; row += 4) {
        const float* const from = rows.data() + row * lanes;
        for (std::size_t lane = 0; lane < numColumns; lane += 4) {
            Transpose({from + lane, from + lanes + lane, from + 2 * lanes + lane, from + 3 * lanes + lane},
                      [&](std::size_t k, auto v) {
                          if (lane + k < numColumns) {
                              hn::StoreU(v, Quad(), columns.data() + (lane + k) * length + row);
                          }
                      });
        }
    }
#endif
    for (; row < length; ++row) {
        for (std::size_t lane = 0; lane < numColumns; ++lane) {
            columns[lane * length + row] = rows[row * lanes + lane];
        }
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(GatherColumns);
HWY_EXPORT(ScatterRows);

void gatherClusterColumns(std::span<const float> columns, std::size_t numColumns, std::size_t lanes,
                          std::span<float> rows) {
    HWY_DYNAMIC_DISPATCH(GatherColumns)(columns, numColumns, lanes, rows);
}

void scatterClusterRows(std::span<const float> rows, std::size_t lanes, std::size_t numColumns,
                        std::span<float> columns) {
    HWY_DYNAMIC_DISPATCH(ScatterRows)(rows, lanes, numColumns, columns);
}

} // namespace melta
#endif
