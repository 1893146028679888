#include "baseline/reax/ReaxBondedTerms.hpp"

#include "baseline/reax/ReaxLonePairs.hpp"
#include "baseline/reax/ReaxParam.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

constexpr double heaviestLightMass = 21.0; // lone pairs of heavier atoms do not act on neighbours
constexpr double lonePairSteepness = 75.0;

// 1 / (1 + factor exp(exponent)) and its derivative by the exponent, finite however large the exponential is.
struct Step {
    double value;
    double slope;
};

Step makeStep(double factor, double exponent) {
    const double term = factor * std::exp(exponent);
    const double value = 1.0 / (1.0 + term);
    const double rest = 1.0 / (1.0 + 1.0 / term); // 1 - value
    return {value, -value * rest};
}

// Energy of a sigma bond and its derivative by the order.
struct SigmaEnergy {
    double value;
    double bySigma;
};

SigmaEnergy makeSigmaEnergy(double order, double depth, double pBe1, double pBe2) {
    // The cutoff of bond orders can leave a sigma order just below zero, which has no power.
    const double power = std::pow(std::max(order, 0.0), pBe2);
    const double e = std::exp(pBe1 * (1.0 - power));
    return {-depth * order * e, -depth * e * (1.0 - pBe1 * pBe2 * power)};
}

} // namespace

ReaxBondedTerms::ReaxBondedTerms(const ReaxParam& forceField) : param(&forceField) {}

void ReaxBondedTerms::calculate(const ReaxBondOrders& orders, std::span<const int> types,
                                std::span<const double> weights, std::span<double> energies) {
    prepareAtoms(orders, types);
    sumOverBonds(orders);
    addBondEnergy(orders, weights, energies);
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        const auto type = static_cast<std::size_t>(types[i]);
        energies[i] += computeLonePairEnergy(atoms[i], type);
        energies[i] += computeCoordinationEnergy(atoms[i], type);
        weigh(atoms[i], weights[i]);
    }
}

void ReaxBondedTerms::prepareAtoms(const ReaxBondOrders& orders, std::span<const int> types) {
    atoms.assign(types.size(), Atom{});
    for (std::size_t i = 0; i < types.size(); ++i) {
        const auto type = static_cast<std::size_t>(types[i]);
        const double total = orders.totalOrders()[i];
        Atom& atom = atoms[i];
        atom.delta = total - param->valency[type];
        const LonePairCount count = countLonePairs(total - param->valencyE[type]);
        atom.nlp = count.value;
        atom.nlpDeriv = count.slope;
        const bool isLight = param->mass[type] <= heaviestLightMass;
        atom.nlpTemp = isLight ? count.value : param->nlpOpt[type];
        atom.nlpTempDeriv = isLight ? count.slope : 0.0;
        atom.deltaLp = atom.delta - param->nlpOpt[type] + atom.nlpTemp;
    }
}

void ReaxBondedTerms::sumOverBonds(const ReaxBondOrders& orders) {
    for (const ReaxBond& bond : orders.bonds()) {
        Atom& first = atoms[bond.first];
        Atom& second = atoms[bond.second];
        const double pi = bond.orderPi.value + bond.orderPiPi.value;
        first.sumPi += pi * second.deltaLp;
        second.sumPi += pi * first.deltaLp;
        const double sigma = bond.order.value * param->pOvun1[bond.pair] * param->deSigma[bond.pair];
        first.sumSigma += sigma;
        second.sumSigma += sigma;
    }
}

void ReaxBondedTerms::weigh(Atom& atom, double weight) {
    for (double* const derivative :
         {&atom.byNlp, &atom.byNlpTemp, &atom.byDelta, &atom.bySumPi, &atom.bySumSigma}) {
        *derivative *= weight;
    }
}

void ReaxBondedTerms::addBondEnergy(const ReaxBondOrders& orders, std::span<const double> weights,
                                    std::span<double> energies) {
    gradients.resize(orders.bonds().size());
    for (std::size_t n = 0; n < gradients.size(); ++n) {
        const ReaxBond& bond = orders.bonds()[n];
        const double pi = bond.orderPi.value;
        const double piPi = bond.orderPiPi.value;
        const double dePi = param->dePi[bond.pair];
        const double dePiPi = param->dePiPi[bond.pair];
        const SigmaEnergy sigma = makeSigmaEnergy(bond.order.value - pi - piPi, param->deSigma[bond.pair],
                                                  param->pBe1[bond.pair], param->pBe2[bond.pair]);
        const double half = 0.5 * (sigma.value - dePi * pi - dePiPi * piPi);
        energies[bond.first] += half;
        energies[bond.second] += half;
        const double weight = 0.5 * (weights[bond.first] + weights[bond.second]);
        gradients[n] = {weight * sigma.bySigma, weight * (-sigma.bySigma - dePi),
                        weight * (-sigma.bySigma - dePiPi)};
    }
}

// pLp2 D / (1 + exp(-75 D)) with D the lone pairs that are missing.
double ReaxBondedTerms::computeLonePairEnergy(Atom& atom, std::size_t type) const {
    const double d = param->nlpOpt[type] - atom.nlp;
    const Step step = makeStep(1.0, -lonePairSteepness * d);
    atom.byNlp = -param->pLp2[type] * (step.value - d * lonePairSteepness * step.slope);
    return param->pLp2[type] * d * step.value;
}

// Over-coordination sumSigma x c / (valency + c) / (1 + exp(pOvun2 c)) and under-coordination -pOvun5 (1 -
// exp(pOvun6 c)) / (1 + exp(-pOvun2 c)) / (1 + pOvun7 exp(pOvun8 sumPi)), with c the delta of the atom
// without what its lone pairs explain.
double ReaxBondedTerms::computeCoordinationEnergy(Atom& atom, std::size_t type) const {
    const Step conjugation = makeStep(param->pOvun3, param->pOvun4 * atom.sumPi);
    const double lack = param->nlpOpt[type] - atom.nlpTemp;
    const double c = atom.delta - lack * conjugation.value;
    const double cBySumPi = -lack * param->pOvun4 * conjugation.slope;

    const double p2 = param->pOvun2[type];
    const Step over = makeStep(1.0, p2 * c);
    const Step under = makeStep(1.0, -p2 * c);
    const double q = param->valency[type] + 1.0e-8 + c;
    const double ratio = c / q;
    atom.bySumSigma = ratio * over.value;
    double energy = atom.bySumSigma * atom.sumSigma;
    double byC = atom.sumSigma * ((1.0 - ratio) / q * over.value + ratio * p2 * over.slope);
    const double e6 = std::exp(param->pOvun6 * c);
    const Step shared = makeStep(param->pOvun7, param->pOvun8 * atom.sumPi);
    const double height = -param->pOvun5[type] * (1.0 - e6);
    energy += height * under.value * shared.value;
    byC +=
        (param->pOvun5[type] * param->pOvun6 * e6 * under.value - height * p2 * under.slope) * shared.value;

    atom.byDelta = byC;
    atom.byNlpTemp = byC * conjugation.value;
    atom.bySumPi = byC * cBySumPi + height * under.value * param->pOvun8 * shared.slope;
    return energy;
}

std::span<const ReaxOrderGradient> ReaxBondedTerms::createGradients(const ReaxBondOrders& orders) {
    // The sums over pi orders pass their derivatives on to deltaLp of the neighbours.
    for (const ReaxBond& bond : orders.bonds()) {
        Atom& first = atoms[bond.first];
        Atom& second = atoms[bond.second];
        const double pi = bond.orderPi.value + bond.orderPiPi.value;
        const double byFirst = second.bySumPi * pi;
        const double bySecond = first.bySumPi * pi;
        first.byDelta += byFirst;
        first.byNlpTemp += byFirst;
        second.byDelta += bySecond;
        second.byNlpTemp += bySecond;
    }
    // delta and deltaE both grow with the total order of the atom.
    const auto byTotal = [](const Atom& atom) {
        return atom.byDelta + atom.byNlp * atom.nlpDeriv + atom.byNlpTemp * atom.nlpTempDeriv;
    };
    for (std::size_t n = 0; n < gradients.size(); ++n) {
        const ReaxBond& bond = orders.bonds()[n];
        const Atom& first = atoms[bond.first];
        const Atom& second = atoms[bond.second];
        const double sigma = param->pOvun1[bond.pair] * param->deSigma[bond.pair];
        const double byPi = first.bySumPi * second.deltaLp + second.bySumPi * first.deltaLp;
        gradients[n].order +=
            byTotal(first) + byTotal(second) + (first.bySumSigma + second.bySumSigma) * sigma;
        gradients[n].orderPi += byPi;
        gradients[n].orderPiPi += byPi;
    }
    return gradients;
}

} // namespace melta
