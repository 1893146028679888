// A whole energy training in a directory of its own, and what can be read from its progress lines.
#pragma once

#include "base/RandomSource.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "training/NNEnergyTrainer.hpp"
#include "training/SmallData.hpp"

#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace melta::test {

// One epoch as it was printed. The test errors are negative without a test line.
struct Progress {
    int epoch = 0;
    double energy = -1.0;
    double force = -1.0;
    double loss = -1.0;
    double testEnergy = -1.0;
    double testForce = -1.0;
};

// Takes the error of the stress out of a line of progress.
inline void dropStress(std::string& line) {
    constexpr std::size_t length = std::string_view("  RMSE(S): 1.576e-01").size();
    if (const std::size_t at = line.find("  RMSE(S):"); at != std::string::npos) {
        line.erase(at, length);
    }
}

// All epochs of an output. A line that only looks like one fails the test.
inline std::vector<Progress> readProgress(const std::string& output) {
    std::vector<Progress> list;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        int end = 0;
        dropStress(line);
        if (line.starts_with("  #.")) {
            Progress next;
            char wall[16] = "";
            char epoch[16] = "";
            const int count = std::sscanf(
                line.c_str(),
                "  #.%6d  RMSE(E):%10lf  RMSE(F):%10lf  Loss:%10lf  Time[ wall=%15s epoch=%15s ]%n",
                &next.epoch, &next.energy, &next.force, &next.loss, wall, epoch, &end);
            EXPECT_EQ(count, 6) << line;
            EXPECT_EQ(static_cast<std::size_t>(end), line.size()) << line;
            list.push_back(next);
        } else if (line.starts_with("  @")) {
            const int count =
                list.empty() ? 0
                             : std::sscanf(line.c_str(), "  @ RMSE(E):%10lf RMSE(F):%10lf (for test data)%n",
                                           &list.back().testEnergy, &list.back().testForce, &end);
            EXPECT_EQ(count, 2) << line;
            EXPECT_EQ(static_cast<std::size_t>(end), line.size()) << line;
        }
    }
    return list;
}

class EnergyTraining : public testing::Test {
protected:
    EnergyTraining() : property(makeSmallProperty()) { sharedRandom().seed(77); }

    std::string train(const GeometrySet& set, const GeometrySet* testSet = nullptr) {
        return outputOf([&] {
            NNEnergyTrainer(&property, &set, testSet).performTraining(network, file("dist"), file("EXIT"));
        });
    }

    // What stops a training before it says anything.
    std::string stopOfTraining(const GeometrySet& set) {
        std::string message;
        const std::string output = outputOf([&] {
            message = stopMessageOf([&] {
                NNEnergyTrainer(&property, &set, nullptr)
                    .performTraining(network, file("dist"), file("EXIT"));
            });
        });
        EXPECT_EQ(output, "");
        return message;
    }

    // Settings under which the first epoch shows the errors of the stored model, and no epoch changes it.
    void freezeAtStoredModel() {
        property.restart = 1;
        property.lbfgs = 0;
        property.epochs = 1;
        property.learnRate = 1.0e-20f;
        property.learnRateFinal = 1.0e-20f;
    }

    std::string file(const std::string& name) const { return directory.file(name); }

    StopCatcher stopCatcher; // a stop that nobody expects fails the test
    TemporaryDirectory directory;
    std::string network = directory.file("melta.data");
    Property property;
};

} // namespace melta::test
