#include "ReaxSample.hpp"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iomanip>
#include <random>
#include <sstream>
#include <stdexcept>

namespace melta::test {
namespace {

// A number that stands in the columns that are not kept: it would spoil any result that it entered.
constexpr double unused = 777.25;

using Columns = std::initializer_list<double>;

std::ostream& operator<<(std::ostream& stream, Columns values) {
    stream << std::fixed << std::setprecision(6);
    for (const double value : values) {
        stream << ' ' << std::setw(12) << value;
    }
    return stream << '\n';
}

std::ostream& operator<<(std::ostream& stream, const ReaxSampleType& t) {
    return stream << ' ' << t.name
                  << Columns{t.rSigma, t.valency, t.mass, t.rVdw, t.depth, unused, t.rPi, t.valencyE}
                  << Columns{t.alpha, t.gammaW, t.valencyBoc, t.pOvun5, unused, unused, unused, unused}
                  << Columns{t.rPiPi, t.pLp2, unused, t.bo131, t.bo132, t.bo133, unused, unused}
                  << Columns{t.pOvun2, unused, unused, t.valencyVal, unused, t.rCore, t.eCore, t.aCore};
}

std::ostream& operator<<(std::ostream& stream, const ReaxSampleBond& b) {
    return stream << "  " << b.first << "  " << b.second
                  << Columns{b.deSigma, b.dePi, b.dePiPi, b.pBe1, b.pBo5, b.v13cor, b.pBo6, b.pOvun1}
                  << "      " << Columns{b.pBe2, b.pBo3, b.pBo4, unused, b.pBo1, b.pBo2, b.ovc, unused};
}

std::ostream& operator<<(std::ostream& stream, const ReaxSampleOffDiagonal& o) {
    return stream << "  " << o.first << "  " << o.second
                  << Columns{o.depth, o.rVdw, o.alpha, o.rSigma, o.rPi, o.rPiPi};
}

void setGeneral(ReaxSample& sample) {
    sample.general.fill(unused);
    sample.general[1] = 48.0;
    sample.general[2] = 9.25;
    sample.general[7] = 1.15;
    sample.general[9] = 10.5;
    sample.general[10] = 6.75;
    sample.general[12] = 0.0;
    sample.general[13] = 9.0;
    sample.general[29] = 1.62;
    sample.general[30] = 0.12;
    sample.general[32] = 0.64;
    sample.general[33] = 45.0;
}

float squaredDistance(const ReaxConfiguration& configuration, const std::array<float, 3>& a, std::size_t j,
                      const std::array<int, 3>& shift) {
    float square = 0.0f;
    for (std::size_t c = 0; c < 3; ++c) {
        float d = configuration.positions[3 * j + c] - a[c];
        for (std::size_t k = 0; k < 3; ++k) {
            d += static_cast<float>(shift[k]) * configuration.lattice[3 * k + c];
        }
        square += d * d;
    }
    return square;
}

// Whether an atom at `a` would be nearer than `closest` to a placed atom or one of its images.
bool isCrowded(const ReaxConfiguration& configuration, const std::array<float, 3>& a, float closest) {
    for (std::size_t j = 0; j < configuration.atomicNumbers.size(); ++j) {
        for (int image = 0; image < 125; ++image) {
            const std::array<int, 3> shift{image / 25 - 2, image / 5 % 5 - 2, image % 5 - 2};
            if (squaredDistance(configuration, a, j, shift) < closest * closest) {
                return true;
            }
        }
    }
    return false;
}

std::array<float, 3> cellPoint(const std::array<float, 9>& lattice, const std::array<float, 3>& fractions) {
    std::array<float, 3> point{};
    for (std::size_t c = 0; c < 3; ++c) {
        point[c] = fractions[0] * lattice[c] + fractions[1] * lattice[3 + c] + fractions[2] * lattice[6 + c];
    }
    return point;
}

} // namespace

ReaxSample ReaxSample::mixed() {
    ReaxSample sample;
    setGeneral(sample);
    sample.types = {
        {"H",   0.86, 1.0,  1.008, 1.48, 0.055, -0.1, 1.0,  // radii, valencies, well
         9.1,   4.8,  1.0,  0.0,                            // shape, under-coordination
         -0.1,  0.75, 3.3,  2.6,   1.15,                    // lone pair, 1-3 correction
         -16.5, 1.08, 1.25, 0.09,  11.5},                   // over-coordination, wall
        {"C",   1.41, 4.0,  12.011, 1.92, 0.115, 1.16, 4.0, //
         10.3,  2.3,  4.0,  33.5,                           //
         1.19,  2.5,  8.2,  25.5,   8.75,                   //
         -3.15, 4.2,  1.44, 0.19,   10.25},                 //
        {"O",   1.27, 2.0,  15.999, 2.22, 0.095, 1.07, 6.0, //
         9.65,  6.1,  4.0,  35.25,                          //
         0.93,  1.35, 3.6,  1.2,    0.35,                   //
         -3.45, 4.4,  1.33, 0.14,   10.75},                 //
        {"Fe", 1.92, 3.0,  55.845, 2.06, 0.21, 1.41, 8.0,   //
         10.8, 2.7,  4.0,  1.85,                            //
         -1.0, 1.65, 12.5, 4.5,    0.85,                    //
         -4.6, 6.0,  1.72, 0.27,   9.75},                   //
    };
    sample.bonds = {
        {1, 1, 151.5, 0.0, 0.0, -0.42, -0.3, 0.0, 36.0, 0.71, 6.2, -0.5, 20.0, -0.082, 5.85, 1.0},
        {1, 2, 168.25, 0.0, 0.0, -0.51, 0.0, 1.0, 6.0, 0.58, 9.75, 1.0, 0.0, -0.061, 6.9, 0.0},
        {1, 3, 158.5, 0.0, 0.0, -0.74, 0.0, 1.0, 6.0, 0.65, 1.35, 1.0, 0.0, -0.088, 6.05, 0.0},
        {2, 2, 156.75, 97.5, 81.25, -0.66, -0.41, 1.0, 33.5, 0.54, 0.48, -0.11, 9.6, -0.083, 6.35, 1.0},
        {2, 3, 163.5, 88.0, 71.5, -0.48, -0.36, 1.0, 19.5, 0.68, 0.77, -0.31, 7.15, -0.16, 5.65, 0.0},
        {3, 3, 139.25, 141.0, 52.5, 0.28, -0.13, 1.0, 28.5, 0.92, 0.96, -0.17, 7.75, -0.11, 6.4, 1.0},
        {1, 4, 91.75, 0.0, 0.0, 0.09, 0.0, 0.0, 6.0, 0.41, 0.31, 1.0, 0.0, -0.072, 5.35, 0.0},
        {3, 4, 72.5, 34.5, 0.0, 0.33, -0.3, 1.0, 36.0, 0.83, 0.92, -0.36, 8.2, -0.075, 5.9, 1.0},
        {4, 4, 43.25, 21.0, 0.0, 0.36, -0.2, 0.0, 16.0, 0.33, 0.9, -0.27, 12.5, -0.065, 5.55, 1.0},
    };
    // Zeros and numbers below it leave the entry to the means.
    sample.offDiagonals = {
        {1, 2, 0.118, 1.39, 9.85, 1.13, -1.0, -1.0},
        {1, 3, 0.027, 1.31, 10.7, 0.95, -1.0, -1.0},
        {2, 3, 0.0, 1.82, 0.0, 1.31, 1.12, 1.09},
        {3, 4, 0.082, 0.0, 11.1, 0.0, 1.17, 0.0},
    };
    return sample;
}

ReaxSample ReaxSample::plainHydrogen() {
    ReaxSample sample;
    setGeneral(sample);
    sample.general[9] = 3.0;
    sample.general[10] = 1.0;
    sample.general[13] = 8.0;
    sample.general[30] = 0.1;
    sample.types = {{"H", 0.8,  1.0, 1.008, 1.5, 0.04, -1.0, 1.0, 8.0, 0.0, 1.0,
                     5.0, -1.0, 0.0, 0.0,   0.0, 0.0,  -2.0, 1.0, 0.0, 0.0, 0.0}};
    sample.bonds = {{1, 1, 100.0, 0.0, 0.0, -0.5, 0.0, 0.0, 0.0, 0.25, 1.0, 0.0, 0.0, -0.1, 6.0, 0.0}};
    return sample;
}

ReaxSampleBond& ReaxSample::bond(int first, int second) {
    const auto found = std::find_if(bonds.begin(), bonds.end(), [&](const ReaxSampleBond& entry) {
        return entry.first == first && entry.second == second;
    });
    if (found == bonds.end()) {
        throw std::runtime_error("the sample has no such bond");
    }
    return *found;
}

std::string ReaxSample::text() const {
    std::ostringstream stream;
    stream << "Force field made up for tests\n " << general.size() - 1 << " ! number of general parameters\n";
    for (std::size_t k = 1; k < general.size(); ++k) {
        stream << Columns{general[k]};
    }
    stream << ' ' << types.size() << " ! number of atom types\n second\n third\n fourth\n";
    for (const ReaxSampleType& type : types) {
        stream << type;
    }
    stream << ' ' << bonds.size() << " ! number of bonds\n second\n";
    for (const ReaxSampleBond& entry : bonds) {
        stream << entry;
    }
    stream << ' ' << offDiagonals.size() << " ! number of off-diagonal terms\n";
    for (const ReaxSampleOffDiagonal& entry : offDiagonals) {
        stream << entry;
    }
    stream << " 1 ! number of angles\n  1  1  1 0.0 27.9 5.8 0.0 0.0 0.0 1.04\n";
    return stream.str();
}

void ReaxConfiguration::add(int atomicNumber, float x, float y, float z) {
    atomicNumbers.push_back(atomicNumber);
    positions.insert(positions.end(), {x, y, z});
}

std::unique_ptr<Geometry> ReaxConfiguration::makeGeometry() const {
    auto geometry = std::make_unique<Geometry>(lattice, static_cast<int>(atomicNumbers.size()), true);
    for (std::size_t i = 0; i < atomicNumbers.size(); ++i) {
        geometry->setAtom(static_cast<int>(i), 0, atomicNumbers[i], positions[3 * i], positions[3 * i + 1],
                          positions[3 * i + 2], 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    geometry->haveSetAtoms(3.0f, false);
    return geometry;
}

ReaxConfiguration makeEmptyBox(float edge) {
    ReaxConfiguration box;
    box.lattice = {edge, 0.0f, 0.0f, 0.0f, edge, 0.0f, 0.0f, 0.0f, edge};
    return box;
}

ReaxConfiguration makeDimer(int first, int second, float r) {
    ReaxConfiguration dimer = makeEmptyBox(30.0f);
    dimer.add(first, 10.0f, 11.0f, 12.0f);
    // The direction (2, 3, 6) / 7 has length 1.
    dimer.add(second, 10.0f + r * 2.0f / 7.0f, 11.0f + r * 3.0f / 7.0f, 12.0f + r * 6.0f / 7.0f);
    return dimer;
}

ReaxConfiguration makeWater() {
    ReaxConfiguration water = makeEmptyBox(30.0f);
    water.add(8, 10.0f, 10.0f, 10.0f);
    water.add(1, 10.71f, 10.58f, 10.22f);
    water.add(1, 9.31f, 10.65f, 9.84f);
    return water;
}

ReaxConfiguration makeMethane() {
    ReaxConfiguration methane = makeEmptyBox(30.0f);
    methane.add(6, 10.0f, 10.0f, 10.0f);
    methane.add(1, 10.63f, 10.62f, 10.64f);
    methane.add(1, 9.36f, 9.37f, 10.61f);
    methane.add(1, 9.38f, 10.65f, 9.36f);
    methane.add(1, 10.66f, 9.38f, 9.35f);
    return methane;
}

ReaxConfiguration makeCarbonDioxide() {
    ReaxConfiguration molecule = makeEmptyBox(30.0f);
    molecule.add(6, 10.0f, 10.0f, 10.0f);
    molecule.add(8, 10.67f, 10.71f, 10.65f);
    molecule.add(8, 9.31f, 9.35f, 9.36f);
    return molecule;
}

ReaxConfiguration makeEthene() {
    ReaxConfiguration ethene = makeEmptyBox(30.0f);
    ethene.add(6, 10.0f, 10.0f, 10.0f);
    ethene.add(6, 11.33f, 10.04f, 9.97f);
    ethene.add(1, 9.44f, 10.92f, 10.05f);
    ethene.add(1, 9.45f, 9.07f, 9.94f);
    ethene.add(1, 11.91f, 10.95f, 10.02f);
    ethene.add(1, 11.87f, 9.1f, 9.93f);
    return ethene;
}

ReaxConfiguration makeEthyne() {
    ReaxConfiguration ethyne = makeEmptyBox(30.0f);
    ethyne.add(6, 10.0f, 10.0f, 10.0f);
    ethyne.add(6, 11.19f, 10.05f, 10.03f);
    ethyne.add(1, 8.95f, 9.93f, 10.02f);
    ethyne.add(1, 12.26f, 10.08f, 9.98f);
    return ethyne;
}

ReaxConfiguration makeDistortedCrystal(const std::array<int, 8>& atomicNumbers, unsigned seed) {
    ReaxConfiguration crystal;
    crystal.lattice = {4.1f, 0.1f, -0.2f, 0.5f, 4.3f, 0.3f, -0.4f, 0.6f, 3.9f};
    std::mt19937 generator(seed);
    for (std::size_t k = 0; k < atomicNumbers.size(); ++k) {
        std::array<float, 3> fractions{};
        for (std::size_t c = 0; c < 3; ++c) {
            const float drawn = static_cast<float>(generator() % 1000u) / 1000.0f;
            fractions[c] = 0.25f + 0.5f * static_cast<float>(k >> c & 1u) + 0.1f * (drawn - 0.5f);
        }
        const std::array<float, 3> point = cellPoint(crystal.lattice, fractions);
        crystal.add(atomicNumbers[k], point[0], point[1], point[2]);
    }
    return crystal;
}

ReaxConfiguration makeRandomConfiguration(const std::vector<int>& choice, int numAtoms, float volumePerAtom,
                                          float closest, unsigned seed) {
    const float edge = std::cbrt(volumePerAtom * static_cast<float>(numAtoms));
    ReaxConfiguration configuration;
    configuration.lattice = {edge,         0.1f * edge,  -0.05f * edge, 0.07f * edge, edge,
                             0.12f * edge, -0.1f * edge, 0.15f * edge,  edge};
    std::mt19937 generator(seed);
    const auto draw = [&] { return 0.001f + 0.998f * static_cast<float>(generator() % 65536u) / 65536.0f; };
    for (int trial = 0; trial < 100000; ++trial) {
        if (configuration.atomicNumbers.size() == static_cast<std::size_t>(numAtoms)) {
            return configuration;
        }
        const std::array<float, 3> point = cellPoint(configuration.lattice, {draw(), draw(), draw()});
        if (!isCrowded(configuration, point, closest)) {
            configuration.add(choice[generator() % choice.size()], point[0], point[1], point[2]);
        }
    }
    throw std::runtime_error("no room for the atoms of the random configuration");
}

} // namespace melta::test
