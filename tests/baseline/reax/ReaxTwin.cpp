#include "ReaxTwin.hpp"

#include "ReaxTwinNumber.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta::test {
namespace {

using std::atan;
using std::cos;
using std::exp;
using std::log;
using std::pow;
using std::sin;
using std::sqrt;

constexpr double pi = std::numbers::pi;
constexpr double lpLower = 1.5;
constexpr double lpUpper = 2.3;
constexpr double lpDamp = 0.8;
constexpr double closestDistance = 0.1;

// One direction of a pair: from an atom to an image of `other`.
template <class Number>
struct Contact {
    std::size_t other;
    Number r;
};

template <class Number>
struct Bond {
    std::size_t other;
    Number sigma, pi1, pi2; // uncorrected
    Number total, pi1Corrected, pi2Corrected;
};

template <class Number>
Number lonePairTaper(const Number& w) {
    const Number s = w / Number(lpUpper - lpLower);
    const Number s4 = s * s * s * s;
    return Number(1.0) + s4 * (Number(-35.0) + s * (Number(84.0) + s * (Number(-70.0) + s * Number(20.0))));
}

template <class Number>
Number lonePairCount(const Number& x) {
    const double v = valueOf(x);
    if (v >= -lpLower && v < lpLower) {
        return Number(0.0);
    }
    const Number c(lpDamp);
    const Number sine = sin(Number(-pi) * x);
    const Number cosine = cos(Number(pi) * x);
    const Number y =
        Number(-0.5) * x - Number(0.5) - atan(c * sine / (c * cosine - Number(1.0))) / Number(pi);
    if (v >= lpUpper) {
        return y + Number(1.0);
    }
    if (v >= lpLower) {
        return (y + Number(1.0)) * lonePairTaper(Number(lpUpper) - x);
    }
    if (v >= -lpUpper) {
        return y * lonePairTaper(x + Number(lpUpper));
    }
    return y;
}

// The count with the derivative that the caller wants; a plain number carries none.
double countWithSlope(double x, LonePairSlope) {
    return lonePairCount(x);
}

ReaxTwinNumber countWithSlope(const ReaxTwinNumber& x, LonePairSlope slope) {
    if (slope == LonePairSlope::exact) {
        return lonePairCount(x);
    }
    return {lonePairCount(x.value), toldLonePairSlope(x.value) * x.slope};
}

// One evaluation. The members are filled in the order in which they stand.
template <class Number>
class Evaluation {
public:
    Evaluation(const ReaxTwinField& f, const std::array<double, 9>& cell, const std::vector<int>& numbers,
               const std::vector<Number>& coordinates)
        : field(f), lattice(cell), positions(coordinates) {
        for (const int number : numbers) {
            types.push_back(field.typeOf(number));
        }
        outcome.resize(types.size());
    }

    ReaxTwinOutcome<Number> run(double bondCutoff, LonePairSlope slope, const std::vector<double>& nlpShift) {
        findBonds(bondCutoff);
        correctBonds();
        countLonePairs(slope, nlpShift);
        addBondedTerms();
        addVanDerWaals();
        return outcome;
    }

private:
    [[nodiscard]] const ReaxTwinType& typeOf(std::size_t i) const {
        return field.types.at(static_cast<std::size_t>(types[i]));
    }
    [[nodiscard]] const ReaxTwinPair& pairOf(std::size_t i, std::size_t j) const {
        return field.pair(types[i], types[j]);
    }
    [[nodiscard]] bool isKnown(std::size_t i) const { return types[i] >= 0; }
    [[nodiscard]] double general(std::size_t number) const { return field.general.at(number); }

    // How many cells away, along each cell vector, an image nearer than `cutoff` can lie.
    [[nodiscard]] std::array<int, 3> reachOf(double cutoff) const {
        const auto at = [&](std::size_t k, std::size_t c) { return lattice[3 * (k % 3) + c % 3]; };
        std::array<int, 3> reach{};
        for (std::size_t k = 0; k < 3; ++k) {
            double volume = 0.0;
            double area = 0.0;
            for (std::size_t c = 0; c < 3; ++c) {
                const double normal =
                    at(k + 1, c + 1) * at(k + 2, c + 2) - at(k + 1, c + 2) * at(k + 2, c + 1);
                volume += at(k, c) * normal;
                area += normal * normal;
            }
            reach[k] = static_cast<int>(cutoff / (std::abs(volume) / std::sqrt(area))) + 2;
        }
        return reach;
    }

    void addContact(std::vector<Contact<Number>>& contacts, std::size_t i, std::size_t j, int ia, int ib,
                    int ic, double cutoff) const {
        std::array<Number, 3> d{};
        double square = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double shift = ia * lattice[c] + ib * lattice[3 + c] + ic * lattice[6 + c];
            d[c] = positions[3 * j + c] + Number(shift) - positions[3 * i + c];
            square += valueOf(d[c]) * valueOf(d[c]);
        }
        if (square >= closestDistance * closestDistance && square < cutoff * cutoff) {
            contacts.push_back({j, sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2])});
        }
    }

    [[nodiscard]] std::vector<Contact<Number>> contactsOf(std::size_t i, double cutoff) const {
        std::vector<Contact<Number>> contacts;
        const std::array<int, 3> reach = reachOf(cutoff);
        for (std::size_t j = 0; j < types.size(); ++j) {
            for (int ia = -reach[0]; isKnown(j) && ia <= reach[0]; ++ia) {
                for (int ib = -reach[1]; ib <= reach[1]; ++ib) {
                    for (int ic = -reach[2]; ic <= reach[2]; ++ic) {
                        addContact(contacts, i, j, ia, ib, ic, cutoff);
                    }
                }
            }
        }
        return contacts;
    }

    void findBonds(double bondCutoff) {
        bonds.resize(types.size());
        for (std::size_t i = 0; i < types.size(); ++i) {
            if (!isKnown(i)) {
                continue;
            }
            outcome.deltaPrime[i] = Number(-typeOf(i).valency);
            for (const Contact<Number>& contact : contactsOf(i, bondCutoff)) {
                addBond(i, contact);
            }
        }
    }

    void addBond(std::size_t i, const Contact<Number>& contact) {
        const ReaxTwinType& a = typeOf(i);
        const ReaxTwinType& b = typeOf(contact.other);
        const ReaxTwinPair& pair = pairOf(i, contact.other);
        if (!pair.hasBondEntry) {
            return;
        }
        const double boCut = general(30) / 100.0;
        Number sigma(0.0);
        Number pi1(0.0);
        Number pi2(0.0);
        if (a.rS > 0.0 && b.rS > 0.0) {
            const Number u = contact.r / Number(pair.rS);
            sigma = Number(1.0 + boCut) * exp(Number(pair.pBo1) * pow(u, pair.pBo2));
        }
        if (a.rPi > 0.0 && b.rPi > 0.0) {
            pi1 = exp(Number(pair.pBo3) * pow(contact.r / Number(pair.rPi), pair.pBo4));
        }
        if (a.rPiPi > 0.0 && b.rPiPi > 0.0) {
            pi2 = exp(Number(pair.pBo5) * pow(contact.r / Number(pair.rPiPi), pair.pBo6));
        }
        const Number sum = sigma + pi1 + pi2;
        if (valueOf(sum) >= boCut) {
            bonds[i].push_back({contact.other, sigma - Number(boCut), pi1, pi2, 0.0, 0.0, 0.0});
            outcome.deltaPrime[i] += sum - Number(boCut);
        }
    }

    [[nodiscard]] Number overCorrection(std::size_t i, std::size_t j) const {
        const double pBoc1 = general(1);
        const double pBoc2 = general(2);
        const Number s1 =
            exp(Number(-pBoc1) * outcome.deltaPrime[i]) + exp(Number(-pBoc1) * outcome.deltaPrime[j]);
        const Number s2 =
            exp(Number(-pBoc2) * outcome.deltaPrime[i]) + exp(Number(-pBoc2) * outcome.deltaPrime[j]);
        const Number f3 = -log(Number(0.5) * s2) / Number(pBoc2);
        const Number vi = Number(typeOf(i).valency) + s1;
        const Number vj = Number(typeOf(j).valency) + s1;
        return Number(0.5) * (vi / (vi + f3) + vj / (vj + f3));
    }

    // The factor f4 or f5, which looks at the coordination of atom `k` of the bond.
    [[nodiscard]] Number thirteenCorrection(const ReaxTwinPair& pair, const Number& b, std::size_t k) const {
        const Number deltaBoc = outcome.deltaPrime[k] + Number(typeOf(k).valency - typeOf(k).valencyVal);
        const Number excess = Number(pair.pBoc4) * b * b - deltaBoc;
        return Number(1.0) / (Number(1.0) + exp(Number(-pair.pBoc3) * excess + Number(pair.pBoc5)));
    }

    static Number zeroIfTiny(const Number& order) { return valueOf(order) < 1.0e-10 ? Number(0.0) : order; }

    void correctBonds() {
        for (std::size_t i = 0; i < types.size(); ++i) {
            if (!isKnown(i)) {
                continue;
            }
            Number sum(0.0);
            for (Bond<Number>& bond : bonds[i]) {
                const ReaxTwinPair& pair = pairOf(i, bond.other);
                const Number b = bond.sigma + bond.pi1 + bond.pi2;
                const Number f1 = pair.ovc < 0.001 ? Number(1.0) : overCorrection(i, bond.other);
                Number f45(1.0);
                if (!(pair.v13cor < 0.001)) {
                    f45 = thirteenCorrection(pair, b, i) * thirteenCorrection(pair, b, bond.other);
                }
                const Number a = f1 * f45;
                bond.total = zeroIfTiny(b * a);
                bond.pi1Corrected = zeroIfTiny(bond.pi1 * f1 * a);
                bond.pi2Corrected = zeroIfTiny(bond.pi2 * f1 * a);
                sum += bond.total;
            }
            outcome.delta[i] = sum - Number(typeOf(i).valency);
            outcome.deltaE[i] = sum - Number(typeOf(i).valencyE);
        }
    }

    void countLonePairs(LonePairSlope slope, const std::vector<double>& nlpShift) {
        nlpTemp.resize(types.size());
        for (std::size_t i = 0; i < types.size(); ++i) {
            if (!isKnown(i)) {
                continue;
            }
            const double shift = nlpShift.empty() ? 0.0 : nlpShift[i];
            outcome.nlp[i] = countWithSlope(outcome.deltaE[i], slope) + Number(shift);
            nlpTemp[i] = typeOf(i).mass <= 21.0 ? outcome.nlp[i] : Number(typeOf(i).nlpOpt);
        }
    }

    void addBondedTerms() {
        for (std::size_t i = 0; i < types.size(); ++i) {
            if (isKnown(i)) {
                addBondEnergy(i);
                addLonePairEnergy(i);
                addCoordinationEnergies(i);
            }
        }
    }

    void addBondEnergy(std::size_t i) {
        for (const Bond<Number>& bond : bonds[i]) {
            const ReaxTwinPair& pair = pairOf(i, bond.other);
            const Number sigma = bond.total - bond.pi1Corrected - bond.pi2Corrected;
            const Number e = exp(Number(pair.pBe1) * (Number(1.0) - pow(sigma, pair.pBe2)));
            outcome.bond[i] +=
                Number(0.5) * (Number(-pair.deSigma) * sigma * e - Number(pair.dePi) * bond.pi1Corrected -
                               Number(pair.dePiPi) * bond.pi2Corrected);
        }
    }

    void addLonePairEnergy(std::size_t i) {
        const Number lack = Number(typeOf(i).nlpOpt) - outcome.nlp[i];
        outcome.lonePair[i] = Number(typeOf(i).pLp2) * lack / (Number(1.0) + exp(Number(-75.0) * lack));
    }

    void addCoordinationEnergies(std::size_t i) {
        const ReaxTwinType& type = typeOf(i);
        Number sumPi(0.0);
        Number w(0.0);
        for (const Bond<Number>& bond : bonds[i]) {
            const std::size_t j = bond.other;
            const Number deltaLp = outcome.delta[j] - Number(typeOf(j).nlpOpt) + nlpTemp[j];
            sumPi += (bond.pi1Corrected + bond.pi2Corrected) * deltaLp;
            w += bond.total * Number(pairOf(i, j).pOvun1 * pairOf(i, j).deSigma);
        }
        const Number e4 = exp(Number(general(32)) * sumPi);
        const Number e8 = exp(Number(general(10)) * sumPi);
        const Number lack = Number(type.nlpOpt) - nlpTemp[i];
        const Number deltaCorr = outcome.delta[i] - lack / (Number(1.0) + Number(general(33)) * e4);
        const Number e2 = exp(Number(type.pOvun2) * deltaCorr);
        const Number e6 = exp(Number(general(7)) * deltaCorr);
        const Number q = Number(type.valency + 1.0e-8) + deltaCorr;
        outcome.overCoordination[i] = deltaCorr / q / (Number(1.0) + e2) * w;
        outcome.underCoordination[i] = Number(-type.pOvun5) * (Number(1.0) - e6) /
                                       (Number(1.0) + Number(1.0) / e2) /
                                       (Number(1.0) + Number(general(9)) * e8);
    }

    void addVanDerWaals() {
        for (std::size_t i = 0; i < types.size(); ++i) {
            if (!isKnown(i)) {
                continue;
            }
            Number sum(0.0);
            for (const Contact<Number>& contact : contactsOf(i, general(13))) {
                sum += pairEnergy(pairOf(i, contact.other), contact.r);
            }
            outcome.vanDerWaals[i] = Number(0.5) * sum;
        }
    }

    [[nodiscard]] Number pairEnergy(const ReaxTwinPair& pair, const Number& r) const {
        const double p = general(29);
        Number f = r;
        if (field.withShielding) {
            f = pow(pow(r, p) + Number(std::pow(1.0 / pair.gammaW, p)), 1.0 / p);
        }
        const Number exponent = Number(pair.alpha) * (Number(1.0) - f / Number(pair.rVdw));
        Number value = Number(pair.depth) * (exp(exponent) - Number(2.0) * exp(Number(0.5) * exponent));
        if (field.withInnerWall) {
            value += Number(pair.eCore) * exp(Number(pair.aCore) * (Number(1.0) - r / Number(pair.rCore)));
        }
        return taperOf(r, general(12), general(13)) * value;
    }

    const ReaxTwinField& field;
    std::array<double, 9> lattice;
    std::vector<Number> positions;
    std::vector<int> types;
    std::vector<std::vector<Bond<Number>>> bonds;
    std::vector<Number> nlpTemp;
    ReaxTwinOutcome<Number> outcome;
};

} // namespace

double lonePairTaperSlope(double w) {
    const double d = lpUpper - lpLower;
    return -4.0 * 35.0 * std::pow(w, 3) / std::pow(d, 4) + 5.0 * 84.0 * std::pow(w, 4) / std::pow(d, 5) -
           6.0 * 70.0 * std::pow(w, 5) / std::pow(d, 6) + 7.0 * 20.0 * std::pow(w, 6) / std::pow(d, 7);
}

double toldLonePairSlope(double x) {
    if (x >= -lpLower && x < lpLower) {
        return 0.0;
    }
    const double c = lpDamp;
    const double y = -0.5 * x - 0.5 - std::atan(c * std::sin(-pi * x) / (c * std::cos(pi * x) - 1.0)) / pi;
    const double g = (c * c - 1.0) / (2.0 * c * c + 2.0 - 4.0 * c * std::cos(pi * x));
    if (x >= lpLower && x < lpUpper) {
        return g * lonePairTaper(lpUpper - x) - y * lonePairTaperSlope(lpUpper - x);
    }
    if (x < -lpLower && x >= -lpUpper) {
        return g * lonePairTaper(x + lpUpper) + y * lonePairTaperSlope(x + lpUpper);
    }
    return g;
}

ReaxTwinAtoms ReaxTwinAtoms::of(const Geometry& geometry) {
    ReaxTwinAtoms atoms;
    std::copy(geometry.lattice.begin(), geometry.lattice.end(), atoms.lattice.begin());
    atoms.atomicNumbers.assign(geometry.atomNumbers.begin(), geometry.atomNumbers.end());
    atoms.positions.assign(geometry.positions.begin(), geometry.positions.end());
    return atoms;
}

template <class Number>
void ReaxTwinOutcome<Number>::resize(std::size_t numAtoms) {
    for (std::vector<Number>* array : {&bond, &lonePair, &overCoordination, &underCoordination, &vanDerWaals,
                                       &deltaPrime, &delta, &deltaE, &nlp}) {
        array->assign(numAtoms, Number(0.0));
    }
}

template <class Number>
Number ReaxTwinOutcome<Number>::bondedOf(std::size_t i) const {
    return bond[i] + lonePair[i] + overCoordination[i] + underCoordination[i];
}

template <class Number>
Number ReaxTwinOutcome<Number>::energyOf(std::size_t i) const {
    return bondedOf(i) + vanDerWaals[i];
}

template <class Number>
Number ReaxTwinOutcome<Number>::bonded() const {
    Number sum(0.0);
    for (std::size_t i = 0; i < bond.size(); ++i) {
        sum += bondedOf(i);
    }
    return sum;
}

template <class Number>
Number ReaxTwinOutcome<Number>::total() const {
    Number sum(0.0);
    for (std::size_t i = 0; i < bond.size(); ++i) {
        sum += energyOf(i);
    }
    return sum;
}

template struct ReaxTwinOutcome<double>;

ReaxTwin::ReaxTwin(double rcut, const std::string& fileName)
    : field(readReaxTwinField(fileName)), bondCutoff(rcut > 0.0 ? rcut : 5.0) {}

ReaxTwinOutcome<double> ReaxTwin::evaluate(const ReaxTwinAtoms& atoms,
                                           const std::vector<double>& nlpShift) const {
    Evaluation<double> evaluation(field, atoms.lattice, atoms.atomicNumbers, atoms.positions);
    return evaluation.run(bondCutoff, LonePairSlope::exact, nlpShift);
}

ReaxTwinGradient ReaxTwin::gradient(const ReaxTwinAtoms& atoms, LonePairSlope slope) const {
    ReaxTwinGradient gradient;
    std::vector<ReaxTwinNumber> coordinates(atoms.positions.begin(), atoms.positions.end());
    for (ReaxTwinNumber& coordinate : coordinates) {
        coordinate.slope = 1.0;
        Evaluation<ReaxTwinNumber> evaluation(field, atoms.lattice, atoms.atomicNumbers, coordinates);
        const ReaxTwinOutcome<ReaxTwinNumber> outcome = evaluation.run(bondCutoff, slope, {});
        coordinate.slope = 0.0;
        gradient.bonded.push_back(outcome.bonded().slope);
        gradient.vanDerWaals.push_back(outcome.total().slope - outcome.bonded().slope);
    }
    return gradient;
}

std::vector<double> ReaxTwin::differences(const ReaxTwinAtoms& atoms, double step) const {
    std::vector<double> slopes;
    ReaxTwinAtoms moved = atoms;
    for (std::size_t k = 0; k < atoms.positions.size(); ++k) {
        moved.positions[k] = atoms.positions[k] + step;
        const double above = evaluate(moved).total();
        moved.positions[k] = atoms.positions[k] - step;
        const double below = evaluate(moved).total();
        moved.positions[k] = atoms.positions[k];
        slopes.push_back((above - below) / (2.0 * step));
    }
    return slopes;
}

} // namespace melta::test
