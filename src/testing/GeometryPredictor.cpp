#include "testing/GeometryPredictor.hpp"

#include "potential/GeometryAtoms.hpp"

#include <algorithm>

namespace melta {
namespace {

void round(std::span<const double> values, std::vector<float>& rounded) {
    rounded.resize(values.size());
    std::ranges::transform(values, rounded.begin(), [](double value) { return static_cast<float>(value); });
}

} // namespace

const Prediction& GeometryPredictor::predict(const Geometry& geometry, Wishes wishes) {
    const GeometryAtoms source(geometry, model.elements.numElems);
    evaluator.evaluate(source, source.atoms(), wishes, evaluation);
    round(evaluation.energies, prediction.energies);
    round(evaluation.forces, prediction.forces);
    round(evaluation.charges, prediction.charges);
    takeStress(wishes);
    prediction.numNovel = evaluation.numNovel;
    prediction.excess = evaluation.excess;
    return prediction;
}

// The virial has the opposite sign, and its last components are xy, xz, yz.
void GeometryPredictor::takeStress(Wishes wishes) {
    prediction.stress.clear();
    if (wishes.has(Wish::virial)) {
        for (const std::size_t place : {0U, 1U, 2U, 5U, 4U, 3U}) {
            prediction.stress.push_back(-static_cast<float>(evaluation.virial[place]));
        }
    }
}

} // namespace melta
