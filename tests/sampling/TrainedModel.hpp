#pragma once

#include "sampling/TextFixture.hpp"
#include "structure/ThreadCount.hpp"
#include "training/TrainingRun.hpp"

#include <memory>

namespace melta::test {

// A working directory with a small model of silicon and oxygen and the distributions of its training data.
class TrainedModel : public EnergyTraining {
protected:
    TrainedModel() {
        property.epochs = 2;
        outputOf([this] {
            NNEnergyTrainer(&property, trainingSet.get(), nullptr)
                .performTraining("melta.data", "melta.gdist", "melta.EXIT");
        });
    }

    ThreadCount threads{1}; // the many small evaluations are not worth more
    WorkingDirectory workingDirectory{directory.path()};
    std::unique_ptr<GeometrySet> trainingSet =
        makeSet(property, makeDataText({.numGeoms = 3, .labels = {"Si", "O", "Si"}, .seed = 40}));
};

} // namespace melta::test
