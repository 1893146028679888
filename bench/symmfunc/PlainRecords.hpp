// Neighbours for the plain algorithms that the kernels are compared with.
#pragma once

#include "structure/Geometry.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace melta::bench {

struct PlainRecord {
    float r;
    std::array<float, 3> d;
    float fc;
    float dfc;
    int element;
    int atomNumber;
};

// Tanh cutoff and its derivative; both zero at and beyond `rcut`.
inline void computePlainCutoff(float r, float rcut, float& fc, float& dfc) {
    fc = 0.0f;
    dfc = 0.0f;
    if (r < rcut) {
        const float t = std::tanh(1.0f - r / rcut);
        fc = t * t * t;
        dfc = -3.0f * t * t * (1.0f - t * t) / rcut;
    }
}

inline std::vector<PlainRecord> makePlainRecords(const Geometry& geometry, int iatom, float rcut) {
    std::vector<PlainRecord> records;
    for (const auto& neighbor : geometry.getNeighbors(iatom)) {
        PlainRecord record{};
        record.d = geometry.computeNeighborPosition(neighbor);
        float squared = 0.0f;
        for (std::size_t c = 0; c < 3; ++c) {
            record.d[c] -= geometry.positions[3 * static_cast<std::size_t>(iatom) + c];
            squared += record.d[c] * record.d[c];
        }
        record.r = std::sqrt(squared);
        computePlainCutoff(record.r, rcut, record.fc, record.dfc);
        record.element = geometry.elements[static_cast<std::size_t>(neighbor.atom)];
        record.atomNumber = geometry.atomNumbers[static_cast<std::size_t>(neighbor.atom)];
        records.push_back(record);
    }
    return records;
}

// Whether j and k make a pair, j the outer one.
inline bool isPlainPair(const std::vector<PlainRecord>& records, bool elemWeight, float rcut, std::size_t j,
                        std::size_t k) {
    if (!(records[j].r < rcut) || !(records[k].r < rcut)) {
        return false;
    }
    if (elemWeight || records[j].element == records[k].element) {
        return k < j;
    }
    return records[k].element < records[j].element;
}

} // namespace melta::bench
