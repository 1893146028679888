#pragma once

#include "training/NNTrainer.hpp"

#include <vector>

namespace melta {

// Trains the charge networks on atomic charges: one loss term, no forces, no scheme.
class NNChargeTrainer final : public NNTrainer {
public:
    using NNTrainer::NNTrainer;

private:
    void setLossScales() override;
    [[nodiscard]] int archModeOfTrainer() const override { return NNArch::onlyCharge; }
    [[nodiscard]] bool needsDerivatives() const override { return false; }
    bool evaluateTraining() override;
    bool evaluateTest() override;
    [[nodiscard]] float lossValue() const override;
    void printProgress(int epoch) const override;

    [[nodiscard]] float obtainError(const NNArch& arch) const;

    std::vector<float> chargeScale; // [numElems], factors of the loss
    float rmseTrainCharge = 0.0f;   // root mean square errors, e
    float rmseTestCharge = 0.0f;
};

} // namespace melta
