#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace melta {

class Geometry;
struct Prediction;

// A table of all geometries of a test, those with the largest errors first: what is worth a look at the data,
// or more data of the like. Errors are without the baseline potential, as the root mean squares of the test.
// A geometry stands as far in front as the largest of its errors of energy, forces and stress does, each
// measured by its root mean square over all geometries.
class WorstGeometries {
public:
    // `elemNames`: labels of the elements.
    explicit WorstGeometries(std::vector<std::string> elemNames) : names(std::move(elemNames)) {}

    // The next geometry of the data, and what the networks give for it, with forces, stress and novelty.
    void add(const Geometry& geometry, const Prediction& prediction);

    // Writes the file. Stops with "cannot open file: %s" and, when anything was lost, with "cannot write
    // file: %s".
    void write(const std::string& fileName) const;

private:
    struct Row {
        int number; // from 1
        int numAtoms;
        std::string composition;
        double energy;                // error, eV/atom
        double force;                 // root mean square of the errors of the components, eV/Angstrom
        double largestForce;          // longest vector of errors, eV/Angstrom
        std::optional<double> stress; // root mean square of the errors, eV/atom; none without reference
        double outside;               // share of the atoms outside of the training data
        double excess;                // how far, see Evaluation
    };

    [[nodiscard]] std::string compositionOf(const Geometry& geometry) const;
    [[nodiscard]] std::vector<double> makeScores() const;
    static void print(std::FILE* file, const Row& row, bool withStress);

    std::vector<std::string> names;
    std::vector<Row> rows;
};

} // namespace melta
