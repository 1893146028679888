#pragma once

#include "training/NNTrainer.hpp"

#include <vector>

namespace melta {

// Trains the charge networks on atomic charges: one loss term, no forces, no scheme.
class NNChargeTrainer final : public NNTrainer {
public:
    using NNTrainer::NNTrainer;

private:
    [[nodiscard]] std::vector<LossTerm> makeLossTerms() const override;
    [[nodiscard]] int archModeOfTrainer() const override { return NNArch::onlyCharge; }
    [[nodiscard]] Derivatives neededDerivatives() const override { return Derivatives::no; }
};

} // namespace melta
