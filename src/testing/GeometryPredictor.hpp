#pragma once

#include "potential/TeamEvaluator.hpp"

#include <span>
#include <vector>

namespace melta {

class Geometry;

// What the networks of a model give for a geometry, in the single precision of its data. What was not asked
// for is empty.
struct Prediction {
    std::vector<float> energies; // [numAtoms], eV, measured as those of the model are
    std::vector<float> forces;   // [numAtoms][3], eV/Angstrom
    std::vector<float> charges;  // [numAtoms], e
    std::vector<float> stress;   // times volume, xx, yy, zz, yz, xz, xy, eV, positive under tension
    int numNovel = 0;            // atoms outside of the training data, as Evaluation::numNovel
    double excess = 0.0;         // how far, as Evaluation::excess
};

// Evaluates geometries, one after the other, by their present neighbour lists and without a baseline
// potential.
class GeometryPredictor {
public:
    // The model is borrowed.
    explicit GeometryPredictor(const ModelData& trained) : model(trained), evaluator(trained) {}

    // `wishes`: energies come always; forces, charges, stress (as virial) and novelty where they are among
    // them. Valid until the next call. Stops as GeometryAtoms and TeamEvaluator::evaluate.
    const Prediction& predict(const Geometry& geometry, Wishes wishes);

private:
    void takeStress(Wishes wishes);

    const ModelData& model;
    TeamEvaluator evaluator;
    Evaluation evaluation;
    Prediction prediction;
};

} // namespace melta
