#include "baseline/reax/ReaxParam.hpp"

#include "base/Reporting.hpp"
#include "baseline/reax/ReaxParamReader.hpp"

#include <cmath>
#include <utility>

namespace melta {
namespace {

constexpr double defaultCutoff = 5.0; // Angstrom
constexpr double smallestEntry = 1.0e-16;
constexpr double lightestHeavyMass = 21.0;

double arithmeticMean(double a, double b) {
    return 0.5 * (a + b);
}

double geometricMean(double a, double b) {
    return std::sqrt(a * b);
}

} // namespace

ReaxParam::ReaxParam(double cutoff, const std::string& fileName)
    : ReaxParam(cutoff, ReaxParamReader(fileName)) {}

ReaxParam::ReaxParam(double cutoff, FilePointer file) : ReaxParam(cutoff, ReaxParamReader(std::move(file))) {}

ReaxParam::ReaxParam(double cutoff, ReaxParamReader reader) : rcut(cutoff > 0.0 ? cutoff : defaultCutoff) {
    typeOfAtomicNumber.fill(-1);
    reader.readInto(*this);
    rcutVdw = tapUpper;
    if (!(rcutVdw > 0.0)) {
        stopWithMessage("rcut_vdw is not positive.");
    }
    completeTypes();
    completePairs();
    withShielding = gammaW[0] > 0.5;
    withInnerWall = rcore[0] > 0.01 && acore[0] > 0.01;
    makeTaper();
}

void ReaxParam::completeTypes() {
    nlpOpt.resize(mass.size());
    for (std::size_t i = 0; i < mass.size(); ++i) {
        if (mass[i] < lightestHeavyMass) {
            valencyVal[i] = valencyBoc[i];
        }
        nlpOpt[i] = 0.5 * (valencyE[i] - valency[i]);
    }
}

void ReaxParam::completePairs() {
    const std::size_t numPairs = pairIndex(numElems, 0);
    for (std::vector<double>* const table :
         {&pBoc3, &pBoc4, &pBoc5, &pairGammaW, &pairRcore, &pairEcore, &pairAcore}) {
        table->assign(numPairs, 0.0);
    }
    fillMean(pairRS, rS, arithmeticMean);
    fillMean(pairRPi, rPi, arithmeticMean);
    fillMean(pairRPiPi, rPiPi, arithmeticMean);
    fillMean(pBoc3, bo132, geometricMean);
    fillMean(pBoc4, bo131, geometricMean);
    fillMean(pBoc5, bo133, geometricMean);
    fillMean(pairDepth, depth, geometricMean);
    fillMean(pairAlpha, alpha, geometricMean);
    fillMean(pairGammaW, gammaW, geometricMean);
    fillMean(pairRVdw, rVdw, geometricMean);
    fillMean(pairRcore, rcore, geometricMean);
    fillMean(pairEcore, ecore, geometricMean);
    fillMean(pairAcore, acore, geometricMean);
}

void ReaxParam::fillMean(std::vector<double>& table, const std::vector<double>& ofType,
                         double (*mean)(double, double)) const {
    for (int i = 0; i < numElems; ++i) {
        for (int j = 0; j <= i; ++j) {
            if (table[pairIndex(i, j)] < smallestEntry) {
                const double value =
                    mean(ofType[static_cast<std::size_t>(i)], ofType[static_cast<std::size_t>(j)]);
                table[pairIndex(i, j)] = value;
                table[pairIndex(j, i)] = value;
            }
        }
    }
}

// Seventh order, from 1 at the lower to 0 at the upper radius, with three derivatives that vanish at both.
void ReaxParam::makeTaper() {
    const double a = tapLower;
    const double b = tapUpper;
    const double a2 = a * a;
    const double b2 = b * b;
    const double a3 = a2 * a;
    const double b3 = b2 * b;
    const double d = std::pow(b - a, 7.0);
    taper[7] = 20.0 / d;
    taper[6] = -70.0 * (a + b) / d;
    taper[5] = 84.0 * (a2 + 3.0 * a * b + b2) / d;
    taper[4] = -35.0 * (a3 + 9.0 * a2 * b + 9.0 * a * b2 + b3) / d;
    taper[3] = 140.0 * (a3 * b + 3.0 * a2 * b2 + a * b3) / d;
    taper[2] = -210.0 * (a3 * b2 + a2 * b3) / d;
    taper[1] = 140.0 * a3 * b3 / d;
    taper[0] = (-35.0 * a3 * b2 * b2 + 21.0 * a2 * b3 * b2 - 7.0 * a * b3 * b3 + b2 * b2 * b3) / d;
}

} // namespace melta
