#include "modelio/ModelStore.hpp"

#include "base/FileReplacement.hpp"
#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "config/NetworkKind.hpp"
#include "modelio/NNIO.hpp"
#include "network/NNArch.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace melta {
namespace {

// The files that hold the networks of `arch`, the head in front.
std::vector<std::string> fileNamesOf(const NNArch& arch, const std::string& headFile) {
    std::vector<std::string> names{headFile};
    if (arch.hasEnergyNetworks()) {
        names.push_back(companionName(headFile, energyKind));
    }
    if (arch.hasChargeNetworks()) {
        names.push_back(companionName(headFile, chargeKind));
    }
    return names;
}

bool isComplete(const NNArch& arch, const std::string& headFile) {
    return std::ranges::all_of(fileNamesOf(arch, headFile),
                               [](const std::string& name) { return openForReading(name) != nullptr; });
}

void requireFinite(bool isFinite, const char* what) {
    if (!isFinite) {
        stopWithMessage("the training diverged: %s", what);
    }
}

void requireFinite(const NNArch& arch, const GeometrySet& set) {
    const auto areFinite = [](const auto& values) {
        return std::ranges::all_of(values, [](auto value) { return std::isfinite(value); });
    };
    const auto areNetworksFinite = [](const std::vector<NNEnsemble>& ensembles) {
        return std::ranges::all_of(ensembles, [](const NNEnsemble& ensemble) { return ensemble.isFinite(); });
    };
    requireFinite(areNetworksFinite(arch.getEnergyEnsembles()) &&
                      areNetworksFinite(arch.getChargeEnsembles()),
                  "weights");
    requireFinite(areFinite(arch.getSymmStatistics().symmAve) && areFinite(arch.getSymmStatistics().symmDev),
                  "ranges of symmetry functions");
    requireFinite(areFinite(set.energyAve), "mean energies of the elements");
}

// What the names of the files have in common under which a beginning is kept: none of them exists.
std::string freeSuffix(const std::vector<std::pair<std::string, std::string>>& files) {
    std::string suffix = ".begin";
    const auto isTaken = [&](const auto& file) {
        std::error_code ignored;
        return std::filesystem::exists(file.first + suffix, ignored);
    };
    for (int number = 2; std::ranges::any_of(files, isTaken); ++number) {
        suffix = formatText(".begin.%d", number);
    }
    return suffix;
}

} // namespace

ModelStore::ModelStore(std::string fileName, const GeometrySet* geometrySet)
    : headFile(std::move(fileName)), set(geometrySet) {
    if (set == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
}

void ModelStore::carryOthers(const NNArch& arch) {
    others = CarriedNetworks(arch, headFile, set);
}

void ModelStore::requireWritable(const NNArch& arch) const {
    if (!distrFile.empty()) {
        FileReplacement::requireWritable(distrFile);
    }
    for (const std::string& name : fileNamesOf(arch, headFile)) {
        FileReplacement::requireWritable(name);
    }
    if (!course.empty()) {
        FileReplacement::requireWritable(courseFileOf(arch));
    }
}

std::string ModelStore::courseFileOf(const NNArch& arch) const {
    return companionName(headFile, arch.hasEnergyNetworks() ? energyKind : chargeKind) + ".course";
}

std::string ModelStore::readCourse(const NNArch& arch) const {
    std::string text;
    if (const FilePointer file = openForReading(courseFileOf(arch))) {
        readRest(file.get(), text);
    }
    return text;
}

void ModelStore::writeCourse(const NNArch& arch, FileReplacement& files) const {
    const std::string name = courseFileOf(arch);
    if (!course.empty()) {
        TextCopier(files.open(name)).write(course);
    } else if (openForReading(name)) {
        files.remove(name);
    }
}

void ModelStore::rememberBeginning(const NNArch& arch) {
    for (const std::string& name : fileNamesOf(arch, headFile)) {
        if (const FilePointer file = openForReading(name)) {
            readRest(file.get(), beginning.emplace_back(name, "").second);
        }
    }
}

void ModelStore::keepBeginning() {
    if (!beginning.empty() && beginSuffix.empty()) {
        beginSuffix = freeSuffix(beginning);
    }
}

void ModelStore::storeNN(const NNArch& arch) {
    try {
        store(arch);
    } catch (const FileFailure& failure) {
        stopWithMessage("%s", failure.what());
    }
}

void ModelStore::tryStoreNN(const NNArch& arch) {
    try {
        store(arch);
    } catch (const FileFailure& failure) {
        printOut("  * WARNING: the neural network is not stored, %s\n\n", failure.what());
        flushOut();
    }
}

void ModelStore::store(const NNArch& arch) {
    printOut("  * Store the neural network to the file.\n\n");
    requireFinite(arch, *set);
    FileReplacement files(FileReplacement::OnFailure::raise);
    writeFiles(arch, files);
    files.commit();
    printWhatElse();
    hasStored = true;
}

// The head comes first, so that it takes its name last.
void ModelStore::writeFiles(const NNArch& arch, FileReplacement& files) const {
    NNIO(&arch.getProperty(), set)
        .writeNetworkFile(files, headFile, arch.getSymmStatistics(), arch.getEnergyEnsembles(),
                          arch.getChargeEnsembles());
    if (!hasStored) {
        others.write(files);
    }
    // Values that change with the training have new histograms each time.
    if (!distrFile.empty() && (!hasStored || arch.trainsElementWeights())) {
        arch.printSymmDistributions(files.open(distrFile), *set);
    }
    writeCourse(arch, files);
    if (!beginSuffix.empty()) {
        for (const auto& [name, text] : beginning) {
            TextCopier(files.open(name + beginSuffix)).write(text);
        }
    }
}

void ModelStore::printWhatElse() {
    if (!hasStored) {
        others.printSetAside();
    }
    if (!beginSuffix.empty() && !beginning.empty()) {
        std::string names;
        for (const auto& [name, text] : beginning) {
            names += (names.empty() ? "" : ", ") + name + beginSuffix;
        }
        printOut(
            "  * WARNING: the loss is more than twice that of the networks that the training began with; "
            "they are kept in the files: %s\n\n",
            names.c_str());
        beginning.clear();
    }
}

void storeNN(const NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet) {
    ModelStore(fileName, geometrySet).storeNN(arch);
}

bool restoreNN(NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet, bool checkFiles) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    if (checkFiles && !isComplete(arch, fileName)) {
        printOut("  * CANNOT restore the neural network from the file.\n\n");
        return false;
    }
    restoreNetworks(arch.getProperty(), *geometrySet, fileName, arch.getSymmStatistics(),
                    arch.getEnergyEnsembles(), arch.getChargeEnsembles());
    arch.applyElementWeights();
    return true;
}

void restoreNetworks(const Property& property, const GeometrySet& geometrySet, const std::string& fileName,
                     SymmStatistics& statistics, std::vector<NNEnsemble>& energy,
                     std::vector<NNEnsemble>& charge) {
    printOut("  * Restore the neural network from the file.\n\n");
    NNIO(&property, &geometrySet).readNetworkFile(fileName, statistics, energy, charge);
}

} // namespace melta
