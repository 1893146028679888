#pragma once

#include "evaluation/FrameEvaluator.hpp"
#include "evaluation/ModelElements.hpp"
#include "melta/Potential.hpp"
#include "structure/io/ExtxyzReader.hpp"

#include <cstdio>
#include <string>
#include <vector>

namespace melta {

// What an evaluation of many frames has met.
struct StreamSummary {
    long long geometries = 0;
    long long atoms = 0;
    long long novelAtoms = 0;
    double energySpread = 0.0; // largest of all frames, eV/atom
    double forceSpread = 0.0;  // largest of all atoms, eV/Angstrom
};

// Evaluates the frames of one extended XYZ file into another one, in their order. Only some frames for each
// thread are held at once, however many there are; their results do not depend on the number of threads.
class FrameStream {
public:
    // Opens the file to read. Stops with "cannot open file: %s". The potential is copied, its data shared.
    FrameStream(const Potential& potential, const std::string& inputName);

    // Reads to the end and writes the output, which takes its name when it is complete; it may be the input.
    // Stops as ExtxyzReader, with "element that the model does not know in line %d: %s", "the frame of line
    // %d cannot be evaluated (%s): %s", "there are no geometries: %s", and as FileReplacement.
    StreamSummary run(const std::string& outputName);

private:
    // A frame on its way.
    struct Task {
        ExtxyzFrame frame;
        std::vector<int> elements;
        FrameResults results;
        std::string text;
        std::string fault;
    };

    [[nodiscard]] bool readTasks();
    [[nodiscard]] bool readTask(Task& task);
    void evaluateTasks();
    void evaluateTask(Task& task, FrameEvaluator& evaluator) const;
    void writeTasks(std::FILE* file);
    void count(const FrameResults& results);

    std::string fileName;
    ExtxyzReader reader;
    ModelElements modelElements;
    std::vector<FrameEvaluator> evaluators; // of the threads
    std::vector<Task> tasks;                // the first `numTasks` are in use
    std::size_t numTasks = 0;
    int numRead = 0;
    StreamSummary summary;
};

} // namespace melta
