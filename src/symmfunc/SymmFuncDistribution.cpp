#include "symmfunc/SymmFuncDistribution.hpp"

#include "base/ParallelGuard.hpp"
#include "base/ProgressBar.hpp"
#include "base/Reporting.hpp"
#include "structure/GeometrySet.hpp"
#include "symmfunc/DistributionFile.hpp"
#include "symmfunc/SymmFunc.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

namespace melta {

SymmFuncDistribution::SymmFuncDistribution(int elems, std::span<const float> symmAve,
                                           std::span<const float> symmDev, const SymmFunc* function)
    : numElems(elems), symmFunc(function) {
    if (elems < 1) {
        stopWithMessage("#elements is not positive.");
    }
    const auto count = static_cast<std::size_t>(elems);
    if (symmAve.size() < count) {
        stopWithMessage("symmAve is null.");
    }
    if (symmDev.size() < count) {
        stopWithMessage("symmDev is null.");
    }
    if (function == nullptr) {
        stopWithMessage("symmFunc is null.");
    }
    numBasis = function->getNumBasis();
    if (numBasis < 1) {
        stopWithMessage("#basis is not positive.");
    }
    for (std::size_t e = 0; e < count; ++e) {
        const float step = symmDev[e] * 2.0f / static_cast<float>(numDists - 1);
        symmStep.push_back(step);
        symmStart.push_back(symmAve[e] - symmDev[e] - step * 0.5f);
    }
    resizeCounts();
}

void SymmFuncDistribution::calcDistribution(const GeometrySet* geometrySet,
                                            std::span<Geometry* const> geometries,
                                            std::span<const std::span<const float>> symmData, bool isSilent) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    const bool isComputed = !geometries.empty() && !symmData.empty();
    const int numGeoms = isComputed ? static_cast<int>(geometries.size()) : geometrySet->numGeoms;
    if (numGeoms < 1) {
        stopWithMessage("total number of geometries is not positive.");
    }
    if (isComputed) {
        resizeCounts();
        for (std::size_t g = 0; g < geometries.size(); ++g) {
            countValues(*geometries[g], symmData[g]);
        }
        return;
    }

    std::optional<ProgressBar> bar;
    if (numGeoms > 1 && !isSilent) {
        bar.emplace(numGeoms);
    }
    resizeCounts();
    for (int i = 0; i < numGeoms; ++i) {
        countGeometry(geometrySet->getGeometry(i));
        if (bar) {
            bar->advance(i);
        }
    }
    if (bar) {
        bar->finish();
    }
}

// Gives every count its place and the value 0.
void SymmFuncDistribution::resizeCounts() {
    const auto size = static_cast<std::size_t>(numDists) * static_cast<std::size_t>(numBasis);
    distributions.resize(static_cast<std::size_t>(numElems));
    for (auto& counts : distributions) {
        counts.assign(size, 0);
    }
}

// Bin of a raw value; the comparisons also send a value that is not a number to the first bin.
int SymmFuncDistribution::findBin(std::size_t element, float value) const {
    const float position = (value - symmStart[element]) / symmStep[element];
    return static_cast<int>(std::min(std::max(0.0f, position), static_cast<float>(numDists - 1)));
}

void SymmFuncDistribution::countValues(const Geometry& geometry, std::span<const float> values) {
    const auto rowLength = static_cast<std::size_t>(numBasis);
    for (std::size_t atom = 0; atom < static_cast<std::size_t>(geometry.numAtoms); ++atom) {
        const auto element = static_cast<std::size_t>(geometry.elements[atom]);
        for (std::size_t j = 0; j < rowLength; ++j) {
            const auto bin = static_cast<std::size_t>(findBin(element, values[atom * rowLength + j]));
            ++distributions[element][bin * rowLength + j];
        }
    }
}

// The threads share the computing; counting is left to one, so that no two ever touch the same count.
void SymmFuncDistribution::countGeometry(const Geometry& geometry) {
    const auto rowLength = static_cast<std::size_t>(numBasis);
    std::vector<float> values(static_cast<std::size_t>(geometry.numAtoms) * rowLength);
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (int atom = 0; atom < geometry.numAtoms; ++atom) {
        guard.run([&] {
            const auto row = std::span(values).subspan(static_cast<std::size_t>(atom) * rowLength, rowLength);
            symmFunc->calculate(geometry, atom, row, {});
        });
    }
    guard.rethrow();
    countValues(geometry, values);
}

void SymmFuncDistribution::writeDistribution(const std::string& fileName,
                                             const GeometrySet* geometrySet) const {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    auto file = openForWriting(fileName);
    printDistribution(file.get(), *geometrySet);
    closeWritten(std::move(file), fileName);
}

void SymmFuncDistribution::printDistribution(std::FILE* stream, const GeometrySet& geometrySet) const {
    DistributionHead head;
    head.numDists = numDists;
    head.numBasis = numBasis;
    for (int e = 0; e < numElems; ++e) {
        const auto element = static_cast<std::size_t>(e);
        head.elements.push_back({geometrySet.getElementName(e), symmStep[element], symmStart[element]});
    }
    writeDistributionText(stream, head, distributions);
}

void SymmFuncDistribution::readDistribution(const std::string& fileName, const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    DistributionReader reader(fileName);
    const DistributionHead head = reader.readHead(numBasis);
    std::vector<std::size_t> runElements = reader.matchElements(head, numElems, *geometrySet);
    for (std::size_t e = 0; e < head.elements.size(); ++e) {
        if (runElements[e] != DistributionReader::unknown) {
            checkScale(head.elements[e], runElements[e], fileName);
        }
    }
    for (const std::size_t element : runElements) {
        auto counts = reader.readCounts(head);
        if (element != DistributionReader::unknown) {
            distributions[element] = std::move(counts);
        }
    }
    numDists = head.numDists;
}

void SymmFuncDistribution::checkScale(const DistributionElement& read, std::size_t element,
                                      const std::string& fileName) const {
    if (!(std::fabs(symmStep[element] - read.step) <= 0.001f)) {
        stopWithMessage("step of distribution is not consistent: %s", fileName.c_str());
    }
    if (!(std::fabs(symmStart[element] - read.start) <= 0.001f)) {
        stopWithMessage("initial value of distribution is not consistent: %s", fileName.c_str());
    }
}

bool SymmFuncDistribution::isOutside(const Geometry& geometry, std::span<const float> symmData,
                                     int maxDist) const {
    const auto rowLength = static_cast<std::size_t>(numBasis);
    for (std::size_t atom = 0; atom < static_cast<std::size_t>(geometry.numAtoms); ++atom) {
        if (isOutside(geometry.elements[atom], symmData.subspan(atom * rowLength, rowLength), maxDist)) {
            return true;
        }
    }
    return false;
}

bool SymmFuncDistribution::isOutside(int element, std::span<const float> symmData, int maxDist) const {
    if (maxDist < 1) {
        stopWithMessage("maxDist is not positive.");
    }
    const float width = 2.0f / static_cast<float>(numDists - 1);
    const float start = -1.0f - 0.5f * width;
    const auto top = static_cast<float>(numDists);
    const auto& counts = distributions[static_cast<std::size_t>(element)];
    for (std::size_t j = 0; j < symmData.size(); ++j) {
        // Cutting toward zero leaves everything above -1 in bin 0. The comparison is false for NaN.
        const float position = (symmData[j] - start) / width;
        if (!(position > -1.0f && position < top)) {
            return true;
        }
        const auto bin = static_cast<std::size_t>(std::max(0.0f, position));
        if (counts[bin * static_cast<std::size_t>(numBasis) + j] < maxDist) {
            return true;
        }
    }
    return false;
}

std::int32_t SymmFuncDistribution::getCount(int element, int bin, int function) const {
    const auto place = static_cast<std::size_t>(bin) * static_cast<std::size_t>(numBasis);
    return distributions[static_cast<std::size_t>(element)][place + static_cast<std::size_t>(function)];
}

} // namespace melta
