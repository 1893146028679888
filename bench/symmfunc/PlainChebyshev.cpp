#include "symmfunc/PlainChebyshev.hpp"

#include "symmfunc/PlainRecords.hpp"

#include <algorithm>
#include <cmath>

namespace melta::bench {
namespace {

constexpr float pi = 3.1415927f;

float slopeOf(float order, float theta, float sine) {
    if (theta >= 0.00001f) {
        return order * std::sin(order * theta) / sine;
    }
    return order * order * (1.0f - (order * order - 1.0f) / 6.0f * theta * theta);
}

void addRadial(const PlainChebyshev& plain, const PlainRecord& record, std::size_t n, float* values,
               float* diff, std::size_t stride) {
    const float w = plain.elemWeight ? static_cast<float>(record.atomNumber) : 1.0f;
    const float theta = std::acos(2.0f * record.r / plain.rcut - 1.0f);
    const float sine = std::sin(theta);
    for (int k = 0; k < plain.numRadius; ++k) {
        const auto order = static_cast<float>(k);
        const float t = std::cos(order * theta);
        values[k] += w * record.fc * t;
        if (diff == nullptr) {
            continue;
        }
        const float dt = slopeOf(order, theta, sine);
        for (std::size_t c = 0; c < 3; ++c) {
            const float u = record.d[c];
            const float slope =
                w * ((u / record.r) * record.dfc * t + record.fc * u * dt * (2.0f / plain.rcut) / record.r);
            diff[c * stride + static_cast<std::size_t>(k)] -= slope;
            diff[(3 * n + 3 + c) * stride + static_cast<std::size_t>(k)] += slope;
        }
    }
}

void addPair(const PlainChebyshev& plain, const std::vector<PlainRecord>& records, std::size_t j,
             std::size_t n, float* values, float* diff, std::size_t stride) {
    const PlainRecord& a = records[j];
    const PlainRecord& b = records[n];
    const float w = plain.elemWeight
                        ? std::sqrt(static_cast<float>(a.atomNumber) * static_cast<float>(b.atomNumber))
                        : 1.0f;
    const float dot = a.d[0] * b.d[0] + a.d[1] * b.d[1] + a.d[2] * b.d[2];
    const float cosine = std::clamp(dot / b.r / a.r, -1.0f, 1.0f);
    const float x = 2.0f * std::acos(cosine) / pi - 1.0f;
    const float theta = std::acos(std::clamp(x, -1.0f, 1.0f));
    const float sine = std::sin(theta);
    const float q = -1.0f / std::max(std::sqrt(1.0f - cosine * cosine), 0.001f);
    for (int k = 0; k < plain.numAngle; ++k) {
        const auto order = static_cast<float>(k);
        const float t = std::cos(order * theta);
        values[k] += w * a.fc * b.fc * t;
        if (diff == nullptr) {
            continue;
        }
        const float dt = slopeOf(order, theta, sine) * 0.63661975f;
        for (std::size_t c = 0; c < 3; ++c) {
            const float byB = q * (a.d[c] / (b.r * a.r) - b.d[c] * cosine / (b.r * b.r));
            const float byA = q * (b.d[c] / (b.r * a.r) - a.d[c] * cosine / (a.r * a.r));
            const float onB = w * ((b.d[c] / b.r) * a.fc * b.dfc * t + a.fc * b.fc * byB * dt);
            const float onA = w * ((a.d[c] / a.r) * a.dfc * b.fc * t + a.fc * b.fc * byA * dt);
            diff[c * stride + static_cast<std::size_t>(k)] -= onA + onB;
            diff[(3 * n + 3 + c) * stride + static_cast<std::size_t>(k)] += onB;
            diff[(3 * j + 3 + c) * stride + static_cast<std::size_t>(k)] += onA;
        }
    }
}

} // namespace

int PlainChebyshev::numBasis() const {
    const int numKinds = elemWeight ? 1 : numElems;
    return numRadius * numKinds + numAngle * (numKinds * (numKinds + 1) / 2);
}

void PlainChebyshev::calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                               std::span<float> symmDiff) const {
    const auto records = makePlainRecords(geometry, iatom, rcut);
    const auto stride = static_cast<std::size_t>(numBasis());
    std::ranges::fill(symmData, 0.0f);
    std::ranges::fill(symmDiff, 0.0f);
    const auto at = [](std::span<float> array, int offset) {
        return array.empty() ? nullptr : array.data() + offset;
    };
    for (std::size_t n = 0; n < records.size(); ++n) {
        if (records[n].r < rcut) {
            const int start = elemWeight ? 0 : numRadius * records[n].element;
            addRadial(*this, records[n], n, at(symmData, start), at(symmDiff, start), stride);
        }
    }
    const int sizeRadius = numRadius * (elemWeight ? 1 : numElems);
    for (std::size_t j = 0; j < records.size(); ++j) {
        for (std::size_t n = 0; n < records.size(); ++n) {
            if (isPlainPair(records, elemWeight, rcut, j, n)) {
                const int e = records[j].element;
                const int pair = elemWeight ? 0 : records[n].element + e * (e + 1) / 2;
                const int start = sizeRadius + numAngle * pair;
                addPair(*this, records, j, n, at(symmData, start), at(symmDiff, start), stride);
            }
        }
    }
}

} // namespace melta::bench
