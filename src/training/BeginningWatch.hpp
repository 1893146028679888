#pragma once

#include "structure/Geometry.hpp"

#include <optional>
#include <vector>

namespace melta {

class NNArch;
class TrainingTask;

// Watches over a training that goes on with stored networks: whether it has spoiled them. A large step of
// Adam may, because the moments begin at zero, and the loss of a batch alone does not tell, because it
// belongs to the networks before the step. So the first batch of the run is kept as the measure: its loss
// with the networks of the beginning against that with those of the day.
class BeginningWatch {
public:
    // A loss beyond so many times that of the beginning means that the networks are spoiled.
    static constexpr float limit = 2.0f;

    // Waits for the first batch.
    void start() { isWaiting = true; }

    // Whether the next batch is the first one; it has to be told by one of the next two.
    [[nodiscard]] bool needsBatch() const { return isWaiting; }

    // The first batch, by its numbers in the in-core set, or where its symmetry functions are not kept, as
    // geometries, which are borrowed.
    void takeBatch(const std::vector<int>& indices);
    void takeBatch(const std::vector<Geometry*>& batch);

    // Notes the loss of the first evaluation.
    void noteLoss(float loss);

    // Whether the present networks of `arch` are spoiled; always false without a beginning. Evaluates the
    // batch that is set, or the first one if there is none, and leaves the arrangement as it was. Stops with
    // "the training diverged: loss" where the loss is not finite.
    bool isSpoiled(NNArch& arch, TrainingTask& task) const;

private:
    float lossOfFirstBatch(NNArch& arch, TrainingTask& task) const;

    bool isWaiting = false;
    std::optional<float> beginLoss;
    std::vector<int> indices;          // the first batch, one of these two
    std::vector<Geometry*> geometries; //
};

// Stops with "the training diverged: loss" unless a loss is finite.
void requireFiniteLoss(float loss);

} // namespace melta
