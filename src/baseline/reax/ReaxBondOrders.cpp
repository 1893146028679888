#include "baseline/reax/ReaxBondOrders.hpp"

#include "baseline/reax/ReaxParam.hpp"
#include "baseline/reax/ReaxShell.hpp"
#include "baseline/reax/ReaxVirial.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta {
namespace {

constexpr double smallestOrder = 1.0e-10;    // a corrected order below it is none
constexpr double smallestCorrection = 0.001; // a switch below it is off
constexpr double largestExponent = 600.0;    // keeps sums and products of exponentials finite

// exp(p u^q) with u = r / radius, and its derivative by r.
struct Part {
    double value = 0.0;
    double slope = 0.0;
};

Part makePart(double r, double radius, double p, double q) {
    const double exponent = p * std::pow(r / radius, q);
    const double value = std::exp(exponent);
    return {value, q / r * exponent * value};
}

} // namespace

// A = f1 f4 f5 multiplies the whole order; f1 once more the pi parts.
struct ReaxBondOrders::Damping {
    double f1 = 1.0;
    double f1ByFirst = 0.0; // by deltaPrime of the first atom
    double f1BySecond = 0.0;
    double f45 = 1.0;        // f4 f5
    double logByTotal = 0.0; // derivatives of ln(f4 f5)
    double logByFirst = 0.0;
    double logBySecond = 0.0;
};

ReaxBondOrders::ReaxBondOrders(const ReaxParam& forceField) : param(&forceField) {
    for (int i = 0; i < forceField.numElems; ++i) {
        for (int j = 0; j < forceField.numElems; ++j) {
            reach.push_back(findReach(i, j));
        }
    }
}

double ReaxBondOrders::reachOf(int type, int otherType) const {
    return reach[param->pairIndex(type, otherType)];
}

void ReaxBondOrders::start(std::span<const int> typesOfAtoms) {
    types = typesOfAtoms;
    bondList.clear();
    excess.resize(types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        excess[i] = -param->valency[static_cast<std::size_t>(types[i])];
    }
}

void ReaxBondOrders::addShell(const ReaxShell& shell) {
    const auto first = static_cast<std::size_t>(shell.iatom);
    for (const ReaxShell::Run& run : shell.runs) {
        const std::size_t pair = param->pairIndex(shell.type, run.type);
        for (std::size_t n = run.begin; n < run.end; ++n) {
            const double r = shell.r[n];
            if (!(r < reach[pair])) {
                continue;
            }
            const Uncorrected orders = computeUncorrected(shell.type, run.type, r);
            if (orders.total < param->boCut) {
                continue;
            }
            const auto second = static_cast<std::size_t>(shell.atom[n]);
            const double total = orders.total - param->boCut;
            bondList.push_back({first,
                                second,
                                pair,
                                {shell.dx[n] / r, shell.dy[n] / r, shell.dz[n] / r},
                                r,
                                total,
                                orders.pi,
                                orders.piPi,
                                orders.totalSlope,
                                orders.piSlope,
                                orders.piPiSlope,
                                {},
                                {},
                                {}});
            excess[first] += total;
            excess[second] += total;
        }
    }
}

ReaxBondOrders::Uncorrected ReaxBondOrders::computeUncorrected(int type, int otherType, double r) const {
    const auto i = static_cast<std::size_t>(type);
    const auto j = static_cast<std::size_t>(otherType);
    const std::size_t pair = param->pairIndex(type, otherType);
    Part sigma;
    Part pi;
    Part piPi;
    if (param->rS[i] > 0.0 && param->rS[j] > 0.0) {
        sigma = makePart(r, param->pairRS[pair], param->pBo1[pair], param->pBo2[pair]);
        sigma.value *= 1.0 + param->boCut;
        sigma.slope *= 1.0 + param->boCut;
    }
    if (param->rPi[i] > 0.0 && param->rPi[j] > 0.0) {
        pi = makePart(r, param->pairRPi[pair], param->pBo3[pair], param->pBo4[pair]);
    }
    if (param->rPiPi[i] > 0.0 && param->rPiPi[j] > 0.0) {
        piPi = makePart(r, param->pairRPiPi[pair], param->pBo5[pair], param->pBo6[pair]);
    }
    return {sigma.value + pi.value + piPi.value, pi.value, piPi.value,
            sigma.slope + pi.slope + piPi.slope, pi.slope, piPi.slope};
}

// Orders that fall with the distance are above boCut up to some distance, found by bisection, and below it
// from there on.
double ReaxBondOrders::findReach(int type, int otherType) const {
    if (param->isBonding[param->pairIndex(type, otherType)] == 0) {
        return 0.0;
    }
    const auto isBond = [&](double r) {
        return computeUncorrected(type, otherType, r).total >= param->boCut;
    };
    if (!fallsWithDistance(type, otherType) || isBond(param->rcut)) {
        return param->rcut;
    }
    double inside = 0.0;
    double outside = param->rcut;
    constexpr int numHalvings = 40;
    for (int n = 0; n < numHalvings; ++n) {
        const double middle = 0.5 * (inside + outside);
        (isBond(middle) ? inside : outside) = middle;
    }
    // The test of the order itself decides near the border.
    constexpr double margin = 1.0e-6;
    return std::min(outside + margin, param->rcut);
}

bool ReaxBondOrders::fallsWithDistance(int type, int otherType) const {
    const std::size_t pair = param->pairIndex(type, otherType);
    return param->pBo1[pair] * param->pBo2[pair] <= 0.0 && param->pBo3[pair] * param->pBo4[pair] <= 0.0 &&
           param->pBo5[pair] * param->pBo6[pair] <= 0.0;
}

void ReaxBondOrders::correct() {
    exponentials.resize(types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        exponentials[i] = std::exp(std::min(-param->pBoc1 * excess[i], largestExponent));
    }
    sums.assign(types.size(), 0.0);
    for (ReaxBond& bond : bondList) {
        correctBond(bond);
        sums[bond.first] += bond.order.value;
        sums[bond.second] += bond.order.value;
    }
}

void ReaxBondOrders::correctBond(ReaxBond& bond) const {
    Damping damping;
    dampByOvercoordination(bond, damping);
    dampByAngles(bond, damping);

    const double f1 = damping.f1;
    const double a = f1 * damping.f45;
    const double aByTotal = a * damping.logByTotal;
    const double aByFirst = damping.f1ByFirst * damping.f45 + a * damping.logByFirst;
    const double aBySecond = damping.f1BySecond * damping.f45 + a * damping.logBySecond;
    const double order = bond.total * a;
    if (!(order < smallestOrder)) {
        bond.order = {order, 0.0, a + bond.total * aByTotal, bond.total * aByFirst, bond.total * aBySecond};
    }
    const double piByTotal = f1 * aByTotal;
    const double piByFirst = damping.f1ByFirst * a + f1 * aByFirst;
    const double piBySecond = damping.f1BySecond * a + f1 * aBySecond;
    const auto correctPart = [&](double part) -> ReaxOrder {
        if (part * f1 * a < smallestOrder) {
            return {};
        }
        return {part * f1 * a, f1 * a, part * piByTotal, part * piByFirst, part * piBySecond};
    };
    bond.orderPi = correctPart(bond.pi);
    bond.orderPiPi = correctPart(bond.piPi);
}

// f1 = (1 / (1 + f3 / V1) + 1 / (1 + f3 / V2)) / 2 with V = valency + e1(first) + e1(second), and f3 the soft
// minimum of the two deltaPrime.
void ReaxBondOrders::dampByOvercoordination(const ReaxBond& bond, Damping& damping) const {
    if (param->ovc[bond.pair] < smallestCorrection) {
        return;
    }
    const double e1First = exponentials[bond.first];
    const double e1Second = exponentials[bond.second];
    const double x1 = -param->pBoc2 * excess[bond.first];
    const double x2 = -param->pBoc2 * excess[bond.second];
    // The greater exponential is taken out of the logarithm, so that none overflows.
    const double logOfSum = std::max(x1, x2) + std::log1p(std::exp(-std::fabs(x1 - x2)));
    const double f3 = -(logOfSum - std::numbers::ln2) / param->pBoc2;
    const double f3ByFirst = 1.0 / (1.0 + std::exp(x2 - x1));
    const double f3BySecond = 1.0 / (1.0 + std::exp(x1 - x2));

    damping.f1 = 0.0;
    for (const std::size_t atom : {bond.first, bond.second}) {
        const double v = param->valency[static_cast<std::size_t>(types[atom])] + e1First + e1Second;
        const double ratio = f3 / v;
        const double term = 1.0 / (1.0 + ratio);
        const double half = 0.5 * term * term;
        damping.f1 += 0.5 * term;
        damping.f1ByFirst -= half * (f3ByFirst / v + ratio * param->pBoc1 * (e1First / v));
        damping.f1BySecond -= half * (f3BySecond / v + ratio * param->pBoc1 * (e1Second / v));
    }
}

// f4 and f5, one for each atom: 1 / (1 + exp(-pBoc3 (pBoc4 B^2 - deltaBoc) + pBoc5)).
void ReaxBondOrders::dampByAngles(const ReaxBond& bond, Damping& damping) const {
    if (param->v13cor[bond.pair] < smallestCorrection) {
        return;
    }
    const double p3 = param->pBoc3[bond.pair];
    const double p4 = param->pBoc4[bond.pair];
    const double p5 = param->pBoc5[bond.pair];
    const auto dampByAtom = [&](std::size_t atom, double& logByExcess) {
        const auto type = static_cast<std::size_t>(types[atom]);
        const double deltaBoc = excess[atom] + param->valency[type] - param->valencyVal[type];
        const double exponent = -p3 * (p4 * bond.total * bond.total - deltaBoc) + p5;
        const double lack = 1.0 / (1.0 + std::exp(-exponent)); // 1 - f
        damping.f45 *= 1.0 / (1.0 + std::exp(exponent));
        damping.logByTotal += lack * 2.0 * p3 * p4 * bond.total;
        logByExcess = -lack * p3;
    };
    dampByAtom(bond.first, damping.logByFirst);
    dampByAtom(bond.second, damping.logBySecond);
}

void ReaxBondOrders::distribute(std::span<const ReaxOrderGradient> gradients, std::span<double> forces,
                                std::span<double> virials) {
    byExcess.assign(types.size(), 0.0);
    directSlopes.resize(bondList.size());
    for (std::size_t n = 0; n < bondList.size(); ++n) {
        const ReaxBond& bond = bondList[n];
        const ReaxOrderGradient& g = gradients[n];
        const auto sumOf = [&](double ReaxOrder::*derivative) {
            return g.order * bond.order.*derivative + g.orderPi * bond.orderPi.*derivative +
                   g.orderPiPi * bond.orderPiPi.*derivative;
        };
        directSlopes[n] = sumOf(&ReaxOrder::byTotal) * bond.totalSlope +
                          g.orderPi * bond.orderPi.byOwn * bond.piSlope +
                          g.orderPiPi * bond.orderPiPi.byOwn * bond.piPiSlope;
        byExcess[bond.first] += sumOf(&ReaxOrder::byFirst);
        byExcess[bond.second] += sumOf(&ReaxOrder::bySecond);
    }
    for (std::size_t n = 0; n < bondList.size(); ++n) {
        const ReaxBond& bond = bondList[n];
        const double slope =
            directSlopes[n] + (byExcess[bond.first] + byExcess[bond.second]) * bond.totalSlope;
        for (std::size_t c = 0; c < 3; ++c) {
            forces[3 * bond.first + c] += slope * bond.direction[c];
            forces[3 * bond.second + c] -= slope * bond.direction[c];
        }
        if (!virials.empty()) {
            addVirial(bond.first, bond.second, bond.direction, -slope * bond.length, virials);
        }
    }
}

} // namespace melta
