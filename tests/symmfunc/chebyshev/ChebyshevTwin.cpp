#include "symmfunc/chebyshev/ChebyshevTwin.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta::test {
namespace {

constexpr double pi = std::numbers::pi;

double polynomial(int k, double theta) {
    return std::cos(k * theta);
}

double polynomialSlope(int k, double theta) {
    if (theta >= 0.00001) {
        return k * std::sin(k * theta) / std::sin(theta);
    }
    return static_cast<double>(k * k) * (1.0 - (static_cast<double>(k * k - 1) / 6.0) * theta * theta);
}

class Twin {
public:
    Twin(const ChebyshevSettings& settings, const Neighborhood& hood)
        : set(settings), around(hood), rcutRadius(static_cast<double>(settings.rcutRadius)),
          rcutAngle(static_cast<double>(settings.rcutAngle)),
          records(makeTwinRecords(hood, settings.tanhCutoff, settings.rcutRadius, settings.rcutAngle)) {
        const int numKinds = set.elemWeight ? 1 : set.numElems;
        sizeRadiusBasis = set.numRadius * numKinds;
        result = TwinResult(sizeRadiusBasis + set.numAngle * (numKinds * (numKinds + 1) / 2), records.size());
    }

    TwinResult compute() {
        for (std::size_t n = 0; n < records.size(); ++n) {
            if (records[n].r < rcutRadius) {
                addRadial(n);
            }
        }
        for (std::size_t j = 0; j < records.size() && records.size() >= 2 && set.numAngle >= 1; ++j) {
            for (std::size_t k = 0; k < records.size(); ++k) {
                if (isTwinPair(around, records, set.elemWeight, rcutAngle, j, k)) {
                    addPair(j, k);
                }
            }
        }
        return result;
    }

private:
    void addRadial(std::size_t n) {
        const TwinRecord& record = records[n];
        const double w = set.elemWeight ? around.atomNumbers[n] : 1.0;
        const int start = set.elemWeight ? 0 : set.numRadius * around.elements[n];
        const double theta = std::acos(std::clamp(2.0 * record.r / rcutRadius - 1.0, -1.0, 1.0));
        for (int k = 0; k < set.numRadius; ++k) {
            const double t = polynomial(k, theta);
            const double dt = polynomialSlope(k, theta);
            result.addValue(start + k, w * record.fcRadius * t, w * (record.fcRadius + smallestCutoff));
            const double scale = w * (1.0 + record.fcRadius * k * k) * 2.0 / rcutRadius;
            for (std::size_t c = 0; c < 3; ++c) {
                const double u = record.d[c];
                const double slope = w * ((u / record.r) * record.dfcRadius * t +
                                          record.fcRadius * u * dt * (2.0 / rcutRadius) / record.r);
                result.addSlope(n, c, start + k, slope, scale);
            }
        }
    }

    void addPair(std::size_t j, std::size_t k) {
        const TwinRecord& a = records[j];
        const TwinRecord& b = records[k];
        double w = 1.0;
        int start = sizeRadiusBasis;
        if (set.elemWeight) {
            w = std::sqrt(static_cast<double>(around.atomNumbers[j]) * around.atomNumbers[k]);
        } else {
            start += set.numAngle * (around.elements[k] + around.elements[j] * (around.elements[j] + 1) / 2);
        }
        const double dot = a.d[0] * b.d[0] + a.d[1] * b.d[1] + a.d[2] * b.d[2];
        const double cosine = std::clamp(dot / b.r / a.r, -1.0, 1.0);
        const double x = 2.0 * std::acos(cosine) / pi - 1.0;
        const double theta = std::acos(std::clamp(x, -1.0, 1.0));
        const double q = -1.0 / std::max(std::sqrt(1.0 - cosine * cosine), 0.001);
        for (int order = 0; order < set.numAngle; ++order) {
            const double t = polynomial(order, theta);
            const double dt = polynomialSlope(order, theta) * (2.0 / pi);
            result.addValue(start + order, w * a.fcAngle * b.fcAngle * t,
                            w * (a.fcAngle * b.fcAngle + smallestCutoff));
            const double size = std::fabs(q) * order * order * (2.0 / pi);
            const double cutoffSlope = 2.0 / rcutAngle;
            const double scaleA = w * b.fcAngle * (cutoffSlope + a.fcAngle * size / a.r);
            const double scaleB = w * a.fcAngle * (cutoffSlope + b.fcAngle * size / b.r);
            for (std::size_t c = 0; c < 3; ++c) {
                const double byB = q * (a.d[c] / (b.r * a.r) - b.d[c] * cosine / (b.r * b.r));
                const double byA = q * (b.d[c] / (b.r * a.r) - a.d[c] * cosine / (a.r * a.r));
                const double onB =
                    w * ((b.d[c] / b.r) * a.fcAngle * b.dfcAngle * t + a.fcAngle * b.fcAngle * byB * dt);
                const double onA =
                    w * ((a.d[c] / a.r) * a.dfcAngle * b.fcAngle * t + a.fcAngle * b.fcAngle * byA * dt);
                result.addSlope(k, c, start + order, onB, scaleB);
                result.addSlope(j, c, start + order, onA, scaleA);
            }
        }
    }

    const ChebyshevSettings& set;
    const Neighborhood& around;
    const double rcutRadius;
    const double rcutAngle;
    std::vector<TwinRecord> records;
    int sizeRadiusBasis = 0;
    TwinResult result;
};

} // namespace

TwinResult computeTwin(const ChebyshevSettings& settings, const Neighborhood& hood) {
    return Twin(settings, hood).compute();
}

} // namespace melta::test
