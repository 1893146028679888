#pragma once

#include "training/NNTrainer.hpp"

#include <vector>

namespace melta {

// Trains the energy networks on energies and forces.
class NNEnergyTrainer final : public NNTrainer {
public:
    using NNTrainer::NNTrainer;

    // Stops with "this training data does not support MELTA, please set "withHDNNP 1"." when atomic energies
    // are the target and a geometry has none, with "HDNNP does not support "renormLoss 1"." when total
    // energies are, and with "this training data has no stress, please set "coefStress 0"." when stress is in
    // the loss and no geometry has any.
    void performTraining(const std::string& nnFile, const std::string& distrFile,
                         const std::string& stopFile) override;

    // Stops as performTraining does, before anything else.
    void performDebug(const std::string& nnFile, float shift) override;

private:
    [[nodiscard]] std::vector<LossTerm> makeLossTerms() const override;
    void debugGradients(float shift) override;
    [[nodiscard]] int archModeOfTrainer() const override { return NNArch::onlyEnergy; }
    [[nodiscard]] Derivatives neededDerivatives() const override {
        return getProperty().hasDerivativeCoef() ? Derivatives::yes : Derivatives::no;
    }
    void settle(int batchSize) override;
    bool updateScheme(int epoch) override;
    bool advanceScheme() override;

    void requireUsableData() const;
};

} // namespace melta
