#include "network/ForceKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "network/ForceKernels.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Runs work(tag, first) over groups of lanes, in the widest vectors that fit.
template <class Work>
HWY_INLINE void forEachGroup(std::size_t lanes, Work&& work) {
    const hn::CappedTag<float, 16> wide;
    const hn::CappedTag<float, 8> middle;
    const hn::CappedTag<float, 4> narrow;
    std::size_t first = 0;
    for (; first + hn::Lanes(wide) <= lanes; first += hn::Lanes(wide)) {
        work(wide, first);
    }
    for (; first + hn::Lanes(middle) <= lanes; first += hn::Lanes(middle)) {
        work(middle, first);
    }
    for (; first + hn::Lanes(narrow) <= lanes; first += hn::Lanes(narrow)) {
        work(narrow, first);
    }
}

// Accumulators in flight: enough to hide the latency of a multiply-add, few enough to stay in registers.
constexpr std::size_t numSums = 8;

// sums[i] = sum over k of a[i * aStep + k * aStride] b[k * lanes], for `count` values of i.
template <class D>
HWY_INLINE void multiplyBlock(D d, std::size_t count, std::size_t depth, const float* HWY_RESTRICT a,
                              std::size_t aStep, std::size_t aStride, const float* HWY_RESTRICT b,
                              std::size_t lanes, float* HWY_RESTRICT result) {
    if (count == numSums) {
        auto s0 = hn::Zero(d), s1 = s0, s2 = s0, s3 = s0, s4 = s0, s5 = s0, s6 = s0, s7 = s0;
        for (std::size_t k = 0; k < depth; ++k) {
            const auto v = hn::LoadU(d, b + k * lanes);
            const float* const row = a + k * aStride;
            s0 = hn::MulAdd(hn::Set(d, row[0]), v, s0);
            s1 = hn::MulAdd(hn::Set(d, row[aStep]), v, s1);
            s2 = hn::MulAdd(hn::Set(d, row[2 * aStep]), v, s2);
            s3 = hn::MulAdd(hn::Set(d, row[3 * aStep]), v, s3);
            s4 = hn::MulAdd(hn::Set(d, row[4 * aStep]), v, s4);
            s5 = hn::MulAdd(hn::Set(d, row[5 * aStep]), v, s5);
            s6 = hn::MulAdd(hn::Set(d, row[6 * aStep]), v, s6);
            s7 = hn::MulAdd(hn::Set(d, row[7 * aStep]), v, s7);
        }
        hn::StoreU(s0, d, result);
        hn::StoreU(s1, d, result + lanes);
        hn::StoreU(s2, d, result + 2 * lanes);
        hn::StoreU(s3, d, result + 3 * lanes);
        hn::StoreU(s4, d, result + 4 * lanes);
        hn::StoreU(s5, d, result + 5 * lanes);
        hn::StoreU(s6, d, result + 6 * lanes);
        hn::StoreU(s7, d, result + 7 * lanes);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        auto sum = hn::Zero(d);
        for (std::size_t k = 0; k < depth; ++k) {
            sum = hn::MulAdd(hn::Set(d, a[i * aStep + k * aStride]), hn::LoadU(d, b + k * lanes), sum);
        }
        hn::StoreU(sum, d, result + i * lanes);
    }
}

// Asks for the rows that come after the next ones. The derivatives of a batch come from the main memory, and
// at the border of each page the processor's own prefetching begins anew.
HWY_INLINE void prefetchRows(const float* symmDiff, std::size_t row, std::size_t count,
                             std::size_t numBasis) {
    constexpr std::size_t floatsOfLine = 16;
    const float* const first = symmDiff + (row + 3 * count) * numBasis;
    for (std::size_t i = 0; i < count * numBasis; i += floatsOfLine) {
        hwy::Prefetch(first + i);
    }
}

// rows [numRows][lanes] = symmDiff [numRows][numBasis] * columns [numBasis][lanes].
void MultiplyWideRows(std::size_t numRows, std::size_t numBasis, std::size_t lanes, const float* symmDiff,
                      const float* columns, float* rows) {
    for (std::size_t q = 0; q < numRows; q += numSums) {
        const std::size_t count = std::min(numSums, numRows - q);
        prefetchRows(symmDiff, q, numSums, numBasis);
        forEachGroup(lanes, [&](auto d, std::size_t first) {
            multiplyBlock(d, count, numBasis, symmDiff + q * numBasis, numBasis, 1, columns + first, lanes,
                          rows + q * lanes + first);
        });
    }
}

// columns [numBasis][lanes] = symmDiff^T * rows [numRows][lanes].
void MultiplyWideColumns(std::size_t numRows, std::size_t numBasis, std::size_t lanes, const float* symmDiff,
                         const float* rows, float* columns) {
    for (std::size_t b = 0; b < numBasis; b += numSums) {
        const std::size_t count = std::min(numSums, numBasis - b);
        forEachGroup(lanes, [&](auto d, std::size_t first) {
            multiplyBlock(d, count, numRows, symmDiff + b, 1, numBasis, rows + first, lanes,
                          columns + b * lanes + first);
        });
    }
}

// Runs work(tag) with the widest vectors that a row of numBasis functions fills.
template <class Work>
HWY_INLINE void withFittingTag(std::size_t numBasis, Work&& work) {
    const hn::CappedTag<float, 16> wide;
    const hn::CappedTag<float, 4> narrow;
    const hn::CappedTag<float, 1> single;
    if (numBasis >= hn::Lanes(wide)) {
        work(wide);
    } else if (numBasis >= hn::Lanes(narrow)) {
        work(narrow);
    } else {
        work(single);
    }
}

// Dot products of `count` (up to 4) rows with one gradient, stored `stride` apart. A row that is no whole
// number of vectors ends in a vector that overlaps the one before; `tail` holds the gradient there, zero
// where it overlaps.
template <class D>
HWY_INLINE void dotRows(D d, std::size_t count, std::size_t numBasis, const float* HWY_RESTRICT symmDiff,
                        const float* HWY_RESTRICT grad, const float* HWY_RESTRICT tail,
                        float* HWY_RESTRICT result, std::size_t stride) {
    const std::size_t n = hn::Lanes(d);
    const std::size_t whole = numBasis / n * n;
    const float* const row0 = symmDiff;
    const float* const row1 = count > 1 ? symmDiff + numBasis : row0;
    const float* const row2 = count > 2 ? symmDiff + 2 * numBasis : row0;
    const float* const row3 = count > 3 ? symmDiff + 3 * numBasis : row0;
    auto s0 = hn::Zero(d), s1 = s0, s2 = s0, s3 = s0;
    const auto add = [&](std::size_t b, auto v) {
        s0 = hn::MulAdd(hn::LoadU(d, row0 + b), v, s0);
        s1 = hn::MulAdd(hn::LoadU(d, row1 + b), v, s1);
        s2 = hn::MulAdd(hn::LoadU(d, row2 + b), v, s2);
        s3 = hn::MulAdd(hn::LoadU(d, row3 + b), v, s3);
    };
    for (std::size_t b = 0; b < whole; b += n) {
        add(b, hn::LoadU(d, grad + b));
    }
    if (whole < numBasis) {
        add(numBasis - n, hn::LoadU(d, tail));
    }
    const float sums[4] = {hn::GetLane(hn::SumOfLanes(d, s0)), hn::GetLane(hn::SumOfLanes(d, s1)),
                           hn::GetLane(hn::SumOfLanes(d, s2)), hn::GetLane(hn::SumOfLanes(d, s3))};
    for (std::size_t i = 0; i < count; ++i) {
        result[i * stride] = sums[i];
    }
}

void MultiplyNarrowRows(std::size_t numRows, std::size_t numBasis, std::size_t numModels,
                        const float* symmDiff, const float* grads, float* rows) {
    constexpr std::size_t lanes = 4;
    withFittingTag(numBasis, [&](auto d) {
        const std::size_t n = hn::Lanes(d);
        const std::size_t whole = numBasis / n * n;
        float tails[4][16] = {};
        for (std::size_t m = 0; m < numModels && whole < numBasis; ++m) {
            for (std::size_t b = whole; b < numBasis; ++b) {
                tails[m][b - (numBasis - n)] = grads[m * numBasis + b];
            }
        }
        for (std::size_t q = 0; q < numRows; q += 4) {
            prefetchRows(symmDiff, q, 4, numBasis);
            for (std::size_t m = 0; m < numModels; ++m) {
                dotRows(d, std::min<std::size_t>(4, numRows - q), numBasis, symmDiff + q * numBasis,
                        grads + m * numBasis, tails[m], rows + q * lanes + m, lanes);
            }
        }
    });
}

// grads[b .. b + lanes of d] of one model = sum over the rows. The last vector of a row may overlap the one
// before.
void MultiplyNarrowColumns(std::size_t numRows, std::size_t numBasis, std::size_t numModels,
                           const float* symmDiff, const float* rows, float* grads) {
    constexpr std::size_t lanes = 4;
    withFittingTag(numBasis, [&](auto d) {
        const std::size_t n = hn::Lanes(d);
        for (std::size_t first = 0; first < numBasis; first += 2 * n) {
            const std::size_t b0 = std::min(first, numBasis - n);
            const std::size_t b1 = std::min(first + n, numBasis - n);
            for (std::size_t m = 0; m < numModels; ++m) {
                auto even0 = hn::Zero(d), even1 = even0, odd0 = even0, odd1 = even0;
                std::size_t q = 0;
                for (; q + 2 <= numRows; q += 2) {
                    const float* const row = symmDiff + q * numBasis;
                    const auto t0 = hn::Set(d, rows[q * lanes + m]);
                    const auto t1 = hn::Set(d, rows[(q + 1) * lanes + m]);
                    even0 = hn::MulAdd(hn::LoadU(d, row + b0), t0, even0);
                    even1 = hn::MulAdd(hn::LoadU(d, row + b1), t0, even1);
                    odd0 = hn::MulAdd(hn::LoadU(d, row + numBasis + b0), t1, odd0);
                    odd1 = hn::MulAdd(hn::LoadU(d, row + numBasis + b1), t1, odd1);
                }
                if (q < numRows) {
                    const auto t0 = hn::Set(d, rows[q * lanes + m]);
                    even0 = hn::MulAdd(hn::LoadU(d, symmDiff + q * numBasis + b0), t0, even0);
                    even1 = hn::MulAdd(hn::LoadU(d, symmDiff + q * numBasis + b1), t0, even1);
                }
                hn::StoreU(hn::Add(even0, odd0), d, grads + m * numBasis + b0);
                hn::StoreU(hn::Add(even1, odd1), d, grads + m * numBasis + b1);
            }
        }
    });
}

void ScatterForces(std::size_t center, std::size_t numNeighbors, const std::int32_t* atoms,
                   std::size_t atomStride, std::size_t lanes, const float* rows, float* forces) {
    const auto subtract = [&](std::size_t atom, const float* source) {
        float* const target = forces + atom * 3 * lanes;
        forEachGroup(3 * lanes, [&](auto d, std::size_t i) {
            hn::StoreU(hn::Sub(hn::LoadU(d, target + i), hn::LoadU(d, source + i)), d, target + i);
        });
    };
    subtract(center, rows);
    for (std::size_t n = 0; n < numNeighbors; ++n) {
        subtract(static_cast<std::size_t>(atoms[n * atomStride]), rows + (n + 1) * 3 * lanes);
    }
}

void GatherForces(std::size_t center, std::size_t numNeighbors, const std::int32_t* atoms,
                  std::size_t atomStride, std::size_t lanes, const float* grads, float* rows) {
    const auto negate = [&](std::size_t atom, float* target) {
        const float* const source = grads + atom * 3 * lanes;
        forEachGroup(3 * lanes, [&](auto d, std::size_t i) {
            hn::StoreU(hn::Neg(hn::LoadU(d, source + i)), d, target + i);
        });
    };
    negate(center, rows);
    for (std::size_t n = 0; n < numNeighbors; ++n) {
        negate(static_cast<std::size_t>(atoms[n * atomStride]), rows + (n + 1) * 3 * lanes);
    }
}

void AddStress(std::size_t numNeighbors, const float* HWY_RESTRICT ways, std::size_t lanes,
               const float* HWY_RESTRICT rows, float* HWY_RESTRICT stress) {
    forEachGroup(lanes, [&](auto d, std::size_t first) {
        auto xx = hn::Zero(d), yy = xx, zz = xx, yz = xx, xz = xx, xy = xx;
        for (std::size_t n = 0; n < numNeighbors; ++n) {
            const float* const row = rows + 3 * n * lanes + first;
            const auto gx = hn::LoadU(d, row);
            const auto gy = hn::LoadU(d, row + lanes);
            const auto gz = hn::LoadU(d, row + 2 * lanes);
            const auto dx = hn::Set(d, ways[3 * n]);
            const auto dy = hn::Set(d, ways[3 * n + 1]);
            const auto dz = hn::Set(d, ways[3 * n + 2]);
            xx = hn::MulAdd(dx, gx, xx);
            yy = hn::MulAdd(dy, gy, yy);
            zz = hn::MulAdd(dz, gz, zz);
            yz = hn::MulAdd(dy, gz, hn::MulAdd(dz, gy, yz));
            xz = hn::MulAdd(dx, gz, hn::MulAdd(dz, gx, xz));
            xy = hn::MulAdd(dx, gy, hn::MulAdd(dy, gx, xy));
        }
        const auto half = hn::Set(d, 0.5f);
        const auto add = [&](std::size_t component, auto value) {
            float* const target = stress + component * lanes + first;
            hn::StoreU(hn::Add(hn::LoadU(d, target), value), d, target);
        };
        add(0, xx);
        add(1, yy);
        add(2, zz);
        add(3, hn::Mul(half, yz));
        add(4, hn::Mul(half, xz));
        add(5, hn::Mul(half, xy));
    });
}

void SpreadStress(std::size_t numNeighbors, const float* HWY_RESTRICT ways, std::size_t lanes,
                  const float* HWY_RESTRICT grads, float* HWY_RESTRICT rows) {
    forEachGroup(lanes, [&](auto d, std::size_t first) {
        const auto half = hn::Set(d, 0.5f);
        const auto load = [&](std::size_t component) {
            return hn::LoadU(d, grads + component * lanes + first);
        };
        const auto xx = load(0), yy = load(1), zz = load(2);
        const auto yz = hn::Mul(half, load(3)), xz = hn::Mul(half, load(4)), xy = hn::Mul(half, load(5));
        for (std::size_t n = 0; n < numNeighbors; ++n) {
            float* const row = rows + 3 * n * lanes + first;
            const auto dx = hn::Set(d, ways[3 * n]);
            const auto dy = hn::Set(d, ways[3 * n + 1]);
            const auto dz = hn::Set(d, ways[3 * n + 2]);
            hn::StoreU(hn::MulAdd(dx, xx, hn::MulAdd(dy, xy, hn::Mul(dz, xz))), d, row);
            hn::StoreU(hn::MulAdd(dx, xy, hn::MulAdd(dy, yy, hn::Mul(dz, yz))), d, row + lanes);
            hn::StoreU(hn::MulAdd(dx, xz, hn::MulAdd(dy, yz, hn::Mul(dz, zz))), d, row + 2 * lanes);
        }
    });
}

} // namespace melta::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta::kernels {

HWY_EXPORT(MultiplyWideRows);
HWY_EXPORT(MultiplyWideColumns);
HWY_EXPORT(MultiplyNarrowRows);
HWY_EXPORT(MultiplyNarrowColumns);
HWY_EXPORT(ScatterForces);
HWY_EXPORT(GatherForces);
HWY_EXPORT(AddStress);
HWY_EXPORT(SpreadStress);

namespace {

constexpr std::size_t mostNarrowModels = 4;

// target [numColumns][lanes] = transposed source [numModels][numColumns], zeros beyond numModels.
void transposeToLanes(std::size_t numModels, std::size_t numColumns, std::size_t lanes, const float* source,
                      float* target) {
    for (std::size_t b = 0; b < numColumns; ++b) {
        for (std::size_t m = 0; m < lanes; ++m) {
            target[b * lanes + m] = m < numModels ? source[m * numColumns + b] : 0.0f;
        }
    }
}

// target [numModels][numColumns] = transposed source [numColumns][lanes].
void transposeFromLanes(std::size_t numModels, std::size_t numColumns, std::size_t lanes, const float* source,
                        float* target) {
    for (std::size_t m = 0; m < numModels; ++m) {
        for (std::size_t b = 0; b < numColumns; ++b) {
            target[m * numColumns + b] = source[b * lanes + m];
        }
    }
}

} // namespace

void multiplyByGrads(std::size_t numRows, std::size_t numBasis, std::size_t numModels, const float* symmDiff,
                     const float* grads, float* work, float* rows) {
    if (numModels <= mostNarrowModels) {
        HWY_DYNAMIC_DISPATCH(MultiplyNarrowRows)(numRows, numBasis, numModels, symmDiff, grads, rows);
        return;
    }
    const std::size_t lanes = roundUpToLanes(numModels);
    transposeToLanes(numModels, numBasis, lanes, grads, work);
    HWY_DYNAMIC_DISPATCH(MultiplyWideRows)(numRows, numBasis, lanes, symmDiff, work, rows);
}

void multiplyByRows(std::size_t numRows, std::size_t numBasis, std::size_t numModels, const float* symmDiff,
                    const float* rows, float* work, float* grads) {
    if (numModels <= mostNarrowModels) {
        HWY_DYNAMIC_DISPATCH(MultiplyNarrowColumns)(numRows, numBasis, numModels, symmDiff, rows, grads);
        return;
    }
    const std::size_t lanes = roundUpToLanes(numModels);
    HWY_DYNAMIC_DISPATCH(MultiplyWideColumns)(numRows, numBasis, lanes, symmDiff, rows, work);
    transposeFromLanes(numModels, numBasis, lanes, work, grads);
}

void scatterForces(std::size_t center, std::size_t numNeighbors, const std::int32_t* atoms,
                   std::size_t atomStride, std::size_t lanes, const float* rows, float* forces) {
    HWY_DYNAMIC_DISPATCH(ScatterForces)(center, numNeighbors, atoms, atomStride, lanes, rows, forces);
}

void gatherForces(std::size_t center, std::size_t numNeighbors, const std::int32_t* atoms,
                  std::size_t atomStride, std::size_t lanes, const float* grads, float* rows) {
    HWY_DYNAMIC_DISPATCH(GatherForces)(center, numNeighbors, atoms, atomStride, lanes, grads, rows);
}

void addStress(std::size_t numNeighbors, const float* ways, std::size_t lanes, const float* rows,
               float* stress) {
    HWY_DYNAMIC_DISPATCH(AddStress)(numNeighbors, ways, lanes, rows, stress);
}

void spreadStress(std::size_t numNeighbors, const float* ways, std::size_t lanes, const float* grads,
                  float* rows) {
    HWY_DYNAMIC_DISPATCH(SpreadStress)(numNeighbors, ways, lanes, grads, rows);
}

} // namespace melta::kernels
#endif // HWY_ONCE
