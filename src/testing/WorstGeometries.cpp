#include "testing/WorstGeometries.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "network/LossTerm.hpp"
#include "structure/Geometry.hpp"
#include "testing/GeometryPredictor.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <numeric>
#include <utility>

namespace melta {
namespace {

// Root mean square of the errors of one geometry.
double errorOf(const LossQuantity& quantity, const Geometry& geometry, std::span<const float> values) {
    double sum = 0.0;
    addSquaredErrors(quantity, geometry, values, sum);
    return std::sqrt(sum / static_cast<double>(values.size()));
}

double errorOfEnergy(const Geometry& geometry, std::span<const float> energies) {
    double sum = -geometry.energyTotal;
    for (const float energy : energies) {
        sum += static_cast<double>(energy);
    }
    return sum / geometry.numAtoms;
}

double largestErrorOf(const Geometry& geometry, std::span<const float> forces) {
    double largest = 0.0;
    for (std::size_t i = 0; i < forces.size(); i += 3) {
        double square = 0.0;
        for (std::size_t c = i; c < i + 3; ++c) {
            const double error = static_cast<double>(forces[c]) - static_cast<double>(geometry.forces[c]);
            square += error * error;
        }
        largest = std::max(largest, std::sqrt(square));
    }
    return largest;
}

// Raises each score to the size of an error measured by the root mean square of all of them. Nothing is worse
// than an error that is not finite.
void raise(std::vector<double>& scores, const std::vector<double>& errors) {
    double squares = 0.0;
    for (const double error : errors) {
        squares += std::isfinite(error) ? error * error : 0.0;
    }
    const double unit = std::sqrt(squares / static_cast<double>(errors.size()));
    for (std::size_t i = 0; i < scores.size(); ++i) {
        const double score = errors[i] == 0.0 ? 0.0 : std::abs(errors[i]) / unit;
        scores[i] =
            std::isfinite(score) ? std::max(scores[i], score) : std::numeric_limits<double>::infinity();
    }
}

} // namespace

void WorstGeometries::add(const Geometry& geometry, const Prediction& prediction) {
    Row row{static_cast<int>(rows.size()) + 1,
            geometry.numAtoms,
            compositionOf(geometry),
            errorOfEnergy(geometry, prediction.energies),
            errorOf(atomicForce(), geometry, prediction.forces),
            largestErrorOf(geometry, prediction.forces),
            std::nullopt,
            static_cast<double>(prediction.numNovel) / geometry.numAtoms,
            prediction.excess};
    if (geometry.stressVolume) {
        row.stress = errorOf(cellStress(), geometry, prediction.stress);
    }
    rows.push_back(std::move(row));
}

std::string WorstGeometries::compositionOf(const Geometry& geometry) const {
    std::string text;
    for (std::size_t e = 0; e < names.size(); ++e) {
        const auto count = std::ranges::count(geometry.elements, static_cast<std::int32_t>(e));
        if (count > 0) {
            text += names[e] + std::to_string(count);
        }
    }
    return text;
}

std::vector<double> WorstGeometries::makeScores() const {
    std::vector<double> energies;
    std::vector<double> forces;
    std::vector<double> stresses;
    for (const Row& row : rows) {
        energies.push_back(row.energy);
        forces.push_back(row.force);
        stresses.push_back(row.stress.value_or(0.0));
    }
    std::vector<double> scores(rows.size(), 0.0);
    raise(scores, energies);
    raise(scores, forces);
    raise(scores, stresses);
    // Rounded, so that the last digits of equals do not shuffle them.
    for (double& score : scores) {
        score = std::round(100.0 * score);
    }
    return scores;
}

void WorstGeometries::write(const std::string& fileName) const {
    const std::vector<double> scores = makeScores();
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::ranges::greater(), [&](std::size_t row) { return scores[row]; });
    const bool withStress = std::ranges::any_of(rows, [](const Row& row) { return row.stress.has_value(); });
    FilePointer file = openForWriting(fileName);
    std::fprintf(file.get(),
                 "# all geometries, largest errors first: number, atoms, composition, dE (meV/atom), "
                 "RMSE(F), max|dF| (eV/Angstrom)%s, share of atoms outside, excess\n",
                 withStress ? ", RMSE(S) (eV/atom)" : "");
    for (const std::size_t index : order) {
        print(file.get(), rows[index], withStress);
    }
    closeWritten(std::move(file), fileName);
}

void WorstGeometries::print(std::FILE* file, const Row& row, bool withStress) {
    std::fprintf(file, "%d %d %s %.5e %.5e %.5e", row.number, row.numAtoms, row.composition.c_str(),
                 1000.0 * row.energy, row.force, row.largestForce);
    if (withStress) {
        std::fprintf(file, " %s", row.stress ? formatText("%.5e", *row.stress).c_str() : "-");
    }
    std::fprintf(file, " %.4f %.4f\n", row.outside, row.excess);
}

} // namespace melta
