#pragma once

#include "baseline/classical/ClassicalParameters.hpp"
#include "baseline/classical/PairDerivatives.hpp"

#include <cstddef>
#include <map>
#include <span>
#include <vector>

namespace melta {

class Geometry;
class Property;

// The loss of the fit and its gradient:
//
//     sumE = sum over geometries of (model - reference energy)^2 / numAtoms^2 / numGeometries
//     sumF = sum over all force components of (model - reference force)^2 / (3 numAtomsAll)
//     loss = coefEnergy sumE + coefForce sumF, or with `sqrtLoss` the same of the square roots
//
// Energies in eV, forces in eV/Angstrom. Both sums are squares of numbers that are linear in the parameters.
// The products of these numbers' derivatives are added up once, over all geometries, into small matrices; an
// evaluation then costs the same for one geometry and for many. Matrices are kept apart by the set of
// elements that occur in a geometry, so that their size follows from the richest geometry and not from the
// number of elements in the data. They are in double, because terms of neighbouring powers are much larger
// than what is left of them.
class ClassicalLoss {
public:
    // Bytes that all matrices together may take. Geometries beyond it are evaluated one by one each time.
    static constexpr std::size_t defaultMemoryLimit = std::size_t{1} << 30U;

    float loss = 0.0f;
    float rmseE = 0.0f; // sqrt(sumE)
    float rmseF = 0.0f; // sqrt(sumF)
    ClassicalGradients gradients;

    // Makes the matrices, in parallel. The geometries have their final data; they and the settings are
    // borrowed.
    ClassicalLoss(std::span<const Geometry* const> ofGeometries, const PairCutoff& ofPairs,
                  std::size_t numElems, const Property* ofRun, std::size_t memoryLimit = defaultMemoryLimit);

    // Computes the public members for these parameters.
    void deriveParametersForLossFunc(const ClassicalParameters& parameters);

private:
    using Elements = std::vector<std::size_t>;

    // Sums of products u^T (row^T row) u over all rows of the geometries with one set of elements.
    struct Products {
        std::vector<double> energy; // [energyLength][energyLength], upper half
        std::vector<double> force;  // [forceLength][forceLength], upper half
    };
    using ProductsOfElements = std::map<Elements, Products>;

    // Both sums and their gradients by the values of `everything`.
    struct Sums {
        double energy = 0.0;
        double force = 0.0;
        std::vector<double> energyGradient;
        std::vector<double> forceGradient;

        explicit Sums(std::size_t length) : energyGradient(length), forceGradient(length) {}
        void add(const Sums& other);
    };

    void addProducts(std::size_t memoryLimit);
    static bool addProductsOf(const PairDerivatives& derivatives, ProductsOfElements& products,
                              std::size_t& memoryLeft);
    void mergeProducts(ProductsOfElements& products, std::span<const Geometry* const> others);
    void scaleEnergyRow(const Geometry& geometry, PairDerivatives& derivatives) const;
    void gatherParameters(const ClassicalParameters& parameters);
    [[nodiscard]] std::vector<std::size_t> placesOf(const Elements& elements) const;
    void addSquares(const Elements& elements, const Products& products, Sums& sums) const;
    void addSingly(Sums& sums) const;
    void addRowsOf(const PairDerivatives& derivatives, Sums& sums) const;
    void combineSums(const Sums& sums);

    const Property* property;
    std::vector<const Geometry*> geometries;
    PairCutoff cutoff;
    std::size_t numElements;
    std::size_t numPairs;
    double forceWeight = 0.0;            // 1 / (3 numAtomsAll)
    ProductsOfElements productsOf;       // what is known of most geometries
    std::vector<const Geometry*> singly; // the others
    std::vector<double> everything;      // A of all pairs, B, C, D, energies of all elements, 1
};

} // namespace melta
