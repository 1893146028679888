#pragma once

#include "training/TrainingState.hpp"

#include <string>

namespace melta {

// Compares the analytic gradient of the loss with forward differences, parameter by parameter, on the
// present batch. Parameters are those of the total data (ParameterPacking.hpp), so both gradients carry the
// weightScale of their layer. Each row costs an evaluation of the batch. Both arguments are borrowed.
//
// Losses are single-precision numbers: a difference has a noise of about 1e-7 loss / shift, beside its
// truncation error of the second derivative times shift / 2.
class GradientCheck {
public:
    GradientCheck(TrainingState* ofRun, TrainingTask* ofTrainer) : state(ofRun), task(ofTrainer) {}

    // Prints the table. A negative shift gives backward differences; it must not be 0. Leaves the network
    // with its last parameter shifted. Stops with "total data length is not positive.".
    void run(float shift) const;

private:
    TrainingState* state;
    TrainingTask* task;
};

// A row of the table: parameter `number`, counted from 1, its value, and the two derivatives there.
std::string gradientRow(int number, float value, float analytic, float numerical);

} // namespace melta
