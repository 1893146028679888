#pragma once

#include "potential/GeometryAtoms.hpp"
#include "potential/TeamEvaluator.hpp"
#include "sampling/ConfigurationEnergy.hpp"
#include "structure/BaselinePotential.hpp"
#include "structure/Geometry.hpp"

#include <span>

namespace melta::test {

// NetworkEnergy in its plainest form: after each move everything is made anew, for all atoms.
class FullNetworkEnergy final : public ConfigurationEnergy {
public:
    FullNetworkEnergy(const ModelData& model, BaselinePotential* potential, Geometry& configuration,
                      float range)
        : baseline(potential), geometry(configuration), source(configuration, model.elements.numElems),
          evaluator(model), rcut(range) {}

    double start() override { return evaluateMove({}); }

    double evaluateMove(std::span<const int> /*movedAtoms*/) override {
        geometry.updateAtoms(rcut);
        evaluator.evaluate(source, source.atoms(), Wish::energy | Wish::novelty, result);
        return baseline == nullptr ? result.energy
                                   : result.energy + static_cast<double>(baseline->obtainEnergy(&geometry));
    }

    [[nodiscard]] bool isUnknown() override { return result.numNovel > 0; }
    void acceptMove() override {}
    void rejectMove() override {}

private:
    BaselinePotential* baseline;
    Geometry& geometry;
    GeometryAtoms source;
    TeamEvaluator evaluator;
    Evaluation result;
    float rcut;
};

} // namespace melta::test
