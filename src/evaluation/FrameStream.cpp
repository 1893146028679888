#include "evaluation/FrameStream.hpp"

#include "base/FileReplacement.hpp"
#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "evaluation/FrameText.hpp"
#include "melta/Error.hpp"

#include <algorithm>
#include <limits>
#include <omp.h>

namespace melta {
namespace {

constexpr std::size_t framesOfThread = 64;
constexpr std::size_t mostAtoms = 20000; // of frames that are held at once, unless one has more

// Without the point at the end, since it becomes a part of another message.
std::string textOf(const Error& error) {
    std::string text = error.what();
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

} // namespace

FrameStream::FrameStream(const Potential& potential, const std::string& inputName)
    : fileName(inputName), reader(inputName, ExtxyzReader::Reference::ignored), modelElements(potential) {
    const int numThreads = omp_get_max_threads();
    for (int t = 0; t < numThreads; ++t) {
        evaluators.emplace_back(potential);
    }
    tasks.resize(framesOfThread * evaluators.size());
}

StreamSummary FrameStream::run(const std::string& outputName) {
    FileReplacement files;
    std::FILE* const file = files.open(outputName);
    summary = {};
    while (readTasks()) {
        evaluateTasks();
        writeTasks(file);
    }
    if (summary.geometries == 0) {
        stopWithMessage("there are no geometries: %s", fileName.c_str());
    }
    files.commit();
    return summary;
}

// False at the end.
bool FrameStream::readTasks() {
    std::size_t numAtoms = 0;
    for (numTasks = 0; numTasks < tasks.size() && numAtoms < mostAtoms; ++numTasks) {
        if (!readTask(tasks[numTasks])) {
            break;
        }
        numAtoms += tasks[numTasks].frame.numAtoms();
    }
    return numTasks > 0;
}

bool FrameStream::readTask(Task& task) {
    if (!reader.next(task.frame, numRead)) {
        return false;
    }
    numRead += numRead < std::numeric_limits<int>::max() ? 1 : 0;
    task.elements.clear();
    for (const std::string& label : task.frame.labels) {
        task.elements.push_back(modelElements.indexOf(label));
        if (task.elements.back() < 0) {
            reader.refuseAtom(task.frame, task.elements.size() - 1, "element that the model does not know");
        }
    }
    return true;
}

void FrameStream::evaluateTasks() {
    ParallelGuard guard;
#pragma omp parallel for schedule(dynamic, 1)
    for (std::size_t i = 0; i < numTasks; ++i) {
        guard.run(
            [&] { evaluateTask(tasks[i], evaluators[static_cast<std::size_t>(omp_get_thread_num())]); });
    }
    guard.rethrow();
}

// A failure waits, so that of several the first one in the file is told.
void FrameStream::evaluateTask(Task& task, FrameEvaluator& evaluator) const {
    task.fault.clear();
    try {
        task.results = evaluator.evaluate(task.frame, task.elements);
        task.text = writeFrame(task.frame, task.results);
    } catch (const Error& error) {
        task.fault = textOf(error);
    }
}

void FrameStream::writeTasks(std::FILE* file) {
    for (std::size_t i = 0; i < numTasks; ++i) {
        const Task& task = tasks[i];
        if (!task.fault.empty()) {
            stopWithMessage("the frame of line %lld cannot be evaluated (%s): %s", task.frame.line,
                            task.fault.c_str(), fileName.c_str());
        }
        std::fwrite(task.text.data(), 1, task.text.size(), file);
        count(task.results);
    }
}

void FrameStream::count(const FrameResults& results) {
    const std::size_t numAtoms = results.energies.size();
    ++summary.geometries;
    summary.atoms += static_cast<long long>(numAtoms);
    summary.novelAtoms += std::ranges::count(results.novelty, 1);
    summary.energySpread =
        std::max(summary.energySpread, results.energyDeviation.value_or(0.0) / static_cast<double>(numAtoms));
    for (const double spread : results.forceDeviations) {
        summary.forceSpread = std::max(summary.forceSpread, spread);
    }
}

} // namespace melta
