#include "structure/FarEnergies.hpp"

#include "structure/AtomicEnergyFit.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace melta {
namespace {

// All in eV for an atom. No atom holds as much as the first; cohesive energies end below 10.
constexpr double absurdEnergy = 1.0e7;
constexpr double smallestFarness = 20.0;
constexpr double farnessInDeviations = 50.0;

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

// Compositions and energies, both for one atom.
class Rows {
public:
    Rows(std::span<const double> counts, std::span<const double> totals, int numElems)
        : n(static_cast<std::size_t>(numElems)), shares(counts.begin(), counts.end()),
          energies(totals.begin(), totals.end()) {
        for (std::size_t g = 0; g < energies.size(); ++g) {
            const auto row = std::span(shares).subspan(g * n, n);
            double numAtoms = 0.0;
            for (const double count : row) {
                numAtoms += count;
            }
            for (double& share : row) {
                share /= numAtoms;
            }
            energies[g] /= numAtoms;
        }
    }

    [[nodiscard]] double energyOf(int index) const { return energies[static_cast<std::size_t>(index)]; }

    // What energies of the elements, [n], make of a row.
    [[nodiscard]] double sumOf(int index, std::span<const double> elements) const {
        double sum = 0.0;
        for (std::size_t e = 0; e < n; ++e) {
            sum += shares[static_cast<std::size_t>(index) * n + e] * elements[e];
        }
        return sum;
    }

    // Energies of the elements, [n], fitted to `values` of the chosen rows.
    [[nodiscard]] std::vector<double> fit(std::span<const int> chosen, std::span<const double> values) const {
        std::vector<double> compositions;
        for (const int index : chosen) {
            const auto row = std::span(shares).subspan(static_cast<std::size_t>(index) * n, n);
            compositions.insert(compositions.end(), row.begin(), row.end());
        }
        return fitCompositions(compositions, values, static_cast<int>(n)).energies;
    }

    // What the fit to the energies of the chosen rows leaves, for all rows.
    [[nodiscard]] std::vector<double> residualsOf(std::span<const int> chosen) const {
        std::vector<double> values;
        for (const int index : chosen) {
            values.push_back(energyOf(index));
        }
        const std::vector<double> elements = fit(chosen, values);
        std::vector<double> residuals(energies);
        for (std::size_t g = 0; g < residuals.size(); ++g) {
            residuals[g] -= sumOf(static_cast<int>(g), elements);
        }
        return residuals;
    }

    // Whether the compositions of the chosen rows determine the energy of another one: then any energies of
    // the elements come back from a fit, as far as that row can see. These stand for any.
    [[nodiscard]] std::vector<bool> areCovered(std::span<const int> chosen) const {
        std::vector<double> elements(n);
        for (std::size_t e = 0; e < n; ++e) {
            elements[e] = 1.0 + std::sqrt(static_cast<double>(e) + 2.0);
        }
        std::vector<double> values;
        for (const int index : chosen) {
            values.push_back(sumOf(index, elements));
        }
        const std::vector<double> fitted = fit(chosen, values);
        std::vector<bool> covered;
        for (std::size_t g = 0; g < energies.size(); ++g) {
            const auto index = static_cast<int>(g);
            covered.push_back(std::abs(sumOf(index, elements) - sumOf(index, fitted)) < 1.0e-6);
        }
        return covered;
    }

private:
    std::size_t n;
    std::vector<double> shares; // [numGeoms][n]
    std::vector<double> energies;
};

// Leaves a majority of rows that agree with each other, or says that there is none. What lies farthest off
// goes first, since it bends the fit to the others.
bool reduceToMajority(const Rows& rows, std::vector<int>& chosen) {
    const std::size_t majority = chosen.size() / 2 + 1;
    while (chosen.size() >= majority) {
        const std::vector<double> residuals = rows.residualsOf(chosen);
        const auto farnessOf = [&](int index) {
            return std::abs(residuals[static_cast<std::size_t>(index)]);
        };
        const double farthest = farnessOf(*std::ranges::max_element(chosen, {}, farnessOf));
        if (farthest <= smallestFarness) {
            return true;
        }
        if (std::erase_if(chosen, [&](int index) { return farnessOf(index) >= 0.75 * farthest; }) == 0) {
            return false; // no number
        }
    }
    return false;
}

// Adds those of `candidates` that are far from the majority `chosen`.
void judge(const Rows& rows, std::span<const int> candidates, std::span<const int> chosen,
           std::vector<int>& far) {
    const std::vector<double> residuals = rows.residualsOf(chosen);
    std::vector<double> farness;
    for (const int index : chosen) {
        farness.push_back(std::abs(residuals[static_cast<std::size_t>(index)]));
    }
    const double limit = std::max(smallestFarness, farnessInDeviations * medianOf(std::move(farness)));
    const std::vector<bool> covered = rows.areCovered(chosen);
    for (const int index : candidates) {
        const auto g = static_cast<std::size_t>(index);
        if (covered[g] && std::abs(residuals[g]) > limit) {
            far.push_back(index);
        }
    }
}

} // namespace

std::vector<int> findFarEnergies(std::span<const double> counts, std::span<const double> totals,
                                 int numElems) {
    const Rows rows(counts, totals, numElems);
    std::vector<int> far;
    std::vector<int> candidates;
    for (int g = 0; g < static_cast<int>(totals.size()); ++g) {
        (std::abs(rows.energyOf(g)) <= absurdEnergy ? candidates : far).push_back(g);
    }
    std::vector<int> chosen = candidates;
    if (candidates.size() >= 3 && reduceToMajority(rows, chosen)) {
        judge(rows, candidates, chosen, far);
    }
    std::ranges::sort(far);
    return far;
}

} // namespace melta
