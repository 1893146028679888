#include "symmfunc/PlainBehler.hpp"

#include "symmfunc/PlainRecords.hpp"

#include <algorithm>
#include <cmath>

namespace melta::bench {
namespace {

float square(float x) {
    return x * x;
}

// Where the terms of one block go.
struct Target {
    float* values;
    float* diff; // null: values only
    std::size_t stride;
};

void addRadial(const PlainBehler& plain, const PlainRecord& record, std::size_t n, const Target& to) {
    const float w = plain.elemWeight ? static_cast<float>(record.atomNumber) : 1.0f;
    for (std::size_t k = 0; k < plain.radiusEta.size(); ++k) {
        const float d = record.r - plain.radiusShift[k];
        const float g = std::exp(-plain.radiusEta[k] * d * d);
        to.values[k] += w * record.fc * g;
        for (std::size_t c = 0; c < 3 && to.diff != nullptr; ++c) {
            const float u = record.d[c];
            const float slope = w * (u / record.r * record.dfc * g +
                                     record.fc * u * (-2.0f * plain.radiusEta[k] * d / record.r) * g);
            to.diff[c * to.stride + k] -= slope;
            to.diff[(3 * n + 3 + c) * to.stride + k] += slope;
        }
    }
}

// What a pair has in common for all functions.
struct Pair {
    std::size_t j, k;
    const PlainRecord& a;
    const PlainRecord& b;
    float weight;
    float cosine;
    std::array<float, 3> d;
    float r, fc, dfc; // of the third side
};

// Adds the derivatives of one term; `power` and `gaussian` are its factors.
void addSlopes(const PlainBehler& plain, const Pair& pair, float factor, float power, float gaussian,
               std::size_t set, std::size_t column, const Target& to) {
    const PlainRecord& a = pair.a;
    const PlainRecord& b = pair.b;
    const float shift = plain.angleShift[set];
    const float powerSlope = plain.angleZeta[set] * factor * power;
    const float g = -2.0f * plain.angleEta[set] * gaussian;
    const float tj = (a.r - shift) * g / a.r;
    const float tk = (b.r - shift) * g / b.r;
    const float tjk = (pair.r - shift) * g / pair.r;
    const float cutoffs = a.fc * b.fc * pair.fc;
    for (std::size_t c = 0; c < 3; ++c) {
        const float byB = a.d[c] / (b.r * a.r) - b.d[c] * pair.cosine / (b.r * b.r);
        const float byA = b.d[c] / (b.r * a.r) - a.d[c] * pair.cosine / (a.r * a.r);
        float onB = pair.weight * (b.d[c] / b.r * b.dfc * a.fc * pair.fc * power * gaussian +
                                   byB * cutoffs * powerSlope * gaussian + b.d[c] * cutoffs * power * tk);
        float onA = pair.weight * (a.d[c] / a.r * a.dfc * b.fc * pair.fc * power * gaussian +
                                   byA * cutoffs * powerSlope * gaussian + a.d[c] * cutoffs * power * tj);
        to.diff[c * to.stride + column] -= onA + onB;
        if (!plain.behlerG4) {
            const float onD = pair.weight * (pair.d[c] / pair.r * a.fc * b.fc * pair.dfc * power * gaussian +
                                             pair.d[c] * cutoffs * power * tjk);
            onB += onD;
            onA -= onD;
        }
        to.diff[(3 * pair.k + 3 + c) * to.stride + column] += onB;
        to.diff[(3 * pair.j + 3 + c) * to.stride + column] += onA;
    }
}

void addPair(const PlainBehler& plain, const Pair& pair, const std::vector<float>& table, const Target& to) {
    const std::size_t numSets = plain.angleEta.size();
    const float cutoffs = pair.a.fc * pair.b.fc * pair.fc;
    for (const std::size_t sign : {0U, 1U}) {
        const float lambda = sign == 0 ? 1.0f : -1.0f;
        const float c = 1.0f + lambda * pair.cosine;
        if (c < 0.000001f) {
            continue;
        }
        for (std::size_t set = 0; set < numSets; ++set) {
            const float shift = plain.angleShift[set];
            const float thirdSide = plain.behlerG4 ? 0.0f : square(pair.r - shift);
            const float power = std::pow(c, plain.angleZeta[set]) * table[set];
            const float gaussian = std::exp(
                -plain.angleEta[set] * (square(pair.a.r - shift) + square(pair.b.r - shift) + thirdSide));
            to.values[sign * numSets + set] += pair.weight * cutoffs * power * gaussian;
            if (to.diff != nullptr) {
                addSlopes(plain, pair, lambda / c, power, gaussian, set, sign * numSets + set, to);
            }
        }
    }
}

Pair makePair(const PlainBehler& plain, const std::vector<PlainRecord>& records, std::size_t j,
              std::size_t k) {
    const PlainRecord& a = records[j];
    const PlainRecord& b = records[k];
    Pair pair{j, k, a, b, 1.0f, 0.0f, {}, 1.0f, 1.0f, 0.0f};
    if (plain.elemWeight) {
        pair.weight = std::sqrt(static_cast<float>(a.atomNumber) * static_cast<float>(b.atomNumber));
    }
    pair.cosine = (a.d[0] * b.d[0] + a.d[1] * b.d[1] + a.d[2] * b.d[2]) / b.r / a.r;
    if (!plain.behlerG4) {
        float squared = 0.0f;
        for (std::size_t c = 0; c < 3; ++c) {
            pair.d[c] = b.d[c] - a.d[c];
            squared += square(pair.d[c]);
        }
        pair.r = std::sqrt(squared);
        computePlainCutoff(pair.r, plain.rcut, pair.fc, pair.dfc);
    }
    return pair;
}

} // namespace

int PlainBehler::numBasis() const {
    const int numKinds = elemWeight ? 1 : numElems;
    return static_cast<int>(radiusEta.size()) * numKinds +
           2 * static_cast<int>(angleEta.size()) * (numKinds * (numKinds + 1) / 2);
}

void PlainBehler::calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                            std::span<float> symmDiff) const {
    const auto records = makePlainRecords(geometry, iatom, rcut);
    std::ranges::fill(symmData, 0.0f);
    std::ranges::fill(symmDiff, 0.0f);
    std::vector<float> table;
    std::ranges::transform(angleZeta, std::back_inserter(table),
                           [](float zeta) { return std::exp2(1.0f - zeta); });
    const auto at = [&](std::size_t offset) {
        return Target{symmData.data() + offset, symmDiff.empty() ? nullptr : symmDiff.data() + offset,
                      static_cast<std::size_t>(numBasis())};
    };
    for (std::size_t n = 0; n < records.size(); ++n) {
        if (records[n].r < rcut) {
            const auto element = static_cast<std::size_t>(elemWeight ? 0 : records[n].element);
            addRadial(*this, records[n], n, at(radiusEta.size() * element));
        }
    }
    const std::size_t sizeRadius = radiusEta.size() * static_cast<std::size_t>(elemWeight ? 1 : numElems);
    for (std::size_t j = 0; j < records.size(); ++j) {
        for (std::size_t k = 0; k < records.size(); ++k) {
            if (!isPlainPair(records, elemWeight, rcut, j, k)) {
                continue;
            }
            const Pair pair = makePair(*this, records, j, k);
            if (behlerG4 || pair.r < rcut) {
                const int e = records[j].element;
                const int place = elemWeight ? 0 : records[k].element + e * (e + 1) / 2;
                addPair(*this, pair, table,
                        at(sizeRadius + 2 * angleEta.size() * static_cast<std::size_t>(place)));
            }
        }
    }
}

} // namespace melta::bench
