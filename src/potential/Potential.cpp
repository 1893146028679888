#include "melta/Potential.hpp"

#include "base/Reporting.hpp"
#include "base/Run.hpp"
#include "base/ThreadTeam.hpp"
#include "config/SymmFuncKind.hpp"
#include "potential/ModelLoader.hpp"
#include "potential/PotentialEvaluator.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace melta {

namespace {

int requireTeam(int numThreads) {
    Run run;
    const RunScope scope(run);
    if (numThreads < 1 || numThreads > findLargestTeam()) {
        stopWithMessage("number of threads is out of range.");
    }
    if (numThreads > 1) {
        requireThreads(numThreads);
    }
    return numThreads;
}

} // namespace

struct PotentialMemory {
    explicit PotentialMemory(int numThreads) : evaluator(numThreads) {}

    PotentialEvaluator evaluator;
};

Potential::Workspace::Workspace() : Workspace(1) {}
Potential::Workspace::Workspace(int numThreads)
    : memory(std::make_unique<PotentialMemory>(requireTeam(numThreads))) {}
Potential::Workspace::~Workspace() = default;
Potential::Workspace::Workspace(Workspace&& other) noexcept = default;
Potential::Workspace& Potential::Workspace::operator=(Workspace&& other) noexcept = default;

Potential::Potential(std::shared_ptr<const ModelData> loaded) : model(std::move(loaded)) {}

Potential Potential::load(const std::string& directory) {
    Run run;
    const RunScope scope(run);
    return Potential(loadModel(directory));
}

Potential Potential::read(const std::string& file) {
    Run run;
    const RunScope scope(run);
    return Potential(readModel(file));
}

const std::vector<std::string>& Potential::elements() const {
    return model->elements.elemNames;
}

int Potential::elementIndex(const std::string& label) const {
    const auto found = std::ranges::find(elements(), label);
    return found == elements().end() ? -1 : static_cast<int>(found - elements().begin());
}

double Potential::cutoff() const {
    return static_cast<double>(findLargestCutoff(model->settings));
}

double Potential::influenceDistance() const {
    return model->baseline ? std::max(cutoff(), model->baseline->influenceDistance()) : cutoff();
}

int Potential::numModels() const {
    return model->settings.modelsEnergy;
}

bool Potential::hasCharges() const {
    return !model->chargeNetworks.empty();
}

bool Potential::hasHistograms() const {
    return model->histograms != nullptr;
}

const char* Potential::descriptor() const {
    return symmFuncKindOf(model->settings).getWord();
}

int Potential::numDescriptors() const {
    return model->symmFunc->getNumBasis();
}

Potential::Range Potential::descriptorRange(int element) const {
    Run run;
    const RunScope scope(run);
    if (element < 0 || element >= model->elements.numElems) {
        stopWithMessage("index of element is out of range.");
    }
    const auto e = static_cast<std::size_t>(element);
    const auto centre = static_cast<double>(model->statistics.symmAve[e]);
    const auto halfWidth = static_cast<double>(model->statistics.symmDev[e]);
    return {centre - halfWidth, centre + halfWidth};
}

void Potential::evaluate(const NeighborView& view, Wishes wishes, Evaluation& result,
                         Workspace& workspace) const {
    Run run;
    const RunScope scope(run);
    workspace.memory->evaluator.evaluate(model, view, wishes, result);
}

} // namespace melta
