#include "structure/Geometry.hpp"

#include "base/Reporting.hpp"
#include "structure/NeighborSearch.hpp"
#include "structure/Units.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta {
namespace {

using Vector = std::array<float, 3>;

Vector rowOf(const std::array<float, 9>& matrix, std::size_t row) {
    return {matrix[3 * row], matrix[3 * row + 1], matrix[3 * row + 2]};
}

Vector crossProduct(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The inverse of a lattice, or the reason why there is none to use.
struct Inversion {
    std::array<float, 9> inverse{};
    const char* fault = nullptr;
};

Inversion invert(const std::array<float, 9>& lattice) {
    const Vector a = rowOf(lattice, 0);
    const Vector b = rowOf(lattice, 1);
    const Vector c = rowOf(lattice, 2);
    const std::array<Vector, 3> cofactors{crossProduct(b, c), crossProduct(c, a), crossProduct(a, b)};
    const float determinant = a[0] * cofactors[0][0] + a[1] * cofactors[0][1] + a[2] * cofactors[0][2];
    Inversion result;
    if (std::abs(determinant) < 0.1f) {
        result.fault = "volume of lattice is zero.";
        return result;
    }
    bool isFinite = std::isfinite(determinant);
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t row = 0; row < 3; ++row) {
            const float entry = cofactors[k][row] / determinant;
            isFinite = isFinite && std::isfinite(entry);
            result.inverse[3 * row + k] = entry;
        }
    }
    if (!isFinite) {
        result.fault = "inverse of lattice is not finite.";
    }
    return result;
}

// The position inside the cell that an atom at `p` has there, by its fractional coordinates.
Vector wrapPosition(const std::array<float, 9>& lattice, const std::array<float, 9>& invLattice,
                    const Vector& p) {
    Vector fractions{};
    for (std::size_t k = 0; k < 3; ++k) {
        const float fraction = p[0] * invLattice[k] + p[1] * invLattice[3 + k] + p[2] * invLattice[6 + k];
        fractions[k] = fraction - std::floor(fraction);
    }
    Vector wrapped{};
    for (std::size_t c = 0; c < 3; ++c) {
        wrapped[c] =
            fractions[0] * lattice[c] + fractions[1] * lattice[3 + c] + fractions[2] * lattice[6 + c];
    }
    return wrapped;
}

// Energy of a pair (eV), cut off smoothly, and its derivative by the distance (eV/Angstrom).
struct PairTerm {
    float energy;
    float slope;
};

// `charges`: product of the two charges, e^2; `r`, `rcut` in Angstrom.
PairTerm shortCoulombOf(float charges, float r, float rcut) {
    constexpr float pi = std::numbers::pi_v<float>;
    const float bare = charges / r * units::coulomb;
    const float angle = pi * r / rcut;
    const float sine = std::sin(angle);
    const float cosine = std::cos(angle);
    const float cutoff = (cosine + 1.0f) * 0.5f;
    return {bare * cutoff, sine * (-(pi / 2.0f) / rcut) * bare + (-bare / r) * cutoff};
}

} // namespace

Geometry::Geometry(std::span<const float> cell, int count, bool withAtomEnergy)
    : numAtoms(count), hasAtomEnergy(withAtomEnergy) {
    if (cell.size() < lattice.size()) {
        stopWithMessage("lattice is null.");
    }
    if (count < 1) {
        stopWithMessage("number of atoms is not positive.");
    }
    std::copy_n(cell.begin(), lattice.size(), lattice.begin());
    const auto size = static_cast<std::size_t>(count);
    elements.resize(size);
    atomNumbers.resize(size);
    positions.resize(3 * size);
    forces.resize(3 * size);
    energies.resize(size);
    charges.resize(size);
}

void Geometry::setAtom(int index, int element, int atomNumber, float x, float y, float z, float fx, float fy,
                       float fz, double energy, float charge) {
    if (index < 0 || index >= numAtoms) {
        stopWithMessage("index of atom is out of range.");
    }
    const auto i = static_cast<std::size_t>(index);
    elements[i] = element;
    atomNumbers[i] = atomNumber;
    positions[3 * i] = x;
    positions[3 * i + 1] = y;
    positions[3 * i + 2] = z;
    forces[3 * i] = fx;
    forces[3 * i + 1] = fy;
    forces[3 * i + 2] = fz;
    energies[i] = energy;
    charges[i] = charge;
}

void Geometry::haveSetAtoms(float rcut, bool withShortCoulomb) {
    invertLattice();
    wrapAtoms();
    if (rcut > 0.0f) {
        createNeighbors(rcut);
    }
    if (withShortCoulomb) {
        if (!(rcut > 0.0f)) {
            stopWithMessage("cannot calculate short-coulomb, because cutoff is not positive.");
        }
        removeShortCoulomb(rcut);
    }
}

void Geometry::updateAtoms(float rcut) {
    wrapAtoms();
    updateNeighbors(rcut);
}

void Geometry::updateNeighbors(float rcut) {
    deleteNeighbors();
    createNeighbors(rcut);
}

void Geometry::deleteNeighbors() {
    neighbors.clear();
}

void Geometry::createNeighbors(float rcut) {
    neighbors.assign(searchNeighbors(lattice, invLattice, positions, rcut));
}

double Geometry::computeVolume() const {
    std::array<double, 9> cell{};
    std::ranges::copy(lattice, cell.begin());
    return std::abs(cell[0] * (cell[4] * cell[8] - cell[5] * cell[7]) +
                    cell[1] * (cell[5] * cell[6] - cell[3] * cell[8]) +
                    cell[2] * (cell[3] * cell[7] - cell[4] * cell[6]));
}

bool Geometry::hasUsableLattice() const {
    return invert(lattice).fault == nullptr;
}

void Geometry::invertLattice() {
    const Inversion result = invert(lattice);
    if (result.fault != nullptr) {
        stopWithMessage("%s", result.fault);
    }
    invLattice = result.inverse;
}

void Geometry::wrapAtoms() {
#pragma omp parallel for schedule(static)
    for (int i = 0; i < numAtoms; ++i) {
        wrapAtom(i);
    }
}

void Geometry::wrapAtom(int iatom) {
    const std::span<float> position = std::span(positions).subspan(3 * static_cast<std::size_t>(iatom), 3);
    const Vector old{position[0], position[1], position[2]};
    const Vector wrapped = wrapPosition(lattice, invLattice, old);
    const float dx = wrapped[0] - old[0];
    const float dy = wrapped[1] - old[1];
    const float dz = wrapped[2] - old[2];
    // An atom inside the cell keeps its digits, which the way through the fractions would spoil.
    if (dx * dx + dy * dy + dz * dz > 1.0e-6f) {
        std::copy(wrapped.begin(), wrapped.end(), position.begin());
    }
}

void Geometry::removeShortCoulomb(float rcut) {
    std::vector<double> gains(static_cast<std::size_t>(numAtoms), 0.0);
#pragma omp parallel for schedule(static)
    for (int iatom = 0; iatom < numAtoms; ++iatom) {
        const auto i = static_cast<std::size_t>(iatom);
        for (const Neighbor& neighbor : getNeighbors(iatom)) {
            const Vector image = computeNeighborPosition(neighbor);
            const Vector d{positions[3 * i] - image[0], positions[3 * i + 1] - image[1],
                           positions[3 * i + 2] - image[2]};
            const float square = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
            if (!(square < rcut * rcut)) {
                continue;
            }
            const float r = std::sqrt(square);
            const float product = charges[static_cast<std::size_t>(neighbor.atom)] * charges[i];
            const PairTerm term = shortCoulombOf(product, r, rcut);
            // Each pair is met from both ends.
            const double half = static_cast<double>(term.energy) * 0.5;
            energies[i] += half;
            gains[i] += half;
            for (std::size_t c = 0; c < 3; ++c) {
                forces[3 * i + c] -= d[c] * term.slope / r;
            }
        }
    }
    // Summed in the order of the atoms: the total does not depend on the number of threads.
    double sum = 0.0;
    for (const double gain : gains) {
        sum += gain;
    }
    energyTotal += sum;
}

} // namespace melta
