#include "ReaxTwinField.hpp"

#include "structure/ElementSymbols.hpp"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace melta::test {
namespace {

class Lines {
public:
    explicit Lines(const std::string& fileName) : stream(fileName) {}

    std::string next() {
        std::string line;
        if (!std::getline(stream, line)) {
            throw std::runtime_error("the twin misses a line");
        }
        return line;
    }

    // The first `count` numbers of the next line.
    std::vector<double> numbers(std::size_t count) { return numbersOf(next(), count); }

    int count() { return static_cast<int>(numbers(1)[0]); }

    static std::vector<double> numbersOf(const std::string& line, std::size_t count) {
        std::vector<double> values;
        const char* rest = line.c_str();
        for (std::size_t k = 0; k < count; ++k) {
            char* end = nullptr;
            values.push_back(std::strtod(rest, &end));
            if (end == rest) {
                throw std::runtime_error("the twin misses a number in: " + line);
            }
            rest = end;
        }
        return values;
    }

private:
    std::ifstream stream;
};

ReaxTwinType readType(Lines& lines) {
    const std::string first = lines.next();
    const std::size_t begin = first.find_first_not_of(" \t");
    const std::size_t end = first.find_first_of(" \t", begin);
    const std::vector<double> a = Lines::numbersOf(first.substr(end), 8);
    const std::vector<double> b = lines.numbers(8);
    const std::vector<double> c = lines.numbers(8);
    const std::vector<double> d = lines.numbers(8);
    ReaxTwinType type;
    type.atomicNumber = atomicNumberOf(first.substr(begin, end - begin));
    type.rS = a[0];
    type.valency = a[1];
    type.mass = a[2];
    type.rVdw = 2.0 * a[3];
    type.depth = a[4];
    type.rPi = a[6];
    type.valencyE = a[7];
    type.alpha = b[0];
    type.gammaW = b[1];
    type.valencyBoc = b[2];
    type.pOvun5 = b[3];
    type.rPiPi = c[0];
    type.pLp2 = c[1];
    type.bo131 = c[3];
    type.bo132 = c[4];
    type.bo133 = c[5];
    type.pOvun2 = d[0];
    type.valencyVal = d[3];
    type.rCore = d[5];
    type.eCore = d[6];
    type.aCore = d[7];
    if (type.mass < 21.0) {
        type.valencyVal = type.valencyBoc;
    }
    type.nlpOpt = 0.5 * (type.valencyE - type.valency);
    return type;
}

void readBond(Lines& lines, ReaxTwinField& field) {
    const std::vector<double> a = lines.numbers(10);
    const std::vector<double> b = lines.numbers(8);
    const int i = static_cast<int>(a[0]) - 1;
    const int j = static_cast<int>(a[1]) - 1;
    ReaxTwinPair& pair = field.pair(i, j);
    pair.hasBondEntry = true;
    pair.deSigma = a[2];
    pair.dePi = a[3];
    pair.dePiPi = a[4];
    pair.pBe1 = a[5];
    pair.pBo5 = a[6];
    pair.v13cor = a[7];
    pair.pBo6 = a[8];
    pair.pOvun1 = a[9];
    pair.pBe2 = b[0];
    pair.pBo3 = b[1];
    pair.pBo4 = b[2];
    pair.pBo1 = b[4];
    pair.pBo2 = b[5];
    pair.ovc = b[6];
    field.pair(j, i) = pair;
}

void readOffDiagonal(Lines& lines, ReaxTwinField& field) {
    const std::vector<double> a = lines.numbers(8);
    const int i = static_cast<int>(a[0]) - 1;
    const int j = static_cast<int>(a[1]) - 1;
    ReaxTwinPair& pair = field.pair(i, j);
    pair.depth = a[2];
    pair.rVdw = 2.0 * a[3];
    pair.alpha = a[4];
    pair.rS = a[5];
    pair.rPi = a[6];
    pair.rPiPi = a[7];
    field.pair(j, i) = pair;
}

void fill(double& entry, double mean) {
    if (entry < 1.0e-16) {
        entry = mean;
    }
}

void completePair(ReaxTwinPair& pair, const ReaxTwinType& a, const ReaxTwinType& b) {
    fill(pair.rS, 0.5 * (a.rS + b.rS));
    fill(pair.rPi, 0.5 * (a.rPi + b.rPi));
    fill(pair.rPiPi, 0.5 * (a.rPiPi + b.rPiPi));
    fill(pair.pBoc3, std::sqrt(a.bo132 * b.bo132));
    fill(pair.pBoc4, std::sqrt(a.bo131 * b.bo131));
    fill(pair.pBoc5, std::sqrt(a.bo133 * b.bo133));
    fill(pair.depth, std::sqrt(a.depth * b.depth));
    fill(pair.alpha, std::sqrt(a.alpha * b.alpha));
    fill(pair.gammaW, std::sqrt(a.gammaW * b.gammaW));
    fill(pair.rVdw, std::sqrt(a.rVdw * b.rVdw));
    fill(pair.rCore, std::sqrt(a.rCore * b.rCore));
    fill(pair.eCore, std::sqrt(a.eCore * b.eCore));
    fill(pair.aCore, std::sqrt(a.aCore * b.aCore));
}

} // namespace

int ReaxTwinField::typeOf(int atomicNumber) const {
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (types[k].atomicNumber == atomicNumber) {
            return static_cast<int>(k);
        }
    }
    return -1;
}

const ReaxTwinPair& ReaxTwinField::pair(int i, int j) const {
    return pairs.at(static_cast<std::size_t>(i) * types.size() + static_cast<std::size_t>(j));
}

ReaxTwinPair& ReaxTwinField::pair(int i, int j) {
    return pairs.at(static_cast<std::size_t>(i) * types.size() + static_cast<std::size_t>(j));
}

ReaxTwinField readReaxTwinField(const std::string& fileName) {
    Lines lines(fileName);
    ReaxTwinField field;
    lines.next();
    const int numGeneral = lines.count();
    field.general.assign(1, 0.0);
    for (int k = 0; k < numGeneral; ++k) {
        field.general.push_back(lines.numbers(1)[0]);
    }
    field.general.resize(40, 0.0);
    const int numTypes = lines.count();
    for (int k = 0; k < 3; ++k) {
        lines.next();
    }
    for (int k = 0; k < numTypes; ++k) {
        field.types.push_back(readType(lines));
    }
    field.pairs.resize(field.types.size() * field.types.size());
    const int numBonds = lines.count();
    lines.next();
    for (int k = 0; k < numBonds; ++k) {
        readBond(lines, field);
    }
    const int numOffDiagonals = lines.count();
    for (int k = 0; k < numOffDiagonals; ++k) {
        readOffDiagonal(lines, field);
    }
    for (int i = 0; i < numTypes; ++i) {
        for (int j = 0; j < numTypes; ++j) {
            completePair(field.pair(i, j), field.types[static_cast<std::size_t>(i)],
                         field.types[static_cast<std::size_t>(j)]);
        }
    }
    field.withShielding = field.types[0].gammaW > 0.5;
    field.withInnerWall = field.types[0].rCore > 0.01 && field.types[0].aCore > 0.01;
    return field;
}

} // namespace melta::test
