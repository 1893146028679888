// What must not depend on how a configuration is written down, for all kinds but the many-body one, which
// depends on the order of the neighbours.
#include "symmfunc/behler/BehlerFixture.hpp"
#include "symmfunc/chebyshev/ChebyshevFixture.hpp"
#include "symmfunc/cluster/ClusterFixture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <ostream>

namespace melta {
namespace {

using test::calculateSymmFunc;

// Symmetry functions of two elements with cutoffs 5 and 4.5, and their twin.
struct Kind {
    const char* name;
    std::function<std::unique_ptr<SymmFunc>()> make;
    std::function<test::TwinResult(const test::Neighborhood&)> twin;
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

Kind makeChebyshevKind(const char* name, bool elemWeight) {
    const test::ChebyshevSettings set{.numElems = 2,
                                      .tanhCutoff = true,
                                      .elemWeight = elemWeight,
                                      .numRadius = 12,
                                      .numAngle = 9,
                                      .rcutRadius = 5.0f,
                                      .rcutAngle = 4.5f};
    return {name,
            [set] {
                return std::make_unique<SymmFuncChebyshev>(set.numElems, set.tanhCutoff, set.elemWeight,
                                                           set.numRadius, set.numAngle, set.rcutRadius,
                                                           set.rcutAngle);
            },
            [set](const test::Neighborhood& hood) { return computeTwin(set, hood); }};
}

Kind makeBehlerKind(const char* name, bool elemWeight, bool behlerG4) {
    const auto set = std::make_shared<test::BehlerSettings>();
    set->numElems = 2;
    set->elemWeight = elemWeight;
    set->behlerG4 = behlerG4;
    set->rcutRadius = 5.0f;
    set->rcutAngle = 4.5f;
    test::addParameters(*set, 9, 11);
    return {name, [set] { return makeBehler(*set); },
            [set](const test::Neighborhood& hood) { return computeTwin(*set, hood); }};
}

Kind makeClusterKind(const char* name, const std::vector<float>& weights) {
    const test::ClusterTwinSettings set{.numElems = 2, .sizes = {6, 4, 4, 3, 5.0f}, .weights = weights};
    return {name,
            [set] {
                return std::make_unique<SymmFuncCluster>(set.numElems, set.tanhCutoff, set.sizes,
                                                         set.weights);
            },
            [set](const test::Neighborhood& hood) { return computeTwin(set, hood); }};
}

using Matrix = std::array<std::array<double, 3>, 3>;
constexpr Matrix identity{{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};

// Rotation by 40 degrees about z, then by 25 degrees about x.
Matrix makeRotation() {
    const double a = 0.6981317;
    const double b = 0.4363323;
    return {{{std::cos(a), -std::sin(a), 0.0},
             {std::cos(b) * std::sin(a), std::cos(b) * std::cos(a), -std::sin(b)},
             {std::sin(b) * std::sin(a), std::sin(b) * std::cos(a), std::cos(b)}}};
}

std::array<double, 3> turnVector(const Matrix& matrix, const std::array<double, 3>& v) {
    std::array<double, 3> result{};
    for (std::size_t c = 0; c < 3; ++c) {
        result[c] = matrix[c][0] * v[0] + matrix[c][1] * v[1] + matrix[c][2] * v[2];
    }
    return result;
}

std::array<double, 3> difference(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

// The entry of `hood` at this place relative to the central atom, or one behind the last.
std::size_t findEntry(const test::Neighborhood& hood, const std::array<double, 3>& place) {
    for (std::size_t n = 0; n < hood.positions.size(); ++n) {
        const auto d = difference(difference(hood.positions[n], hood.center), place);
        if (std::hypot(d[0], d[1], d[2]) < 0.01) {
            return n;
        }
    }
    return hood.positions.size();
}

// The second configuration shows the same surroundings as the first, turned by `rotation`: same values,
// turned rows.
void expectSame(const Kind& kind, const Geometry& first, int firstAtom, const Geometry& second,
                int secondAtom, const Matrix& rotation = identity) {
    constexpr double tolerance = 5.0e-5;
    const auto symmFunc = kind.make();
    const auto one = calculateSymmFunc(*symmFunc, first, firstAtom);
    const auto two = calculateSymmFunc(*symmFunc, second, secondAtom);
    const auto hoodOne = test::makeNeighborhood(first, firstAtom);
    const auto hoodTwo = test::makeNeighborhood(second, secondAtom);
    const auto twin = kind.twin(hoodOne);
    const auto numBasis = static_cast<std::size_t>(twin.numBasis);
    ASSERT_EQ(hoodOne.positions.size(), hoodTwo.positions.size());

    test::expectWithin(two.values, {one.values.begin(), one.values.end()}, twin.valueScale, tolerance,
                       "value");
    std::vector<float> sorted(two.diff.size());
    std::vector<double> turned(one.diff.size());
    std::vector<double> scale(one.diff.size());
    for (std::size_t entry = 0; entry <= hoodOne.positions.size(); ++entry) {
        std::size_t partner = 0;
        if (entry > 0) {
            const auto place = turnVector(rotation, difference(hoodOne.positions[entry - 1], hoodOne.center));
            partner = 1 + findEntry(hoodTwo, place);
            ASSERT_LE(partner, hoodTwo.positions.size());
        }
        for (std::size_t b = 0; b < numBasis; ++b) {
            std::array<double, 3> row{};
            for (std::size_t c = 0; c < 3; ++c) {
                row[c] = static_cast<double>(one.diff[(3 * entry + c) * numBasis + b]);
            }
            row = turnVector(rotation, row);
            for (std::size_t c = 0; c < 3; ++c) {
                const std::size_t place = (3 * entry + c) * numBasis + b;
                turned[place] = row[c];
                scale[place] = twin.diffScale[place];
                sorted[place] = two.diff[(3 * partner + c) * numBasis + b];
            }
        }
    }
    test::expectWithin(sorted, turned, scale, tolerance, "derivative");
}

struct Crystal {
    std::array<float, 9> lattice;
    std::vector<test::TestAtom> atoms;
};

Crystal makeCrystal() {
    const auto geometry =
        test::makeRandomCell({5.1f, 0.3f, 0.2f, 1.1f, 4.9f, -0.4f, -0.6f, 0.5f, 5.4f}, 6, 2, 5.0f, 33);
    Crystal crystal{geometry->lattice, {}};
    for (std::size_t i = 0; i < 6; ++i) {
        const float* p = geometry->positions.data() + 3 * i;
        crystal.atoms.push_back({geometry->elements[i], {p[0], p[1], p[2]}});
    }
    return crystal;
}

class InvarianceTest : public testing::TestWithParam<Kind> {
protected:
    const Kind kind = GetParam();
    Crystal crystal = makeCrystal();
};

TEST_P(InvarianceTest, Translation) {
    const auto first = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);
    for (auto& atom : crystal.atoms) {
        atom.position[0] += 2.5f;
        atom.position[1] -= 1.25f;
        atom.position[2] += 3.75f;
    }
    const auto second = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);

    expectSame(kind, *first, 0, *second, 0);
    expectSame(kind, *first, 1, *second, 1);
}

TEST_P(InvarianceTest, Rotation) {
    const auto first = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);
    const Matrix rotation = makeRotation();
    const auto turn = [&](float* v) {
        const auto turned = turnVector(
            rotation, {static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])});
        std::ranges::transform(turned, v, [](double x) { return static_cast<float>(x); });
    };
    for (std::size_t k = 0; k < 3; ++k) {
        turn(crystal.lattice.data() + 3 * k);
    }
    for (auto& atom : crystal.atoms) {
        turn(atom.position.data());
    }
    const auto second = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);

    expectSame(kind, *first, 0, *second, 0, rotation);
    expectSame(kind, *first, 1, *second, 1, rotation);
}

TEST_P(InvarianceTest, PermutationOfTheAtoms) {
    const auto first = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);
    std::ranges::reverse(crystal.atoms);
    const auto second = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);

    expectSame(kind, *first, 0, *second, 5);
    expectSame(kind, *first, 1, *second, 4);
}

TEST_P(InvarianceTest, EquivalentLatticeVectors) {
    const auto first = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);
    for (std::size_t c = 0; c < 3; ++c) {
        crystal.lattice[3 + c] += crystal.lattice[c];
        crystal.lattice[6 + c] -= crystal.lattice[3 + c];
    }
    const auto second = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);

    expectSame(kind, *first, 0, *second, 0);
}

TEST_P(InvarianceTest, Supercell) {
    const auto first = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);
    auto doubled = crystal;
    for (auto atom : crystal.atoms) {
        for (std::size_t c = 0; c < 3; ++c) {
            atom.position[c] += crystal.lattice[3 + c];
        }
        doubled.atoms.push_back(atom);
    }
    for (std::size_t c = 0; c < 3; ++c) {
        doubled.lattice[3 + c] *= 2.0f;
    }
    const auto second = test::makeGeometry(doubled.lattice, doubled.atoms, 5.0f);

    expectSame(kind, *first, 0, *second, 0);
    expectSame(kind, *first, 0, *second, 6);
}

TEST_P(InvarianceTest, DerivativeRowsSumUpToZero) {
    const auto geometry = test::makeGeometry(crystal.lattice, crystal.atoms, 5.0f);

    const auto result = calculateSymmFunc(*kind.make(), *geometry, 0);

    const std::size_t numBasis = result.values.size();
    for (std::size_t b = 0; b < numBasis; ++b) {
        for (std::size_t c = 0; c < 3; ++c) {
            double sum = 0.0;
            double size = 0.0;
            for (std::size_t row = c; row < result.diff.size() / numBasis; row += 3) {
                sum += static_cast<double>(result.diff[row * numBasis + b]);
                size += std::fabs(static_cast<double>(result.diff[row * numBasis + b]));
            }
            EXPECT_LE(std::fabs(sum), 1.0e-6 * size) << b << " " << c;
        }
    }
}

TEST_P(InvarianceTest, ContinuousAtTheCutoff) {
    const auto at = [&](float r) {
        const auto geometry = test::makeStar({{0, {1.5f, 0.0f, 0.0f}}, {1, {0.0f, 0.0f, r}}}, 6.0f);
        return calculateSymmFunc(*kind.make(), *geometry, 0).values;
    };
    for (const float cutoff : {4.5f, 5.0f}) {
        const auto inside = at(cutoff - 1.0e-4f);
        const auto outside = at(cutoff + 1.0e-4f);

        for (std::size_t b = 0; b < inside.size(); ++b) {
            EXPECT_LE(std::fabs(inside[b] - outside[b]), 5.0e-5f) << b;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, InvarianceTest,
                         testing::Values(makeChebyshevKind("chebyshevResolved", false),
                                         makeChebyshevKind("chebyshevWeighted", true),
                                         makeBehlerKind("g3Resolved", false, false),
                                         makeBehlerKind("g3Weighted", true, false),
                                         makeBehlerKind("g4Resolved", false, true),
                                         makeBehlerKind("g4Weighted", true, true),
                                         makeClusterKind("clusterOneChannel", {0.6f, 1.0f}),
                                         makeClusterKind("clusterTwoChannels", {1.0f, 1.0f, 1.0f, -1.0f})),
                         [](const auto& made) { return made.param.name; });

} // namespace
} // namespace melta
