#include "baseline/classical/ClassicalLoss.hpp"

#include "base/ParallelGuard.hpp"
#include "base/ThreadTeam.hpp"
#include "config/Property.hpp"
#include "structure/Geometry.hpp"

#include <cblas.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace melta {
namespace {

// Adds rows^T rows to the upper half of `products` [length][length].
void addUpperProducts(const std::vector<double>& rows, std::size_t length, std::vector<double>& products) {
    const auto n = static_cast<blasint>(length);
    const auto count = static_cast<blasint>(rows.size() / length);
    cblas_dsyrk(CblasRowMajor, CblasUpper, CblasTrans, n, count, 1.0, rows.data(), n, 1.0, products.data(),
                n);
}

void addVector(const std::vector<double>& from, std::vector<double>& to) {
    std::ranges::transform(from, to, to.begin(), std::plus<>());
}

// u^T P u, and twice P u added to the gradient, for values u that lie at `places` of `everything`.
double addSquare(const std::vector<double>& upper, std::span<const std::size_t> places,
                 std::span<const double> everything, std::vector<double>& gradient) {
    const std::size_t length = places.size();
    std::vector<double> values(length);
    std::vector<double> product(length);
    std::ranges::transform(places, values.begin(), [&](std::size_t place) { return everything[place]; });
    for (std::size_t i = 0; i < length; ++i) {
        const double* const row = upper.data() + i * length;
        double sum = row[i] * values[i];
        for (std::size_t j = i + 1; j < length; ++j) {
            sum += row[j] * values[j];
            product[j] += row[j] * values[i];
        }
        product[i] += sum;
    }
    double square = 0.0;
    for (std::size_t i = 0; i < length; ++i) {
        square += values[i] * product[i];
        gradient[places[i]] += 2.0 * product[i];
    }
    return square;
}

// The same for the products of single rows [number][places.size()], which are not known.
double addRowSquares(const std::vector<double>& rows, std::span<const std::size_t> places,
                     std::span<const double> everything, std::vector<double>& gradient) {
    double squares = 0.0;
    for (auto row = rows.begin(); row != rows.end(); row += static_cast<std::ptrdiff_t>(places.size())) {
        double value = 0.0;
        for (std::size_t i = 0; i < places.size(); ++i) {
            value += row[static_cast<std::ptrdiff_t>(i)] * everything[places[i]];
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            gradient[places[i]] += 2.0 * value * row[static_cast<std::ptrdiff_t>(i)];
        }
        squares += value * value;
    }
    return squares;
}

// The places of the force's values are those of the energy's without the elements.
std::vector<std::size_t> forcePlacesOf(const std::vector<std::size_t>& energyPlaces, std::size_t numElems) {
    std::vector<std::size_t> places(energyPlaces.begin(),
                                    energyPlaces.end() - static_cast<std::ptrdiff_t>(numElems + 1));
    places.push_back(energyPlaces.back());
    return places;
}

} // namespace

void ClassicalLoss::Sums::add(const Sums& other) {
    energy += other.energy;
    force += other.force;
    addVector(other.energyGradient, energyGradient);
    addVector(other.forceGradient, forceGradient);
}

ClassicalLoss::ClassicalLoss(std::span<const Geometry* const> ofGeometries, const PairCutoff& ofPairs,
                             std::size_t numElems, const Property* ofRun, std::size_t memoryLimit)
    : gradients(numElems), property(ofRun), geometries(ofGeometries.begin(), ofGeometries.end()),
      cutoff(ofPairs), numElements(numElems), numPairs(numPairsOf(numElems)),
      everything(numPowers * numPairs + numElems + 1, 1.0) {
    const auto addAtoms = [](double sum, const Geometry* geometry) { return sum + geometry->numAtoms; };
    forceWeight = 1.0 / (3.0 * std::accumulate(geometries.begin(), geometries.end(), 0.0, addAtoms));
    addProducts(memoryLimit);
}

void ClassicalLoss::addProducts(std::size_t memoryLimit) {
    ParallelGuard guard;
    const int numThreads = limitBlasCallers(omp_get_max_threads());
#pragma omp parallel num_threads(numThreads)
    {
        ProductsOfElements products;
        std::vector<const Geometry*> others;
        PairDerivatives derivatives;
        std::size_t memoryLeft = memoryLimit / static_cast<std::size_t>(omp_get_num_threads());
#pragma omp for schedule(static)
        for (std::size_t g = 0; g < geometries.size(); ++g) {
            guard.run([&] {
                derivatives.update(*geometries[g], cutoff, numElements);
                scaleEnergyRow(*geometries[g], derivatives);
                if (!addProductsOf(derivatives, products, memoryLeft)) {
                    others.push_back(geometries[g]);
                }
            });
        }
#pragma omp critical(meltaClassicalLoss)
        guard.run([&] { mergeProducts(products, others); });
    }
    guard.rethrow();
}

void ClassicalLoss::mergeProducts(ProductsOfElements& products, std::span<const Geometry* const> others) {
    for (auto& [elements, part] : products) {
        const auto [place, isNew] = productsOf.try_emplace(elements, std::move(part));
        if (!isNew) {
            addVector(part.energy, place->second.energy);
            addVector(part.force, place->second.force);
        }
    }
    singly.insert(singly.end(), others.begin(), others.end());
}

void ClassicalLoss::scaleEnergyRow(const Geometry& geometry, PairDerivatives& derivatives) const {
    const double scale = 1.0 / (geometry.numAtoms * std::sqrt(static_cast<double>(geometries.size())));
    for (double& value : derivatives.energyRow) {
        value *= scale;
    }
}

// False if the matrices of these elements are not there and cannot be made.
bool ClassicalLoss::addProductsOf(const PairDerivatives& derivatives, ProductsOfElements& products,
                                  std::size_t& memoryLeft) {
    const std::size_t energyLength = derivatives.energyLength();
    const std::size_t forceLength = derivatives.forceLength();
    auto place = products.find(derivatives.elements());
    if (place == products.end()) {
        const std::size_t energySize = energyLength * energyLength;
        const std::size_t forceSize = forceLength * forceLength;
        const std::size_t numBytes = (energySize + forceSize) * sizeof(double);
        if (numBytes > memoryLeft) {
            return false;
        }
        memoryLeft -= numBytes;
        place = products
                    .emplace(derivatives.elements(),
                             Products{std::vector<double>(energySize), std::vector<double>(forceSize)})
                    .first;
    }
    addUpperProducts(derivatives.energyRow, energyLength, place->second.energy);
    addUpperProducts(derivatives.forceRows, forceLength, place->second.force);
    return true;
}

void ClassicalLoss::deriveParametersForLossFunc(const ClassicalParameters& parameters) {
    gatherParameters(parameters);
    Sums sums(everything.size());
    for (const auto& [elements, products] : productsOf) {
        addSquares(elements, products, sums);
    }
    if (!singly.empty()) {
        addSingly(sums);
    }
    combineSums(sums);
}

void ClassicalLoss::gatherParameters(const ClassicalParameters& parameters) {
    auto next = everything.begin();
    for (const auto* const values : {&parameters.coefA, &parameters.coefB, &parameters.coefC,
                                     &parameters.coefD, &parameters.elemEnergy}) {
        next = std::ranges::transform(*values, next, [](float v) { return static_cast<double>(v); }).out;
    }
}

// Where the values of an energy row lie in `everything`.
std::vector<std::size_t> ClassicalLoss::placesOf(const Elements& elements) const {
    std::vector<std::size_t> places;
    for (std::size_t k = 0; k < numPowers; ++k) {
        for (std::size_t i = 0; i < elements.size(); ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                places.push_back(k * numPairs + pairIndexOf(elements[i], elements[j]));
            }
        }
    }
    for (const std::size_t element : elements) {
        places.push_back(numPowers * numPairs + element);
    }
    places.push_back(everything.size() - 1);
    return places;
}

void ClassicalLoss::addSquares(const Elements& elements, const Products& products, Sums& sums) const {
    const auto places = placesOf(elements);
    const auto forcePlaces = forcePlacesOf(places, elements.size());
    sums.energy += addSquare(products.energy, places, everything, sums.energyGradient);
    sums.force += addSquare(products.force, forcePlaces, everything, sums.forceGradient);
}

void ClassicalLoss::addSingly(Sums& sums) const {
    ParallelGuard guard;
#pragma omp parallel
    {
        std::optional<Sums> part;
        PairDerivatives derivatives;
#pragma omp for schedule(static)
        for (std::size_t g = 0; g < singly.size(); ++g) {
            guard.run([&] {
                if (!part) {
                    part.emplace(everything.size());
                }
                derivatives.update(*singly[g], cutoff, numElements);
                scaleEnergyRow(*singly[g], derivatives);
                addRowsOf(derivatives, *part);
            });
        }
#pragma omp critical(meltaClassicalLoss)
        if (part) {
            sums.add(*part);
        }
    }
    guard.rethrow();
}

void ClassicalLoss::addRowsOf(const PairDerivatives& derivatives, Sums& sums) const {
    const auto places = placesOf(derivatives.elements());
    const auto forcePlaces = forcePlacesOf(places, derivatives.elements().size());
    sums.energy += addRowSquares(derivatives.energyRow, places, everything, sums.energyGradient);
    sums.force += addRowSquares(derivatives.forceRows, forcePlaces, everything, sums.forceGradient);
}

void ClassicalLoss::combineSums(const Sums& sums) {
    const auto sumE = static_cast<float>(sums.energy);
    const auto sumF = static_cast<float>(sums.force * forceWeight);
    // The sum stands first, because a NaN must not become 0.
    rmseE = std::sqrt(std::max(sumE, 0.0f));
    rmseF = std::sqrt(std::max(sumF, 0.0f));
    const float coefE = property->hasEnergyCoef != 0 ? property->coefEnergy : 0.0f;
    const float coefF = property->hasForceCoef != 0 ? property->coefForce : 0.0f;
    const bool withRoot = property->sqrtLoss != 0;
    loss = withRoot ? coefE * rmseE + coefF * rmseF : coefE * sumE + coefF * sumF;

    constexpr float smallestRoot = 1.0e-6f;
    const auto rootFactor = [&](float rmse) {
        return !withRoot ? 1.0f : rmse > smallestRoot ? 0.5f / rmse : 0.0f;
    };
    const double factorE = static_cast<double>(coefE * rootFactor(rmseE));
    const double factorF = static_cast<double>(coefF * rootFactor(rmseF)) * forceWeight;
    std::size_t place = 0;
    for (auto* const gradient :
         {&gradients.gradA, &gradients.gradB, &gradients.gradC, &gradients.gradD, &gradients.gradElem}) {
        for (float& value : *gradient) {
            value = static_cast<float>(factorE * sums.energyGradient[place] +
                                       factorF * sums.forceGradient[place]);
            ++place;
        }
    }
}

} // namespace melta
