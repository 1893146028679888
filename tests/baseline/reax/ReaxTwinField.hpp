#pragma once

#include <string>
#include <vector>

namespace melta::test {

// A second reading of the parameter file, as plain as possible. kcal/mol, Angstrom. A missing value throws
// std::runtime_error.

struct ReaxTwinType {
    int atomicNumber = 0;
    double rS = 0.0, valency = 0.0, mass = 0.0, rVdw = 0.0, depth = 0.0, rPi = 0.0, valencyE = 0.0;
    double alpha = 0.0, gammaW = 0.0, valencyBoc = 0.0, pOvun5 = 0.0;
    double rPiPi = 0.0, pLp2 = 0.0, bo131 = 0.0, bo132 = 0.0, bo133 = 0.0;
    double pOvun2 = 0.0, valencyVal = 0.0, rCore = 0.0, eCore = 0.0, aCore = 0.0;
    double nlpOpt = 0.0;
};

struct ReaxTwinPair {
    bool hasBondEntry = false;
    double deSigma = 0.0, dePi = 0.0, dePiPi = 0.0, pBe1 = 0.0, pBe2 = 0.0;
    double pBo1 = 0.0, pBo2 = 0.0, pBo3 = 0.0, pBo4 = 0.0, pBo5 = 0.0, pBo6 = 0.0;
    double ovc = 0.0, v13cor = 0.0, pOvun1 = 0.0;
    double rS = 0.0, rPi = 0.0, rPiPi = 0.0, depth = 0.0, alpha = 0.0, rVdw = 0.0;
    double pBoc3 = 0.0, pBoc4 = 0.0, pBoc5 = 0.0, gammaW = 0.0, rCore = 0.0, eCore = 0.0, aCore = 0.0;
};

struct ReaxTwinField {
    std::vector<double> general; // [number of the line in its section], so [0] is not used
    std::vector<ReaxTwinType> types;
    std::vector<ReaxTwinPair> pairs; // [types][types]
    bool withShielding = false;
    bool withInnerWall = false;

    [[nodiscard]] int typeOf(int atomicNumber) const; // -1 if there is none
    [[nodiscard]] const ReaxTwinPair& pair(int i, int j) const;
    [[nodiscard]] ReaxTwinPair& pair(int i, int j);
};

ReaxTwinField readReaxTwinField(const std::string& fileName);

// The taper as a function of its definition: 20 t^7 - 70 t^6 + 84 t^5 - 35 t^4 + 1 with t running from 0 at
// `lower` to 1 at `upper`. The same polynomial as the one of eight coefficients in powers of r.
template <class Number>
Number taperOf(const Number& r, double lower, double upper) {
    const Number t = (r - Number(lower)) / Number(upper - lower);
    const Number t4 = t * t * t * t;
    return Number(1.0) + t4 * (Number(-35.0) + t * (Number(84.0) + t * (Number(-70.0) + t * Number(20.0))));
}

} // namespace melta::test
