#include "structure/io/ExtxyzSource.hpp"

#include "structure/ElementSymbols.hpp"
#include "structure/VacuumBox.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

constexpr double vacuum = 12.0; // Angstrom
constexpr std::size_t longestLabel = 8;

double lengthOf(const std::array<double, 3>& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

} // namespace

ExtxyzSource::ExtxyzSource(const std::string& fileName) : reader(fileName, ExtxyzReader::Reference::read) {}

bool ExtxyzSource::next(Structure& structure, int igeom, const LabelNumbering& numberOf) {
    if (!readWithValues(igeom)) {
        return false;
    }
    structure = Structure{};
    structure.lattice =
        addVacuum(frame.lattice.value_or(std::array<double, 9>{}), frame.isPeriodic, frame.positions, vacuum);
    structure.hasAtomEnergy = !frame.energies.empty();
    readEnergy(structure);
    readStress(structure);
    for (std::size_t i = 0; i < frame.numAtoms(); ++i) {
        addAtom(structure, i, numberOf);
    }
    return true;
}

bool ExtxyzSource::readWithValues(int igeom) {
    while (reader.next(frame, igeom)) {
        const bool hasEnergy =
            frame.comment.find("free_energy") != nullptr || frame.comment.find("energy") != nullptr;
        if (hasEnergy && !frame.forces.empty()) {
            return true;
        }
        ++numPassed;
    }
    return false;
}

void ExtxyzSource::readEnergy(Structure& structure) const {
    const std::string* value = frame.comment.find("free_energy");
    if (value == nullptr) {
        value = frame.comment.find("energy");
    }
    const auto numbers = numbersOf(*value);
    if (!numbers || numbers->size() != 1) {
        reader.refuseComment(frame, "incorrect energy");
    }
    structure.energyTotal = numbers->front();
}

void ExtxyzSource::readStress(Structure& structure) const {
    const std::string* const stress = frame.comment.find("stress");
    const std::string* const virial = frame.comment.find("virial");
    if (!frame.isCrystal() || (stress == nullptr && virial == nullptr)) {
        return;
    }
    std::array<double, 6>& target = structure.stress.emplace();
    if (stress != nullptr) {
        std::ranges::copy(tensorOf(*stress, "incorrect stress"), target.begin());
        return;
    }
    const double volume = volumeOf(*frame.lattice);
    std::ranges::transform(tensorOf(*virial, "incorrect virial"), target.begin(),
                           [volume](double component) { return -component / volume; });
}

// Nine numbers are a matrix, of which the symmetric part counts.
std::vector<double> ExtxyzSource::tensorOf(const std::string& value, const char* fault) const {
    const auto numbers = numbersOf(value);
    if (!numbers || (numbers->size() != 6 && numbers->size() != 9)) {
        reader.refuseComment(frame, fault);
    }
    const std::vector<double>& n = *numbers;
    if (n.size() == 6) {
        return n;
    }
    return {n[0], n[4], n[8], (n[5] + n[7]) / 2, (n[2] + n[6]) / 2, (n[1] + n[3]) / 2};
}

void ExtxyzSource::addAtom(Structure& structure, std::size_t atom, const LabelNumbering& numberOf) const {
    const std::string& label = frame.labels[atom];
    if (label.size() > longestLabel || findAtomicNumber(label) < 1) {
        reader.refuseAtom(frame, atom, "unknown element");
    }
    const auto rowOf = [atom](const std::vector<double>& rows) {
        return std::array<double, 3>{rows[3 * atom], rows[3 * atom + 1], rows[3 * atom + 2]};
    };
    const std::array<double, 3> force = rowOf(frame.forces);
    structure.largestForce = std::max(structure.largestForce, static_cast<float>(lengthOf(force)));
    structure.atoms.push_back({numberOf(label), rowOf(frame.positions), force,
                               frame.energies.empty() ? 0.0 : frame.energies[atom],
                               frame.charges.empty() ? 0.0 : frame.charges[atom]});
}

} // namespace melta
