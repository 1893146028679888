#include "symmfunc/manybody/ManyBodyTwin.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta::test {
namespace {

using Vector = std::array<double, 3>;

constexpr double pi = std::numbers::pi;

double lengthOf(const Vector& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

class ManyBodyTwin {
public:
    ManyBodyTwin(const ManyBodySettings& settings, const Neighborhood& hood)
        : set(settings), around(hood), rinner(static_cast<double>(set.rinner)),
          router(static_cast<double>(set.router)), sizeRadiusBasis(set.m2 * set.numElems),
          numColumns(set.numElems * set.m3), triangleSize(numColumns * (numColumns + 1) / 2),
          records(makeTwinRecords(hood, false, set.router, set.router)),
          result(sizeRadiusBasis + triangleSize * set.m3, records.size()) {}

    TwinResult compute() {
        const std::size_t numNeighbors = records.size();
        for (std::size_t n = 0; n < numNeighbors; ++n) {
            if (records[n].r < router) {
                addRadial(n);
            }
        }
        if (numNeighbors < 2 || set.m3 < 1) {
            return result;
        }
        for (std::size_t j = 0; j < numNeighbors; ++j) {
            for (std::size_t l = 0; l < numNeighbors; ++l) {
                const int ej = around.elements[j];
                const int el = around.elements[l];
                const bool isPair = el < ej || (el == ej && l < j);
                if (isPair && records[j].r < router && records[l].r < router) {
                    addPair(j, l);
                }
            }
        }
        return result;
    }

private:
    struct Range {
        int lowest;
        int highest;
    };

    Range getRange(double r, int m, double h) const {
        const int i = static_cast<int>(std::trunc((r - rinner) / h));
        return {std::max(i, 0), std::min(i + 1, m - 1)};
    }

    double phi(int k, double r, double h) const {
        return 0.5 * std::cos(pi * (r - rinner - k * h) / h) + 0.5;
    }

    double dphi(int k, double r, double h) const {
        return std::sin(pi * (r - rinner - k * h) / h) * (-0.5 * pi / h);
    }

    void addValue(int b, double value, double h) { result.addValue(b, value, 1.0 + pi / h); }

    // Adds to the rows of an entry and takes from those of the central atom.
    void addSlope(std::size_t entry, std::size_t axis, int b, double slope, double h) {
        result.addSlope(entry, axis, b, slope, (1.0 + pi / h) * (1.0 + pi / h));
    }

    void addRadial(std::size_t n) {
        const double h = (router - rinner) / set.m2;
        const double r = records[n].r;
        const auto [lowest, highest] = getRange(r, set.m2, h);
        for (int k = lowest; k <= highest; ++k) {
            const int b = set.m2 * around.elements[n] + k;
            addValue(b, phi(k, r, h), h);
            for (std::size_t c = 0; c < 3; ++c) {
                const double t = -records[n].d[c] / r * dphi(k, r, h);
                addSlope(n, c, b, -t, h);
            }
        }
    }

    void addPair(std::size_t j, std::size_t l) {
        Vector w{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            w[axis] = records[j].d[axis] - records[l].d[axis];
        }
        const double third = lengthOf(w);
        if (!(third < router)) {
            return;
        }
        const double h = (router - rinner) / set.m3;
        const Range c = getRange(third, set.m3, h);
        const Range a = getRange(records[j].r, set.m3, h);
        const Range b = getRange(records[l].r, set.m3, h);
        for (int kc = c.lowest; kc <= c.highest; ++kc) {
            for (int ka = a.lowest; ka <= a.highest; ++ka) {
                int highest = b.highest;
                if (around.elements[j] == around.elements[l] && ka < b.highest) {
                    highest = ka;
                }
                for (int kb = b.lowest; kb <= highest; ++kb) {
                    addTerm(j, l, w, third, {ka, kb, kc});
                }
            }
        }
    }

    void addTerm(std::size_t j, std::size_t l, const Vector& w, double third, const std::array<int, 3>& abc) {
        const auto [ka, kb, kc] = abc;
        const double h = (router - rinner) / set.m3;
        const int u = set.m3 * around.elements[j] + ka;
        const int index =
            sizeRadiusBasis + (set.m3 * around.elements[l] + kb) + u * (u + 1) / 2 + triangleSize * kc;
        const double rj = records[j].r;
        const double rl = records[l].r;
        addValue(index, phi(kc, third, h) * phi(ka, rj, h) * phi(kb, rl, h), h);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double byL =
                phi(kc, third, h) * phi(ka, rj, h) * dphi(kb, rl, h) * (-records[l].d[axis] / rl);
            const double byJ =
                phi(kc, third, h) * dphi(ka, rj, h) * phi(kb, rl, h) * (-records[j].d[axis] / rj);
            const double byThird = dphi(kc, third, h) * phi(ka, rj, h) * phi(kb, rl, h) * (-w[axis] / third);
            addSlope(l, axis, index, -(byL - byThird), h);
            addSlope(j, axis, index, -(byJ + byThird), h);
        }
    }

    const ManyBodySettings& set;
    const Neighborhood& around;
    const double rinner;
    const double router;
    const int sizeRadiusBasis;
    const int numColumns;
    const int triangleSize;
    const std::vector<TwinRecord> records;
    TwinResult result;
};

} // namespace

TwinResult computeTwin(const ManyBodySettings& settings, const Neighborhood& hood) {
    return ManyBodyTwin(settings, hood).compute();
}

} // namespace melta::test
