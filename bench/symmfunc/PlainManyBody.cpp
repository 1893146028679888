#include "symmfunc/PlainManyBody.hpp"

#include "symmfunc/PlainRecords.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace melta::bench {
namespace {

constexpr float pi = 3.1415927f;

class Pass {
public:
    Pass(const PlainManyBody& settings, const std::vector<PlainRecord>& neighbors, std::span<float> symmData,
         std::span<float> symmDiff)
        : plain(settings), records(neighbors), values(symmData), diff(symmDiff),
          step2((plain.router - plain.rinner) / static_cast<float>(plain.m2)),
          step3((plain.router - plain.rinner) / static_cast<float>(plain.m3)),
          stride(static_cast<std::size_t>(plain.numBasis())), numColumns(plain.m3 * plain.numElems) {}

    void addRadial(std::size_t n) {
        const float r = records[n].r;
        const auto& d = records[n].d;
        const Range range = getRange(r, plain.m2, step2);
        for (int k = range.lowest; k <= range.highest; ++k) {
            const auto b = static_cast<std::size_t>(plain.m2 * records[n].element + k);
            values[b] += phi(k, r, step2);
            const float slope = diff.empty() ? 0.0f : dphi(k, r, step2);
            for (std::size_t c = 0; c < 3 && !diff.empty(); ++c) {
                const float t = (-d[c] / r) * slope;
                diff[c * stride + b] += t;
                diff[(3 * n + 3 + c) * stride + b] -= t;
            }
        }
    }

    void addPair(std::size_t j, std::size_t l) {
        std::array<float, 3> w{};
        float squared = 0.0f;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            w[axis] = records[j].d[axis] - records[l].d[axis];
            squared += w[axis] * w[axis];
        }
        if (!(squared < plain.router * plain.router)) {
            return;
        }
        const bool withDiff = !diff.empty();
        const float third = std::sqrt(squared);
        const Range rangeC = getRange(third, plain.m3, step3);
        const Range rangeA = getRange(records[j].r, plain.m3, step3);
        const Range rangeB = getRange(records[l].r, plain.m3, step3);
        const int ej = records[j].element;
        const int el = records[l].element;
        for (int c = rangeC.lowest; c <= rangeC.highest; ++c) {
            const float phiC = phi(c, third, step3);
            const float dphiC = withDiff ? dphi(c, third, step3) : 0.0f;
            for (int a = rangeA.lowest; a <= rangeA.highest; ++a) {
                const float phiA = phi(a, records[j].r, step3);
                const float dphiA = withDiff ? dphi(a, records[j].r, step3) : 0.0f;
                const int u = plain.m3 * ej + a;
                const int highest = el == ej && a < rangeB.highest ? a : rangeB.highest;
                for (int b = rangeB.lowest; b <= highest; ++b) {
                    const float phiB = phi(b, records[l].r, step3);
                    const auto index =
                        static_cast<std::size_t>(plain.m2 * plain.numElems + plain.m3 * el + b +
                                                 u * (u + 1) / 2 + numColumns * (numColumns + 1) / 2 * c);
                    values[index] += phiC * phiA * phiB;
                    if (withDiff) {
                        const float dphiB = dphi(b, records[l].r, step3);
                        addSlopes(j, l, index, w,
                                  {phiC * dphiA * phiB / records[j].r, phiC * phiA * dphiB / records[l].r,
                                   dphiC * phiA * phiB / third});
                    }
                }
            }
        }
    }

private:
    struct Range {
        int lowest;
        int highest;
    };

    [[nodiscard]] Range getRange(float r, int m, float h) const {
        const int i = static_cast<int>((r - plain.rinner) / h);
        return {std::max(i, 0), std::min(i + 1, m - 1)};
    }
    [[nodiscard]] float phi(int k, float r, float h) const {
        return 0.5f * std::cos(pi * (r - plain.rinner - static_cast<float>(k) * h) / h) + 0.5f;
    }
    [[nodiscard]] float dphi(int k, float r, float h) const {
        return std::sin(pi * (r - plain.rinner - static_cast<float>(k) * h) / h) * (-1.5707964f / h);
    }

    void addSlopes(std::size_t j, std::size_t l, std::size_t index, const std::array<float, 3>& w,
                   const std::array<float, 3>& factors) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const float byJ = -factors[0] * records[j].d[axis];
            const float byL = -factors[1] * records[l].d[axis];
            const float byThird = -factors[2] * w[axis];
            diff[axis * stride + index] += byJ + byL;
            diff[(3 * l + 3 + axis) * stride + index] -= byL - byThird;
            diff[(3 * j + 3 + axis) * stride + index] -= byJ + byThird;
        }
    }

    const PlainManyBody& plain;
    const std::vector<PlainRecord>& records;
    std::span<float> values;
    std::span<float> diff;
    float step2;
    float step3;
    std::size_t stride;
    int numColumns;
};

} // namespace

int PlainManyBody::numBasis() const {
    const int numColumns = numElems * m3;
    return m2 * numElems + numColumns * (numColumns + 1) / 2 * m3;
}

void PlainManyBody::calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                              std::span<float> symmDiff) const {
    const auto records = makePlainRecords(geometry, iatom, 0.0f); // no cutoff function

    std::ranges::fill(symmData, 0.0f);
    std::ranges::fill(symmDiff, 0.0f);
    Pass pass(*this, records, symmData, symmDiff);
    for (std::size_t n = 0; n < records.size(); ++n) {
        if (records[n].r < router) {
            pass.addRadial(n);
        }
    }
    for (std::size_t j = 0; j < records.size(); ++j) {
        for (std::size_t l = 0; l < records.size(); ++l) {
            if (isPlainPair(records, false, router, j, l)) {
                pass.addPair(j, l);
            }
        }
    }
}

} // namespace melta::bench
