#include "symmfunc/ChebyshevTwin.hpp"

#include "structure/Geometry.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta::test {
namespace {

using Vector = std::array<double, 3>;

constexpr double pi = std::numbers::pi;

// Near the cutoff its function falls faster than the rounding of the distance allows to follow relative to
// its size.
constexpr double smallestCutoff = 1.0e-4;

struct Record {
    double r = 0.0;
    Vector d{};
    double fcRadius = 0.0;
    double dfcRadius = 0.0;
    double fcAngle = 0.0;
    double dfcAngle = 0.0;
};

void computeCutoff(bool tanhCutoff, double r, double rc, double& value, double& derivative) {
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

std::vector<Record> makeRecords(const ChebyshevSettings& settings, const Neighborhood& hood) {
    std::vector<Record> records;
    const auto rcutRadius = static_cast<double>(settings.rcutRadius);
    const auto rcutAngle = static_cast<double>(settings.rcutAngle);
    const bool isOneCutoff = std::fabs(rcutRadius - rcutAngle) <= 0.0001;
    for (const auto& position : hood.positions) {
        Record record;
        for (std::size_t c = 0; c < 3; ++c) {
            record.d[c] = position[c] - hood.center[c];
        }
        record.r = std::hypot(record.d[0], record.d[1], record.d[2]);
        computeCutoff(settings.tanhCutoff, record.r, rcutRadius, record.fcRadius, record.dfcRadius);
        computeCutoff(settings.tanhCutoff, record.r, isOneCutoff ? rcutRadius : rcutAngle, record.fcAngle,
                      record.dfcAngle);
        records.push_back(record);
    }
    return records;
}

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
          rcutAngle(static_cast<double>(settings.rcutAngle)), records(makeRecords(settings, hood)) {
        const int numKinds = set.elemWeight ? 1 : set.numElems;
        sizeRadiusBasis = set.numRadius * numKinds;
        result.numBasis = sizeRadiusBasis + set.numAngle * (numKinds * (numKinds + 1) / 2);
        const auto numBasis = static_cast<std::size_t>(result.numBasis);
        result.values.assign(numBasis, 0.0);
        result.valueScale.assign(numBasis, 0.0);
        result.diff.assign(3 * (records.size() + 1) * numBasis, 0.0);
        result.diffScale.assign(3 * (records.size() + 1) * numBasis, 0.0);
    }

    TwinResult compute() {
        for (std::size_t n = 0; n < records.size(); ++n) {
            if (records[n].r < rcutRadius) {
                addRadial(n);
            }
        }
        for (std::size_t j = 0; j < records.size() && records.size() >= 2 && set.numAngle >= 1; ++j) {
            for (std::size_t k = 0; k < records.size(); ++k) {
                if (isPair(j, k)) {
                    addPair(j, k);
                }
            }
        }
        return result;
    }

private:
    bool isPair(std::size_t j, std::size_t k) const {
        if (!(records[j].r < rcutAngle) || !(records[k].r < rcutAngle)) {
            return false;
        }
        if (set.elemWeight || around.elements[k] == around.elements[j]) {
            return k < j;
        }
        return around.elements[k] < around.elements[j];
    }

    void addValue(int b, double value, double scale) {
        result.values[static_cast<std::size_t>(b)] += value;
        result.valueScale[static_cast<std::size_t>(b)] += scale;
    }

    void addSlope(std::size_t entry, std::size_t axis, int b, double value, double scale) {
        const auto column = static_cast<std::size_t>(b);
        const auto numBasis = static_cast<std::size_t>(result.numBasis);
        result.diff[(3 * entry + 3 + axis) * numBasis + column] += value;
        result.diff[axis * numBasis + column] -= value;
        result.diffScale[(3 * entry + 3 + axis) * numBasis + column] += scale;
        result.diffScale[axis * numBasis + column] += scale;
    }

    void addRadial(std::size_t n) {
        const Record& record = records[n];
        const double w = set.elemWeight ? around.atomNumbers[n] : 1.0;
        const int start = set.elemWeight ? 0 : set.numRadius * around.elements[n];
        const double theta = std::acos(std::clamp(2.0 * record.r / rcutRadius - 1.0, -1.0, 1.0));
        for (int k = 0; k < set.numRadius; ++k) {
            const double t = polynomial(k, theta);
            const double dt = polynomialSlope(k, theta);
            addValue(start + k, w * record.fcRadius * t, w * (record.fcRadius + smallestCutoff));
            const double scale = w * (1.0 + record.fcRadius * k * k) * 2.0 / rcutRadius;
            for (std::size_t c = 0; c < 3; ++c) {
                const double u = record.d[c];
                const double slope = w * ((u / record.r) * record.dfcRadius * t +
                                          record.fcRadius * u * dt * (2.0 / rcutRadius) / record.r);
                addSlope(n, c, start + k, slope, scale);
            }
        }
    }

    void addPair(std::size_t j, std::size_t k) {
        const Record& a = records[j];
        const Record& b = records[k];
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
            addValue(start + order, w * a.fcAngle * b.fcAngle * t,
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
                addSlope(k, c, start + order, onB, scaleB);
                addSlope(j, c, start + order, onA, scaleA);
            }
        }
    }

    const ChebyshevSettings& set;
    const Neighborhood& around;
    const double rcutRadius;
    const double rcutAngle;
    std::vector<Record> records;
    int sizeRadiusBasis = 0;
    TwinResult result;
};

} // namespace

Neighborhood makeNeighborhood(const Geometry& geometry, int iatom) {
    Neighborhood hood;
    const auto first = 3 * static_cast<std::size_t>(iatom);
    for (std::size_t c = 0; c < 3; ++c) {
        hood.center[c] = static_cast<double>(geometry.positions[first + c]);
    }
    for (const auto& neighbor : geometry.obtainNeighbors(iatom)) {
        const auto atom = static_cast<std::size_t>(neighbor.atom);
        const std::array images{neighbor.ia, neighbor.ib, neighbor.ic};
        Vector position{};
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

TwinResult computeTwin(const ChebyshevSettings& settings, const Neighborhood& hood) {
    return Twin(settings, hood).compute();
}

} // namespace melta::test
