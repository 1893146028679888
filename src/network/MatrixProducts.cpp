#include "network/MatrixProducts.hpp"

#include "base/AlignedBuffer.hpp"

#include <algorithm>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "network/MatrixProducts.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// The left factor of a product: element (i, k) stands at data[i * rowStep + k * depthStep].
struct Left {
    const float* data;
    std::size_t rowStep;
    std::size_t depthStep;
};

// Vectors of a row that are computed together. With eight rows the sums fill the registers of the widest
// targets.
constexpr std::size_t mostVectors = 3;
constexpr std::size_t mostRows = 8;

// Sums over the depth for numRows x numVectors vectors of the result, kept in registers. `at` holds the
// columns where the vectors begin; they may overlap, because all of them are read before the first is
// written.
template <std::size_t numRows, std::size_t numVectors, class D>
HWY_INLINE void multiplyCore(D d, std::size_t depth, Left a, ConstBlock b, Block c, const std::size_t* at,
                             Store store) {
    using V = hn::Vec<D>;
    V sums[numRows][numVectors];
    for (std::size_t i = 0; i < numRows; ++i) {
        for (std::size_t j = 0; j < numVectors; ++j) {
            sums[i][j] = store == Store::add ? hn::LoadU(d, c.data + i * c.stride + at[j]) : hn::Zero(d);
        }
    }
    for (std::size_t k = 0; k < depth; ++k) {
        V right[numVectors];
        for (std::size_t j = 0; j < numVectors; ++j) {
            right[j] = hn::LoadU(d, b.data + k * b.stride + at[j]);
        }
        for (std::size_t i = 0; i < numRows; ++i) {
            const V left = hn::Set(d, a.data[i * a.rowStep + k * a.depthStep]);
            for (std::size_t j = 0; j < numVectors; ++j) {
                sums[i][j] = hn::MulAdd(left, right[j], sums[i][j]);
            }
        }
    }
    for (std::size_t i = 0; i < numRows; ++i) {
        for (std::size_t j = 0; j < numVectors; ++j) {
            hn::StoreU(sums[i][j], d, c.data + i * c.stride + at[j]);
        }
    }
}

template <std::size_t numVectors, class D>
HWY_INLINE void multiplyRows(D d, std::size_t rows, std::size_t depth, Left a, ConstBlock b, Block c,
                             const std::size_t* at, Store store) {
    std::size_t i = 0;
    const auto take = [&](auto count) {
        const Left part{a.data + i * a.rowStep, a.rowStep, a.depthStep};
        multiplyCore<count(), numVectors>(d, depth, part, b, {c.data + i * c.stride, c.stride}, at, store);
        i += count();
    };
    while (i + mostRows <= rows) {
        take(std::integral_constant<std::size_t, mostRows>());
    }
    while (i + 2 <= rows) {
        take(std::integral_constant<std::size_t, 2>());
    }
    if (i < rows) {
        take(std::integral_constant<std::size_t, 1>());
    }
}

// All columns, at least one vector of them. A last vector that does not fit begins earlier, over the one
// before.
template <class D>
HWY_INLINE void multiplyColumns(D d, std::size_t rows, std::size_t columns, std::size_t depth, Left a,
                                ConstBlock b, Block c, Store store) {
    const std::size_t n = hn::Lanes(d);
    for (std::size_t first = 0; first < columns; first += mostVectors * n) {
        const std::size_t left = columns - first;
        std::size_t at[mostVectors];
        for (std::size_t j = 0; j < mostVectors; ++j) {
            at[j] = std::min(first + j * n, columns - n);
        }
        // A group whose only vector overlaps the group before must not add twice; it keeps to the columns
        // that are new.
        if (store == Store::add && left < n) {
            const hn::CappedTag<float, 1> single;
            for (std::size_t column = first; column < columns; ++column) {
                multiplyRows<1>(single, rows, depth, a, b, c, &column, store);
            }
        } else if (left <= n) {
            multiplyRows<1>(d, rows, depth, a, b, c, at, store);
        } else if (left <= 2 * n) {
            multiplyRows<2>(d, rows, depth, a, b, c, at, store);
        } else {
            multiplyRows<3>(d, rows, depth, a, b, c, at, store);
        }
    }
}

void Multiply(std::size_t rows, std::size_t columns, std::size_t depth, Left a, ConstBlock b, Block c,
              Store store) {
    const hn::ScalableTag<float> wide;
    const hn::CappedTag<float, 4> narrow;
    const hn::CappedTag<float, 1> single;
    if (columns >= hn::Lanes(wide)) {
        multiplyColumns(wide, rows, columns, depth, a, b, c, store);
    } else if (columns >= hn::Lanes(narrow)) {
        multiplyColumns(narrow, rows, columns, depth, a, b, c, store);
    } else {
        multiplyColumns(single, rows, columns, depth, a, b, c, store);
    }
}

// target [depth][columns] = transposed source [columns][depth], in blocks of 4 x 4.
void Transpose(std::size_t columns, std::size_t depth, ConstBlock source, Block target) {
#if HWY_TARGET == HWY_SCALAR
    const std::size_t wholeColumns = 0;
    const std::size_t wholeDepth = 0;
#else
    const hn::Full128<float> d;
    const hn::Repartition<double, decltype(d)> d2;
    const std::size_t wholeColumns = columns / 4 * 4;
    const std::size_t wholeDepth = depth / 4 * 4;
    for (std::size_t c = 0; c < wholeColumns; c += 4) {
        const float* const from = source.data + c * source.stride;
        for (std::size_t k = 0; k < wholeDepth; k += 4) {
            const auto row0 = hn::LoadU(d, from + k);
            const auto row1 = hn::LoadU(d, from + source.stride + k);
            const auto row2 = hn::LoadU(d, from + 2 * source.stride + k);
            const auto row3 = hn::LoadU(d, from + 3 * source.stride + k);
            const auto low01 = hn::BitCast(d2, hn::InterleaveLower(d, row0, row1));
            const auto low23 = hn::BitCast(d2, hn::InterleaveLower(d, row2, row3));
            const auto high01 = hn::BitCast(d2, hn::InterleaveUpper(d, row0, row1));
            const auto high23 = hn::BitCast(d2, hn::InterleaveUpper(d, row2, row3));
            float* const to = target.data + k * target.stride + c;
            hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d2, low01, low23)), d, to);
            hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d2, low01, low23)), d, to + target.stride);
            hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d2, high01, high23)), d, to + 2 * target.stride);
            hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d2, high01, high23)), d, to + 3 * target.stride);
        }
    }
#endif
    for (std::size_t c = 0; c < columns; ++c) {
        for (std::size_t k = c < wholeColumns ? wholeDepth : 0; k < depth; ++k) {
            target.data[k * target.stride + c] = source.data[c * source.stride + k];
        }
    }
}

void MultiplyPlain(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a, ConstBlock b,
                   Block c, Store store) {
    Multiply(rows, columns, depth, {a.data, a.stride, 1}, b, c, store);
}

void MultiplyTransposed(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a, ConstBlock b,
                        Block c, Store store) {
    Multiply(rows, columns, depth, {a.data, 1, a.stride}, b, c, store);
}

// The right factor is transposed panel by panel, each small enough to stay in the first cache while all rows
// pass.
void MultiplyByTransposed(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a,
                          ConstBlock b, Block c, Store store, AlignedBuffer<float>& panel) {
    const std::size_t width = mostVectors * hn::Lanes(hn::ScalableTag<float>());
    panel.reserve(depth * width);
    for (std::size_t first = 0; first < columns; first += width) {
        const std::size_t count = std::min(width, columns - first);
        Transpose(count, depth, {b.data + first * b.stride, b.stride}, {panel.data(), width});
        Multiply(rows, count, depth, {a.data, a.stride, 1}, {panel.data(), width}, {c.data + first, c.stride},
                 store);
    }
}

} // namespace
} // namespace melta::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(MultiplyPlain);
HWY_EXPORT(MultiplyTransposed);
HWY_EXPORT(MultiplyByTransposed);

void multiply(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a, ConstBlock b, Block c,
              Store store) {
    HWY_DYNAMIC_DISPATCH(MultiplyPlain)(rows, columns, depth, a, b, c, store);
}

void multiplyTransposed(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a, ConstBlock b,
                        Block c, Store store) {
    HWY_DYNAMIC_DISPATCH(MultiplyTransposed)(rows, columns, depth, a, b, c, store);
}

void multiplyByTransposed(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a,
                          ConstBlock b, Block c, Store store) {
    thread_local AlignedBuffer<float> panel;
    HWY_DYNAMIC_DISPATCH(MultiplyByTransposed)(rows, columns, depth, a, b, c, store, panel);
}

} // namespace melta
#endif // HWY_ONCE
