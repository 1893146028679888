#include "symmfunc/cluster/ClusterTriples.hpp"

#include "symmfunc/cluster/RealHarmonics.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>

namespace melta {
namespace {

// A point of a quadrature over the sphere, which is exact for polynomials up to three times the largest
// degree. The weights add up to 1.
struct SpherePoint {
    double weight;
    std::vector<double> harmonics;
};

struct Node {
    double z;
    double weight;
};

// Nodes of Gauss and Legendre on [-1, 1], by Newton steps from the usual start.
std::vector<Node> makeLegendreNodes(int count) {
    std::vector<Node> nodes;
    for (int i = 0; i < count; ++i) {
        double z = std::cos(std::numbers::pi * (i + 0.75) / (count + 0.5));
        double slope = 1.0;
        for (int step = 0; step < 10; ++step) {
            double before = 1.0;
            double last = z;
            for (int l = 1; l < count; ++l) {
                const double next = ((2 * l + 1) * z * last - l * before) / (l + 1);
                before = last;
                last = next;
            }
            slope = count * (z * last - before) / (z * z - 1.0);
            z -= last / slope;
        }
        nodes.push_back({z, 1.0 / ((1.0 - z * z) * slope * slope)});
    }
    return nodes;
}

std::vector<SpherePoint> makeSpherePoints(int maxAngular) {
    const int numAngles = 3 * maxAngular + 1;
    std::vector<SpherePoint> points;
    for (const auto& [z, weight] : makeLegendreNodes(3 * maxAngular / 2 + 1)) {
        const double s = std::sqrt(1.0 - z * z);
        for (int k = 0; k < numAngles; ++k) {
            const double phi = 2.0 * std::numbers::pi * k / numAngles;
            points.push_back({weight / numAngles,
                              computeHarmonics(maxAngular, {s * std::cos(phi), s * std::sin(phi), z})});
        }
    }
    return points;
}

double integrateProduct(const std::vector<SpherePoint>& points, const std::array<int, 3>& harmonics) {
    double sum = 0.0;
    for (const auto& point : points) {
        double product = point.weight;
        for (const int h : harmonics) {
            product *= point.harmonics[static_cast<std::size_t>(h)];
        }
        sum += product;
    }
    return sum;
}

// Calls visit with each choice of three harmonics of these degrees.
template <class Visit>
void forEachOrders(const std::array<int, 3>& degrees, Visit&& visit) {
    const auto [l1, l2, l3] = degrees;
    for (int a = l1 * l1; a < (l1 + 1) * (l1 + 1); ++a) {
        for (int b = l2 * l2; b < (l2 + 1) * (l2 + 1); ++b) {
            for (int c = l3 * l3; c < (l3 + 1) * (l3 + 1); ++c) {
                visit(std::array{a, b, c});
            }
        }
    }
}

void addTriple(const std::array<int, 3>& degrees, const std::vector<SpherePoint>& points,
               ClusterTriples& triples) {
    constexpr double smallest = 1.0e-10; // what quadrature leaves of an integral that is zero is far below
    std::map<std::array<int, 3>, double> products;
    double squares = 0.0;
    forEachOrders(degrees, [&](std::array<int, 3> harmonics) {
        const double integral = integrateProduct(points, harmonics);
        squares += integral * integral;
        std::ranges::sort(harmonics);
        products[harmonics] += integral;
    });
    triples.degrees.push_back(degrees);
    for (const auto& [harmonics, coefficient] : products) {
        if (std::fabs(coefficient) > smallest) {
            const auto [a, b, c] = harmonics;
            triples.monomials.push_back({{static_cast<std::uint16_t>(a), static_cast<std::uint16_t>(b),
                                          static_cast<std::uint16_t>(c)},
                                         static_cast<float>(coefficient / std::sqrt(squares))});
        }
    }
    triples.starts.push_back(triples.monomials.size());
}

// Calls visit with the degrees of each triple.
template <class Visit>
void forEachTriple(int maxAngular, Visit&& visit) {
    for (int l3 = 1; l3 <= maxAngular; ++l3) {
        for (int l2 = 1; l2 <= l3; ++l2) {
            for (int l1 = l3 - l2; l1 <= l2; ++l1) {
                if (l1 >= 1 && (l1 + l2 + l3) % 2 == 0) {
                    visit(std::array{l1, l2, l3});
                }
            }
        }
    }
}

} // namespace

ClusterTriples makeClusterTriples(int maxAngular) {
    ClusterTriples triples;
    triples.starts.push_back(0);
    const std::vector<SpherePoint> points = makeSpherePoints(maxAngular);
    forEachTriple(maxAngular,
                  [&](const std::array<int, 3>& degrees) { addTriple(degrees, points, triples); });
    return triples;
}

std::size_t countClusterTriples(int maxAngular) {
    std::size_t count = 0;
    forEachTriple(maxAngular, [&](const std::array<int, 3>& /*degrees*/) { ++count; });
    return count;
}

} // namespace melta
