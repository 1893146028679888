#include "symmfunc/TwinTools.hpp"

#include "structure/Geometry.hpp"

#include <cmath>
#include <numbers>

namespace melta::test {

Neighborhood makeNeighborhood(const Geometry& geometry, int iatom) {
    Neighborhood hood;
    const auto first = 3 * static_cast<std::size_t>(iatom);
    for (std::size_t c = 0; c < 3; ++c) {
        hood.center[c] = static_cast<double>(geometry.positions[first + c]);
    }
    for (const auto& neighbor : geometry.getNeighbors(iatom)) {
        const auto atom = static_cast<std::size_t>(neighbor.atom);
        const std::array images{neighbor.ia, neighbor.ib, neighbor.ic};
        std::array<double, 3> position{};
        for (std::size_t c = 0; c < 3; ++c) {
            position[c] = static_cast<double>(geometry.positions[3 * atom + c]);
            for (std::size_t k = 0; k < 3; ++k) {
                position[c] += images[k] * static_cast<double>(geometry.lattice[3 * k + c]);
            }
        }
        hood.positions.push_back(position);
        hood.elements.push_back(geometry.elements[atom]);
        hood.atomNumbers.push_back(geometry.atomNumbers[atom]);
    }
    return hood;
}

void computeTwinCutoff(bool tanhCutoff, double r, double rc, double& value, double& derivative) {
    constexpr double pi = std::numbers::pi;
    value = 0.0;
    derivative = 0.0;
    if (r < rc && tanhCutoff) {
        const double t = std::tanh(1.0 - r / rc);
        value = t * t * t;
        derivative = -3.0 * t * t * (1.0 - t * t) / rc;
    } else if (r < rc) {
        value = 0.5 * (std::cos(pi * r / rc) + 1.0);
        derivative = -0.5 * std::sin(pi * r / rc) * (pi / rc);
    }
}

std::vector<TwinRecord> makeTwinRecords(const Neighborhood& hood, bool tanhCutoff, float rcutRadius,
                                        float rcutAngle) {
    std::vector<TwinRecord> records;
    const auto radius = static_cast<double>(rcutRadius);
    const auto angle = static_cast<double>(rcutAngle);
    const bool isOneCutoff = std::fabs(radius - angle) <= 0.0001;
    for (const auto& position : hood.positions) {
        TwinRecord record;
        for (std::size_t c = 0; c < 3; ++c) {
            record.d[c] = position[c] - hood.center[c];
        }
        record.r = std::hypot(record.d[0], record.d[1], record.d[2]);
        computeTwinCutoff(tanhCutoff, record.r, radius, record.fcRadius, record.dfcRadius);
        computeTwinCutoff(tanhCutoff, record.r, isOneCutoff ? radius : angle, record.fcAngle,
                          record.dfcAngle);
        records.push_back(record);
    }
    return records;
}

TwinResult::TwinResult(int length, std::size_t numNeighbors) : numBasis(length) {
    const auto rowLength = static_cast<std::size_t>(numBasis);
    values.assign(rowLength, 0.0);
    valueScale.assign(rowLength, 0.0);
    diff.assign(3 * (numNeighbors + 1) * rowLength, 0.0);
    diffScale.assign(3 * (numNeighbors + 1) * rowLength, 0.0);
}

void TwinResult::addValue(int b, double value, double scale) {
    values[static_cast<std::size_t>(b)] += value;
    valueScale[static_cast<std::size_t>(b)] += scale;
}

void TwinResult::addSlope(std::size_t entry, std::size_t axis, int b, double value, double scale) {
    const auto column = static_cast<std::size_t>(b);
    const auto rowLength = static_cast<std::size_t>(numBasis);
    diff[(3 * entry + 3 + axis) * rowLength + column] += value;
    diff[axis * rowLength + column] -= value;
    diffScale[(3 * entry + 3 + axis) * rowLength + column] += scale;
    diffScale[axis * rowLength + column] += scale;
}

bool isTwinPair(const Neighborhood& hood, const std::vector<TwinRecord>& records, bool elemWeight,
                double rcutAngle, std::size_t j, std::size_t k) {
    if (!(records[j].r < rcutAngle) || !(records[k].r < rcutAngle)) {
        return false;
    }
    if (elemWeight || hood.elements[k] == hood.elements[j]) {
        return k < j;
    }
    return hood.elements[k] < hood.elements[j];
}

} // namespace melta::test
