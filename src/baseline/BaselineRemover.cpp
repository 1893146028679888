#include "baseline/BaselineRemover.hpp"

#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "baseline/reax/ReaxPot.hpp"
#include "config/Property.hpp"
#include "structure/GeometrySet.hpp"

#include <omp.h>

#include <algorithm>
#include <vector>

namespace melta {
namespace {

std::unique_ptr<ClassicalPot> makeClassical(const GeometrySet* set, const Property* property,
                                            const std::string& file) {
    auto pot = std::make_unique<ClassicalPot>(set, property);
    pot->restoreParameters(file);
    return pot;
}

std::unique_ptr<ReaxPot> makeReaxFF(const Property& property, const std::string& file) {
    return std::make_unique<ReaxPot>(static_cast<double>(property.rcutReaxFF),
                                     static_cast<double>(property.rateReaxFF), file);
}

void removeClassical(const GeometrySet& set, const Property& property, std::span<const int> order,
                     const std::string& file) {
    const auto pot = makeClassical(&set, &property, file);
    printOut("  * Remove energies and forces of the Lennard-Jones-like potential.\n\n");
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (const int index : order) {
        guard.run([&] { pot->removeFromGeometry(&set.obtainGeometry(index)); });
    }
    guard.rethrow();
}

void removeReaxFF(const GeometrySet& set, const Property& property, std::span<const int> order,
                  const std::string& file) {
    printOut("  * Remove energies and forces of the ReaxFF potential.\n\n");
    // One for each thread, because they keep work data. Made before the threads run, so that a file that
    // cannot be read is reported once.
    std::vector<std::unique_ptr<ReaxPot>> pots(
        std::min(static_cast<std::size_t>(omp_get_max_threads()), order.size()));
    std::ranges::generate(pots, [&] { return makeReaxFF(property, file); });
    ParallelGuard guard;
#pragma omp parallel for schedule(static) num_threads(static_cast <int>(pots.size()))
    for (const int index : order) {
        guard.run([&] {
            pots[static_cast<std::size_t>(omp_get_thread_num())]->removeFromGeometry(
                &set.obtainGeometry(index));
        });
    }
    guard.rethrow();
}

} // namespace

BaselineRemoval makeBaselineRemoval(const std::string& baselineFile) {
    return [baselineFile](const GeometrySet& set, const Property& property, std::span<const int> order) {
        if (set.withClassical) {
            removeClassical(set, property, order, baselineFile);
        } else if (set.withReaxFF) {
            removeReaxFF(set, property, order, baselineFile);
        }
    };
}

std::unique_ptr<BaselinePotential> makeBaseline(const GeometrySet* set, const Property* property,
                                                const std::string& baselineFile) {
    if (property->withClassical != 0) {
        flushOut();
        return makeClassical(set, property, baselineFile);
    }
    if (property->withReaxFF != 0) {
        flushOut();
        return makeReaxFF(*property, baselineFile);
    }
    return nullptr;
}

} // namespace melta
