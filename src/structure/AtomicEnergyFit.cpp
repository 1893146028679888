#include "structure/AtomicEnergyFit.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cblas.h>
#include <cmath>
#include <cstddef>
#include <limits>

extern "C" void dsyev_(const char* job, const char* triangle, const int* size, double* matrix,
                       const int* rowLength, double* eigenvalues, double* work, const int* workLength,
                       int* result);

namespace melta {
namespace {

// The product of a matrix with its own transposed, on the side of its columns: a^T b [n][n], a and b
// [rows][n].
std::vector<double> transposedProduct(std::span<const double> a, std::span<const double> b, int rows, int n) {
    std::vector<double> product(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    cblas_dgemm(CblasRowMajor, CblasTrans, CblasNoTrans, n, n, rows, 1.0, a.data(), n, b.data(), n, 0.0,
                product.data(), n);
    return product;
}

// Pseudo-inverse [n][n] of a symmetric matrix [n][n] without negative eigenvalues.
std::vector<double> pseudoInverse(std::vector<double> matrix, int n) {
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> eigenvalues(size);
    std::vector<double> work(3 * size);
    const int workLength = 3 * n;
    int result = 0;
    dsyev_("V", "U", &n, matrix.data(), &n, eigenvalues.data(), work.data(), &workLength, &result);
    const double largest = *std::max_element(eigenvalues.begin(), eigenvalues.end());
    // Numbers that are none pass through without a result code.
    if (result != 0 || !std::isfinite(largest)) {
        stopWithMessage("error in LAPACK(dsyev).");
    }
    // Row i of `matrix` is now eigenvector i. Rounding leaves a multiple of the largest eigenvalue where
    // there should be zero, so that a fixed limit alone would take it for a direction in large sets.
    const double limit =
        std::max(1.0e-8, static_cast<double>(n) * std::numeric_limits<double>::epsilon() * largest);
    std::vector<double> divided(matrix);
    for (std::size_t i = 0; i < size; ++i) {
        const bool isZero = !(eigenvalues[i] > limit);
        for (double& component : std::span(divided).subspan(i * size, size)) {
            component = isZero ? 0.0 : component / eigenvalues[i];
        }
    }
    return transposedProduct(divided, matrix, n, n);
}

// matrix [n][n] times vector [n].
std::vector<double> timesVector(std::span<const double> matrix, std::span<const double> vector) {
    const std::size_t n = vector.size();
    std::vector<double> product(n, 0.0);
    for (std::size_t row = 0; row < n; ++row) {
        for (std::size_t column = 0; column < n; ++column) {
            product[row] += matrix[row * n + column] * vector[column];
        }
    }
    return product;
}

// Sum of the rows of counts [values][n], each times its value.
std::vector<double> weightedSum(std::span<const double> counts, std::span<const double> values,
                                std::size_t n) {
    std::vector<double> sum(n, 0.0);
    for (std::size_t g = 0; g < values.size(); ++g) {
        for (std::size_t e = 0; e < n; ++e) {
            sum[e] += values[g] * counts[g * n + e];
        }
    }
    return sum;
}

} // namespace

AtomicEnergyFit fitCompositions(std::span<const double> counts, std::span<const double> totals,
                                int numElems) {
    AtomicEnergyFit fit;
    if (numElems < 1 || totals.empty()) {
        return fit;
    }
    const auto n = static_cast<std::size_t>(numElems);
    const auto inverse =
        pseudoInverse(transposedProduct(counts, counts, static_cast<int>(totals.size()), numElems), numElems);
    fit.energies = timesVector(inverse, weightedSum(counts, totals, n));
    std::vector<double> squares(totals.begin(), totals.end());
    for (std::size_t g = 0; g < squares.size(); ++g) {
        for (std::size_t e = 0; e < n; ++e) {
            squares[g] -= counts[g * n + e] * fit.energies[e];
        }
        squares[g] *= squares[g];
    }
    fit.deviations = timesVector(inverse, weightedSum(counts, squares, n));
    for (double& deviation : fit.deviations) {
        deviation = std::sqrt(std::max(deviation, 0.0));
    }
    return fit;
}

} // namespace melta
