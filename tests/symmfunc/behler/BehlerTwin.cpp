#include "symmfunc/behler/BehlerTwin.hpp"

#include <cmath>

namespace melta::test {
namespace {

// Two neighbours a and b of one pair, d = b - a.
struct Triangle {
    TwinRecord a, b, d;
    double weight = 1.0;
    double cosine = 0.0;
};

struct Function {
    double eta, zeta, shift;
};

// Below this single precision loses terms, or factors of them.
constexpr double smallestTerm = 1.0e-28;

double square(double x) {
    return x * x;
}

class Twin {
public:
    Twin(const BehlerSettings& settings, const Neighborhood& hood)
        : set(settings), around(hood), numRadius(static_cast<int>(settings.radiusEta.size())),
          numAngle(static_cast<int>(settings.angleEta.size())),
          rcutRadius(static_cast<double>(settings.rcutRadius)),
          rcutAngle(static_cast<double>(settings.rcutAngle)),
          records(makeTwinRecords(hood, settings.tanhCutoff, settings.rcutRadius, settings.rcutAngle)) {
        const int numKinds = set.elemWeight ? 1 : set.numElems;
        sizeRadiusBasis = numRadius * numKinds;
        result = TwinResult(sizeRadiusBasis + 2 * numAngle * (numKinds * (numKinds + 1) / 2), records.size());
    }

    TwinResult compute() {
        for (std::size_t n = 0; n < records.size(); ++n) {
            if (records[n].r < rcutRadius) {
                addRadial(n);
            }
        }
        for (std::size_t j = 0; j < records.size() && records.size() >= 2 && numAngle >= 1; ++j) {
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
        const int start = set.elemWeight ? 0 : numRadius * around.elements[n];
        for (int k = 0; k < numRadius; ++k) {
            const auto eta = static_cast<double>(set.radiusEta[static_cast<std::size_t>(k)]);
            const double d = record.r - static_cast<double>(set.radiusShift[static_cast<std::size_t>(k)]);
            const double g = std::exp(-eta * d * d);
            const double reaction = 1.0 + 2.0 * eta * std::fabs(d) * (1.0 + record.r);
            result.addValue(start + k, w * record.fcRadius * g,
                            w * (record.fcRadius + smallestCutoff) * g * reaction + smallestTerm);
            const double scale = w * g * reaction *
                                 (std::fabs(record.dfcRadius) + 1.0 / rcutRadius +
                                  record.fcRadius * 2.0 * eta * (std::fabs(d) + 1.0));
            for (std::size_t c = 0; c < 3; ++c) {
                const double u = record.d[c];
                const double slope = w * ((u / record.r) * record.dfcRadius * g +
                                          record.fcRadius * u * (-2.0 * eta * d / record.r) * g);
                result.addSlope(n, c, start + k, slope, scale + smallestTerm);
            }
        }
    }

    void addPair(std::size_t j, std::size_t k) {
        Triangle triangle{.a = records[j], .b = records[k], .d = {}};
        int start = sizeRadiusBasis;
        if (set.elemWeight) {
            triangle.weight = std::sqrt(static_cast<double>(around.atomNumbers[j]) * around.atomNumbers[k]);
        } else {
            const int pair = around.elements[k] + around.elements[j] * (around.elements[j] + 1) / 2;
            start += 2 * numAngle * pair;
        }
        if (!set.behlerG4 && !hasThirdSide(triangle)) {
            return;
        }
        const TwinRecord& a = triangle.a;
        const TwinRecord& b = triangle.b;
        triangle.cosine = (a.d[0] * b.d[0] + a.d[1] * b.d[1] + a.d[2] * b.d[2]) / b.r / a.r;
        for (int l = 0; l < 2; ++l) {
            const double lambda = l == 0 ? 1.0 : -1.0;
            if (1.0 + lambda * triangle.cosine < 0.000001) {
                continue;
            }
            for (int f = 0; f < numAngle; ++f) {
                const auto place = static_cast<std::size_t>(f);
                const Function function{static_cast<double>(set.angleEta[place]),
                                        static_cast<double>(set.angleZeta[place]),
                                        static_cast<double>(set.angleShift[place])};
                addTerm(j, k, triangle, lambda, function, start + l * numAngle + f);
            }
        }
    }

    // Fills the record of the third side; false at or beyond the cutoff.
    bool hasThirdSide(Triangle& triangle) const {
        double squared = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            triangle.d.d[c] = triangle.b.d[c] - triangle.a.d[c];
            squared += triangle.d.d[c] * triangle.d.d[c];
        }
        if (!(squared < rcutAngle * rcutAngle)) {
            return false;
        }
        triangle.d.r = std::sqrt(squared);
        computeTwinCutoff(set.tanhCutoff, triangle.d.r, rcutAngle, triangle.d.fcAngle, triangle.d.dfcAngle);
        return true;
    }

    void addTerm(std::size_t j, std::size_t k, const Triangle& triangle, double lambda, const Function& f,
                 int column) {
        const auto& [a, b, d, w, cosine] = triangle;
        const double c = 1.0 + lambda * cosine;
        const double power = std::pow(c, f.zeta) * std::pow(2.0, 1.0 - f.zeta);
        const double powerSlope = f.zeta * lambda * power / c;
        const double thirdSide = set.behlerG4 ? 0.0 : square(d.r - f.shift);
        const double gaussian =
            std::exp(-f.eta * (square(a.r - f.shift) + square(b.r - f.shift) + thirdSide));
        const double fc = set.behlerG4 ? 1.0 : d.fcAngle;
        const double cutoffs = a.fcAngle * b.fcAngle * fc;
        const double g = -2.0 * f.eta * gaussian;
        const double tj = (a.r - f.shift) * g / a.r;
        const double tk = (b.r - f.shift) * g / b.r;
        const double tjk = (d.r - f.shift) * g / d.r;

        const double size = w * power * gaussian * reactionOf(triangle, f, c);
        result.addValue(column, w * cutoffs * power * gaussian,
                        (cutoffs + smallestCutoff) * size + smallestTerm);
        const double slopeSize = size * steepnessOf(triangle, f, c, cutoffs) + smallestTerm;
        for (std::size_t x = 0; x < 3; ++x) {
            const double byB = a.d[x] / (b.r * a.r) - b.d[x] * cosine / (b.r * b.r);
            const double byA = b.d[x] / (b.r * a.r) - a.d[x] * cosine / (a.r * a.r);
            const double onB = w * (b.d[x] / b.r * b.dfcAngle * a.fcAngle * fc * power * gaussian +
                                    byB * cutoffs * powerSlope * gaussian + b.d[x] * cutoffs * power * tk);
            const double onA = w * (a.d[x] / a.r * a.dfcAngle * b.fcAngle * fc * power * gaussian +
                                    byA * cutoffs * powerSlope * gaussian + a.d[x] * cutoffs * power * tj);
            double onD = 0.0;
            if (!set.behlerG4) {
                onD = w * (d.d[x] / d.r * a.fcAngle * b.fcAngle * d.dfcAngle * power * gaussian +
                           d.d[x] * cutoffs * power * tjk);
            }
            result.addSlope(k, x, column, onB + onD, slopeSize);
            result.addSlope(j, x, column, onA - onD, slopeSize);
        }
    }

    // Sum of the distances of the sides from the middle of the Gaussian.
    double gapsOf(const Triangle& triangle, const Function& f) const {
        return std::fabs(triangle.a.r - f.shift) + std::fabs(triangle.b.r - f.shift) +
               (set.behlerG4 ? 0.0 : std::fabs(triangle.d.r - f.shift));
    }

    // Relative change of a term for small relative changes of the positions: of the power by the angle, and
    // of the Gaussian by the sides.
    double reactionOf(const Triangle& triangle, const Function& f, double c) const {
        const double tangent = std::sqrt(std::fabs(2.0 - c) / c);
        return 1.0 + f.zeta * tangent +
               2.0 * f.eta * gapsOf(triangle, f) * (1.0 + triangle.a.r + triangle.b.r);
    }

    // The slopes of power, Gaussian and cutoffs, relative to power and Gaussian.
    double steepnessOf(const Triangle& triangle, const Function& f, double c, double cutoffs) const {
        const TwinRecord& a = triangle.a;
        const TwinRecord& b = triangle.b;
        const double tangent = std::sqrt(std::fabs(2.0 - c) / c);
        return cutoffs * (f.zeta * tangent + f.zeta + 1.0) * (1.0 / a.r + 1.0 / b.r) +
               cutoffs * 2.0 * f.eta * (gapsOf(triangle, f) + 1.0) + (a.fcAngle + b.fcAngle) / rcutAngle;
    }

    const BehlerSettings& set;
    const Neighborhood& around;
    const int numRadius;
    const int numAngle;
    const double rcutRadius;
    const double rcutAngle;
    std::vector<TwinRecord> records;
    int sizeRadiusBasis = 0;
    TwinResult result;
};

} // namespace

TwinResult computeTwin(const BehlerSettings& settings, const Neighborhood& hood) {
    return Twin(settings, hood).compute();
}

} // namespace melta::test
