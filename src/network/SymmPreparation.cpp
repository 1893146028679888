#include "network/SymmPreparation.hpp"

#include "base/ParallelGuard.hpp"
#include "base/ProgressBar.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <omp.h>
#include <optional>

namespace melta {
namespace {

constexpr float startOfMax = -1.0e8f;
constexpr float startOfMin = 1.0e8f;

// Largest and smallest value of each element.
struct SymmRange {
    explicit SymmRange(int numElems)
        : maxValue(static_cast<std::size_t>(numElems), startOfMax),
          minValue(static_cast<std::size_t>(numElems), startOfMin) {}

    void fold(std::size_t element, std::span<const float> values) {
        for (const float value : values) {
            maxValue[element] = std::max(maxValue[element], value);
            minValue[element] = std::min(minValue[element], value);
        }
    }

    void finish(SymmStatistics& statistics) const {
        for (std::size_t e = 0; e < maxValue.size(); ++e) {
            statistics.symmAve.push_back((maxValue[e] + minValue[e]) * 0.5f);
            statistics.symmDev.push_back((maxValue[e] - minValue[e]) * 0.5f);
            if (!(statistics.symmDev.back() >= 0.01f)) {
                stopWithMessage("deviation of symmetry functions is too small.");
            }
        }
    }

    std::vector<float> maxValue;
    std::vector<float> minValue;
};

// Mean and deviation of each function of one element.
class FunctionMoments {
public:
    void fold(std::span<const float> values) {
        if (count == 0) {
            origin.assign(values.begin(), values.end());
            sums.assign(values.size(), 0.0);
            squares.assign(values.size(), 0.0);
        }
        ++count;
        for (std::size_t b = 0; b < values.size(); ++b) {
            // From the first value, because deviations may be small beside the mean.
            const double value = static_cast<double>(values[b]) - static_cast<double>(origin[b]);
            sums[b] += value;
            squares[b] += value * value;
        }
    }

    void finish(SymmStatistics& statistics) const {
        std::vector<double> deviations;
        for (std::size_t b = 0; b < origin.size(); ++b) {
            const double mean = sums[b] / count;
            deviations.push_back(std::sqrt(std::max(squares[b] / count - mean * mean, 0.0)));
            statistics.functionShift.push_back(static_cast<float>(static_cast<double>(origin[b]) + mean));
        }
        const double largest = *std::ranges::max_element(deviations);
        for (const double deviation : deviations) {
            const double least = std::max(deviation, smallestShare * largest);
            const double width = std::pow(least, power) * std::pow(largest, 1.0 - power);
            statistics.functionScale.push_back(static_cast<float>(spread / width));
        }
    }

private:
    static constexpr double spread = 0.4;           // deviation of the inputs that vary most
    static constexpr double power = 0.7;            // 0: all functions keep their proportions, 1: none
    static constexpr double smallestShare = 2.0e-4; // what varies less is rounding

    double count = 0.0;
    std::vector<float> origin; // [numBasis], like the others
    std::vector<double> sums;
    std::vector<double> squares;
};

// Ranges of all elements, and with `ofEach` the moments of their functions.
class StatisticsCollector {
public:
    StatisticsCollector(int numElems, bool ofEach)
        : range(numElems), moments(ofEach ? static_cast<std::size_t>(numElems) : 0) {}

    void fold(std::size_t element, std::span<const float> values) {
        range.fold(element, values);
        if (!moments.empty()) {
            moments[element].fold(values);
        }
    }

    [[nodiscard]] SymmStatistics finish() const {
        SymmStatistics statistics;
        range.finish(statistics);
        for (const FunctionMoments& ofElement : moments) {
            ofElement.finish(statistics);
        }
        return statistics;
    }

private:
    SymmRange range;
    std::vector<FunctionMoments> moments; // [numElems] or none
};

SymmRows makeRows(const SymmFunc& symmFunc, const Geometry& geometry, bool derive) {
    std::vector<std::size_t> numNeighbors;
    for (int a = 0; a < geometry.numAtoms; ++a) {
        numNeighbors.push_back(static_cast<std::size_t>(geometry.numNeighbors(a)));
    }
    SymmRows rows;
    rows.resize(static_cast<std::size_t>(symmFunc.getNumBasis()), numNeighbors, derive);
    return rows;
}

void calculateAtom(const SymmFunc& symmFunc, const Geometry& geometry, int atom, SymmRows& rows) {
    const auto index = static_cast<std::size_t>(atom);
    symmFunc.calculate(geometry, atom, rows.valuesOf(index), rows.derivsOf(index));
}

// While the rows of an atom are still in the cache.
bool isFinite(const SymmRows& rows, std::size_t atom) {
    return areFinite(rows.valuesOf(atom)) && areFinite(rows.derivsOf(atom));
}

void renormalizeDerivs(std::span<float> derivs, std::size_t element, const SymmStatistics& statistics) {
    if (!statistics.scalesEach()) {
        for (float& value : derivs) {
            value /= statistics.symmDev[element];
        }
        return;
    }
    const std::span<const float> scales = statistics.ofElement(statistics.functionScale, element);
    for (std::size_t row = 0; row < derivs.size(); row += scales.size()) {
        std::ranges::transform(derivs.subspan(row, scales.size()), scales,
                               derivs.begin() + static_cast<std::ptrdiff_t>(row), std::multiplies<>());
    }
}

// Stops with the first geometry whose entry is not 0.
void requireAllFinite(std::span<const std::uint8_t> isIllegal) {
    const auto found = std::ranges::find_if(isIllegal, [](std::uint8_t value) { return value != 0; });
    if (found != isIllegal.end()) {
        stopAtSymmFuncs(static_cast<std::size_t>(found - isIllegal.begin()));
    }
}

// One geometry: its atoms are shared among the threads.
// `number`: how a message calls the geometry.
void calculateByAtoms(const SymmFunc& symmFunc, const Geometry& geometry, std::size_t number,
                      SymmRows& rows) {
    ParallelGuard guard;
    std::atomic<bool> isIllegal = false;
#pragma omp parallel for schedule(static)
    for (int a = 0; a < geometry.numAtoms; ++a) {
        guard.run([&] {
            calculateAtom(symmFunc, geometry, a, rows);
            if (!isFinite(rows, static_cast<std::size_t>(a))) {
                isIllegal = true;
            }
        });
    }
    guard.rethrow();
    if (isIllegal) {
        stopAtSymmFuncs(number);
    }
}

// Gives for each geometry whether anything is not finite.
std::vector<std::uint8_t> calculateByGeometries(const SymmFunc& symmFunc,
                                                std::span<Geometry* const> geometries, bool derive,
                                                std::vector<SymmRows>& rows, ProgressBar* bar) {
    const int count = static_cast<int>(geometries.size());
    std::vector<int> order(geometries.size());
    std::iota(order.begin(), order.end(), 0);
    sharedRandom().shuffle(order);
    std::vector<std::uint8_t> isIllegal(geometries.size(), 0);
    ParallelGuard guard;
#pragma omp parallel
    {
        int counter = 0;
#pragma omp for schedule(static)
        for (int i = 0; i < count; ++i) {
            const auto g = static_cast<std::size_t>(order[static_cast<std::size_t>(i)]);
            guard.run([&] {
                rows[g] = makeRows(symmFunc, *geometries[g], derive);
                for (int a = 0; a < geometries[g]->numAtoms; ++a) {
                    calculateAtom(symmFunc, *geometries[g], a, rows[g]);
                    if (!isFinite(rows[g], static_cast<std::size_t>(a))) {
                        isIllegal[g] = 1;
                    }
                }
            });
            // The first thread speaks for all of them.
            if (bar != nullptr && omp_get_thread_num() == 0) {
                counter += omp_get_num_threads();
                bar->advance(counter);
            }
        }
    }
    guard.rethrow();
    return isIllegal;
}

} // namespace

void requirePrepared(const SymmStatistics& statistics) {
    if (!std::ranges::all_of(statistics.symmDev, [](float dev) { return dev > 0.0f; })) {
        stopWithMessage("symmDev have not been prepared.");
    }
}

void printNumBasis(const SymmFunc& symmFunc) {
    printOut("  * There are %d symmetry functions.\n\n", symmFunc.getNumBasis());
}

// By the exponents alone, which a compiler can do for a whole vector at once: rows of derivatives are the
// largest object of a run.
bool areFinite(std::span<const float> values) {
    constexpr std::uint32_t exponent = 0x7f800000U;
    std::uint32_t numIllegal = 0;
    for (const float value : values) {
        numIllegal += (std::bit_cast<std::uint32_t>(value) & exponent) == exponent ? 1U : 0U;
    }
    return numIllegal == 0;
}

void stopAtSymmFuncs(std::size_t geometry) {
    stopWithMessage("NaN at symmetry functions of the %d -th geometry.", static_cast<int>(geometry));
}

void renormalize(std::span<float> values, std::size_t element, const SymmStatistics& statistics) {
    if (statistics.scalesEach()) {
        const std::span<const float> shifts = statistics.ofElement(statistics.functionShift, element);
        const std::span<const float> scales = statistics.ofElement(statistics.functionScale, element);
        for (std::size_t b = 0; b < values.size(); ++b) {
            values[b] = (values[b] - shifts[b]) * scales[b];
        }
        return;
    }
    const float ave = statistics.symmAve[element];
    const float dev = statistics.symmDev[element];
    for (float& value : values) {
        value = (value - ave) / dev;
    }
}

std::vector<SymmRows> calculateSymmRows(const SymmFunc& symmFunc, std::span<Geometry* const> geometries,
                                        bool derive, bool withBar) {
    std::vector<SymmRows> rows(geometries.size());
    if (geometries.size() < 2) {
        rows.front() = makeRows(symmFunc, *geometries.front(), derive);
        calculateByAtoms(symmFunc, *geometries.front(), 0, rows.front());
        return rows;
    }
    std::optional<ProgressBar> bar;
    if (withBar) {
        bar.emplace(static_cast<int>(geometries.size()));
    }
    const auto isIllegal = calculateByGeometries(symmFunc, geometries, derive, rows, bar ? &*bar : nullptr);
    if (bar) {
        bar->finish();
    }
    requireAllFinite(isIllegal);
    return rows;
}

SymmStatistics statisticsOfRows(std::span<Geometry* const> geometries, std::span<const SymmRows> rows,
                                int numElems, bool ofEach) {
    StatisticsCollector collector(numElems, ofEach);
    for (std::size_t g = 0; g < geometries.size(); ++g) {
        for (std::size_t a = 0; a < rows[g].getNumAtoms(); ++a) {
            collector.fold(static_cast<std::size_t>(geometries[g]->elements[a]), rows[g].valuesOf(a));
        }
    }
    return collector.finish();
}

SymmStatistics statisticsOfSet(const SymmFunc& symmFunc, const GeometrySet& geometrySet, bool ofEach,
                               bool isSilent) {
    std::optional<ProgressBar> bar;
    if (geometrySet.numGeoms > 1 && !isSilent) {
        bar.emplace(geometrySet.numGeoms);
    }
    StatisticsCollector collector(geometrySet.numElems, ofEach);
    for (int g = 0; g < geometrySet.numGeoms; ++g) {
        const Geometry& geometry = geometrySet.getGeometry(g);
        SymmRows rows = makeRows(symmFunc, geometry, false);
        calculateByAtoms(symmFunc, geometry, static_cast<std::size_t>(g), rows);
        for (std::size_t a = 0; a < rows.getNumAtoms(); ++a) {
            collector.fold(static_cast<std::size_t>(geometry.elements[a]), rows.valuesOf(a));
        }
        if (bar) {
            bar->advance(g);
        }
    }
    SymmStatistics statistics = collector.finish();
    if (bar) {
        bar->finish();
    }
    return statistics;
}

void renormalizeSymmRows(std::span<Geometry* const> geometries, std::span<SymmRows> rows,
                         const SymmStatistics& statistics) {
    for (std::size_t g = 0; g < geometries.size(); ++g) {
        const Geometry& geometry = *geometries[g];
#pragma omp parallel for schedule(static)
        for (int a = 0; a < geometry.numAtoms; ++a) {
            const auto atom = static_cast<std::size_t>(a);
            const auto element = static_cast<std::size_t>(geometry.elements[atom]);
            renormalize(rows[g].valuesOf(atom), element, statistics);
            renormalizeDerivs(rows[g].derivsOf(atom), element, statistics);
        }
    }
}

} // namespace melta
