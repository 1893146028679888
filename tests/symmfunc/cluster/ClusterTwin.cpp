#include "symmfunc/cluster/ClusterTwin.hpp"

#include <array>
#include <cmath>
#include <numbers>

namespace melta::test {
namespace {

using Vector = std::array<double, 3>;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

struct Polynomial {
    double value;
    double slope;
};

Polynomial legendre(int l, double x) {
    std::vector<Polynomial> p{{1.0, 0.0}, {x, 1.0}};
    for (int k = 1; k < l; ++k) {
        const auto at = static_cast<std::size_t>(k);
        p.push_back({((2 * k + 1) * x * p[at].value - k * p[at - 1].value) / (k + 1),
                     (2 * k + 1) * p[at].value + p[at - 1].slope});
    }
    return p[static_cast<std::size_t>(l)];
}

struct Node {
    double z;
    double weight;
};

// The rule of Fejer on [-1, 1], exact for polynomials of degree below `count`.
std::vector<Node> makeFejerNodes(int count) {
    std::vector<Node> nodes;
    for (int i = 0; i < count; ++i) {
        const double angle = std::numbers::pi * (i + 0.5) / count;
        double sum = 1.0;
        for (int k = 1; k <= count / 2; ++k) {
            sum -= 2.0 * std::cos(2.0 * k * angle) / (4.0 * k * k - 1.0);
        }
        nodes.push_back({std::cos(angle), 2.0 * sum / count});
    }
    return nodes;
}

struct Direction {
    Vector u;
    double weight; // all of them add up to 1
};

std::vector<Direction> makeDirections(int degree) {
    std::vector<Direction> directions;
    for (const auto& [z, weight] : makeFejerNodes(degree + 1)) {
        for (int k = 0; k <= degree; ++k) {
            const double phi = 2.0 * std::numbers::pi * k / (degree + 1);
            const double s = std::sqrt(1.0 - z * z);
            directions.push_back({{s * std::cos(phi), s * std::sin(phi), z}, 0.5 * weight / (degree + 1)});
        }
    }
    return directions;
}

// A radial function of a neighbour, with the weight of a channel; its bounds are for errors.
struct Radial {
    double value;
    double slope;
    double bound;
    double slopeBound;
};

class ClusterTwin {
public:
    ClusterTwin(const ClusterTwinSettings& settings, const Neighborhood& hood)
        : set(settings), around(hood), numChannels(static_cast<int>(set.weights.size()) / set.numElems),
          maxAngular(set.sizes.bodyOrder >= 3 ? set.sizes.maxAngular : 0),
          records(makeTwinRecords(hood, set.tanhCutoff, set.sizes.rcutRadius, set.sizes.rcutRadius)) {}

    TwinResult compute() {
        result = TwinResult(visitAll(false), records.size());
        visitAll(true);
        return result;
    }

private:
    // Goes through all functions in their order, or only counts them.
    int visitAll(bool withTerms) {
        int b = 0;
        const auto visit = [&](auto&& add) {
            if (withTerms) {
                add(b);
            }
            ++b;
        };
        for (int k = 0; k < numChannels; ++k) {
            for (int i = 0; i < set.sizes.numRadius; ++i) {
                visit([&](int place) { addTwoBody(place, k, i); });
            }
        }
        visitThreeBody(visit);
        for (int k = 0; k < numChannels && set.sizes.bodyOrder == 4; ++k) {
            visitFourBody(k, visit);
        }
        return b;
    }

    template <class Visit>
    void visitThreeBody(Visit&& visit) {
        const auto visitPairs = [&](int j, int k, int l, int step) {
            for (int i = 0; i + step < set.sizes.numRadius; ++i) {
                visit([&](int place) { addThreeBody(place, l, {j, k}, {i, i + step}); });
            }
        };
        for (int k = 0; k < numChannels; ++k) {
            for (int l = 1; l <= maxAngular; ++l) {
                visitPairs(k, k, l, 0);
                visitPairs(k, k, l, 1);
            }
        }
        for (int k = 0; k < numChannels; ++k) {
            for (int j = 0; j < k; ++j) {
                for (int l = 1; l <= maxAngular; ++l) {
                    visitPairs(j, k, l, 0);
                }
            }
        }
    }

    template <class Visit>
    void visitFourBody(int channel, Visit&& visit) {
        for (int l3 = 1; l3 <= maxAngular; ++l3) {
            for (int l2 = 1; l2 <= l3; ++l2) {
                for (int l1 = 1; l1 <= l2; ++l1) {
                    const bool isInvariant = l3 <= l1 + l2 && (l1 + l2 + l3) % 2 == 0;
                    for (int i = 0; i < set.sizes.numRadius4 && isInvariant; ++i) {
                        visit([&](int place) { addFourBody(place, {l1, l2, l3}, channel, i); });
                    }
                }
            }
        }
    }

    Radial makeRadial(std::size_t j, int channel, int n) const {
        const auto rcut = static_cast<double>(set.sizes.rcutRadius);
        const TwinRecord& record = records[j];
        if (!(record.r < rcut)) {
            return {0.0, 0.0, 0.0, 0.0};
        }
        const double weight = static_cast<double>(
            set.weights[static_cast<std::size_t>(around.elements[j] * numChannels + channel)]);
        const double angle = std::acos(2.0 * record.r / rcut - 1.0);
        const double slope = n * std::sin(n * angle) / std::sin(angle) * 2.0 / rcut;
        return {weight * record.fcRadius * std::cos(n * angle),
                weight * (record.dfcRadius * std::cos(n * angle) + record.fcRadius * slope),
                std::fabs(weight) * (record.fcRadius + smallestCutoff),
                std::fabs(weight) * (1.0 + record.fcRadius * n * n) * 2.0 / rcut};
    }

    Vector unitOf(std::size_t j) const {
        const auto& [r, d] = std::pair(records[j].r, records[j].d);
        return {d[0] / r, d[1] / r, d[2] / r};
    }

    void addTwoBody(int b, int channel, int n) {
        for (std::size_t j = 0; j < records.size(); ++j) {
            const Radial g = makeRadial(j, channel, n);
            result.addValue(b, g.value, g.bound);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                result.addSlope(j, axis, b, g.slope * unitOf(j)[axis], g.slopeBound);
            }
        }
    }

    // Sums over all neighbours i and j of g_i g_j P_l(u_i . u_j).
    void addThreeBody(int b, int l, const std::array<int, 2>& channels, const std::array<int, 2>& radii) {
        for (std::size_t i = 0; i < records.size(); ++i) {
            const Radial first = makeRadial(i, channels[0], radii[0]);
            for (std::size_t j = 0; j < records.size(); ++j) {
                const Radial second = makeRadial(j, channels[1], radii[1]);
                const Polynomial p = legendre(l, dot(unitOf(i), unitOf(j)));
                result.addValue(b, first.value * second.value * p.value, first.bound * second.bound);
                addTurn(b, i, first, second, p, l, unitOf(j));
                addTurn(b, j, second, first, p, l, unitOf(i));
            }
        }
    }

    // The derivatives of g P(u . s) times another factor by the position of neighbour j, for fixed s.
    void addTurn(int b, std::size_t j, const Radial& g, const Radial& other, const Polynomial& p, int l,
                 const Vector& s) {
        const Vector u = unitOf(j);
        const double r = records[j].r;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double turn = g.value * p.slope * (s[axis] - dot(u, s) * u[axis]) / r;
            result.addSlope(j, axis, b, other.value * (g.slope * p.value * u[axis] + turn),
                            other.bound * (g.slopeBound + g.bound * l * l / r));
        }
    }

    // With f_l(s) the sum over neighbours of g P_l(u . s): the average over all directions s of
    // f_l1 f_l2 f_l3, over the root of that of P_l1 P_l2 P_l3.
    void addFourBody(int b, const std::array<int, 3>& degrees, int channel, int n) {
        double size = 0.0;
        for (const auto& [z, weight] : makeFejerNodes(3 * maxAngular + 1)) {
            size += 0.5 * weight * legendre(degrees[0], z).value * legendre(degrees[1], z).value *
                    legendre(degrees[2], z).value;
        }
        std::vector<Radial> radial;
        double bound = 0.0;
        for (std::size_t j = 0; j < records.size(); ++j) {
            radial.push_back(makeRadial(j, channel, n));
            bound += radial[j].bound;
        }
        for (const auto& [s, weight] : makeDirections(3 * maxAngular)) {
            const double factor = weight / std::sqrt(size);
            Vector f{};
            for (std::size_t i = 0; i < 3; ++i) {
                for (std::size_t j = 0; j < records.size(); ++j) {
                    f[i] += radial[j].value * legendre(degrees[i], dot(unitOf(j), s)).value;
                }
            }
            result.addValue(b, factor * f[0] * f[1] * f[2], factor * bound * bound * bound);
            for (std::size_t i = 0; i < 3; ++i) {
                const double value = factor * f[(i + 1) % 3] * f[(i + 2) % 3];
                const Radial other{value, 0.0, factor * bound * bound, 0.0};
                for (std::size_t j = 0; j < records.size(); ++j) {
                    addTurn(b, j, radial[j], other, legendre(degrees[i], dot(unitOf(j), s)), degrees[i], s);
                }
            }
        }
    }

    const ClusterTwinSettings& set;
    const Neighborhood& around;
    const int numChannels;
    const int maxAngular;
    const std::vector<TwinRecord> records;
    TwinResult result;
};

} // namespace

TwinResult computeTwin(const ClusterTwinSettings& settings, const Neighborhood& hood) {
    return ClusterTwin(settings, hood).compute();
}

} // namespace melta::test
