#include "symmfunc/cluster/RealHarmonics.hpp"

#include <cmath>
#include <complex>

namespace melta {
namespace {

// The factor before the derivative of the Legendre polynomial in p_lm.
double findNorm(int l, int m) {
    double ratio = m == 0 ? 1.0 : 2.0;
    for (int k = l - m + 1; k <= l + m; ++k) {
        ratio /= k;
    }
    return std::sqrt(ratio);
}

std::size_t findPlace(int l, int m) {
    return static_cast<std::size_t>(l * (l + 1) / 2 + m);
}

// (2 m - 1)!!, the derivative of order m of P_m.
double findFirstDerivative(int m) {
    double product = 1.0;
    for (int k = 3; k < 2 * m; k += 2) {
        product *= k;
    }
    return product;
}

// d^m P_l / dz^m for all l >= m up to `maxAngular`, from l = 0 with zeros below m.
std::vector<double> computeDerivatives(int maxAngular, int m, double z) {
    std::vector<double> result(static_cast<std::size_t>(maxAngular) + 1, 0.0);
    double before = 0.0;
    double last = findFirstDerivative(m);
    for (int l = m; l <= maxAngular; ++l) {
        result[static_cast<std::size_t>(l)] = last;
        const double next = ((2 * l + 1) * z * last - (l + m) * before) / (l + 1 - m);
        before = last;
        last = next;
    }
    return result;
}

} // namespace

HarmonicTables makeHarmonicTables(int maxAngular) {
    HarmonicTables tables;
    tables.maxAngular = static_cast<std::size_t>(maxAngular);
    const std::size_t size = findPlace(maxAngular + 1, 0);
    tables.ofLast.assign(size, 0.0f);
    tables.ofBefore.assign(size, 0.0f);
    tables.ofSlope.assign(size, 0.0f);
    for (int m = 0; m <= maxAngular; ++m) {
        tables.start.push_back(static_cast<float>(findNorm(m, m) * findFirstDerivative(m)));
        for (int l = m + 1; l <= maxAngular; ++l) {
            const std::size_t place = findPlace(l, m);
            const double norm = findNorm(l, m) / (l - m);
            tables.ofLast[place] = static_cast<float>((2 * l - 1) * norm / findNorm(l - 1, m));
            if (l > m + 1) {
                tables.ofBefore[place] = static_cast<float>((l + m - 1) * norm / findNorm(l - 2, m));
            }
            tables.ofSlope[place] = static_cast<float>(findNorm(l, m) / findNorm(l, m + 1));
        }
    }
    return tables;
}

std::vector<double> computeHarmonics(int maxAngular, const std::array<double, 3>& direction) {
    const auto [x, y, z] = direction;
    std::vector<double> result(static_cast<std::size_t>((maxAngular + 1) * (maxAngular + 1)));
    std::complex<double> power = 1.0;
    for (int m = 0; m <= maxAngular; ++m) {
        const std::vector<double> derivatives = computeDerivatives(maxAngular, m, z);
        for (int l = m; l <= maxAngular; ++l) {
            const double p = findNorm(l, m) * derivatives[static_cast<std::size_t>(l)];
            result[static_cast<std::size_t>(l * (l + 1) - m)] = p * power.imag();
            result[static_cast<std::size_t>(l * (l + 1) + m)] = p * power.real();
        }
        power *= std::complex<double>(x, y);
    }
    return result;
}

} // namespace melta
