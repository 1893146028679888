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
    return prediction;
}

} // namespace melta
