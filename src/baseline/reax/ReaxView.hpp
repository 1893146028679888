#pragma once

#include "base/LineReader.hpp"
#include "baseline/reax/ReaxCluster.hpp"
#include "baseline/reax/ReaxParam.hpp"
#include "structure/ViewBaseline.hpp"

#include <string>
#include <vector>

namespace melta {

// The reduced ReaxFF potential for views.
class ReaxView final : public ViewBaseline {
public:
    // `file`: the force field; `rcut`: cutoff of bonds, Angstrom; `mixingRate`: factor on everything;
    // `elements`: labels in the order of the views. Stops as ReaxParam.
    ReaxView(FilePointer file, double rcut, double mixingRate, const std::vector<std::string>& elements);

    [[nodiscard]] double influenceDistance() const override { return ReaxCluster::influenceOf(param); }
    [[nodiscard]] std::unique_ptr<Evaluator> makeEvaluator() const override;

private:
    class ClusterEvaluator;

    ReaxParam param;
    double factor;           // of energies in kcal/mol
    std::vector<int> typeOf; // [elements], -1 for one that the force field does not know
};

} // namespace melta
