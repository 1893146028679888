#include "dfttools/DataImporter.hpp"

#include "base/CleanStop.hpp"
#include "base/FileReplacement.hpp"
#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"
#include "structure/io/DataFile.hpp"

#include <algorithm>
#include <filesystem>

namespace melta {
namespace {

// Numbers labels in the order in which they come.
class LabelList {
public:
    int numberOf(const std::string& label) {
        const auto found = std::ranges::find(labels, label);
        const auto number = static_cast<int>(found - labels.begin());
        if (found == labels.end()) {
            labels.push_back(label);
        }
        return number;
    }

    [[nodiscard]] const std::vector<std::string>& getLabels() const { return labels; }

private:
    std::vector<std::string> labels;
};

// The data file and what is in it.
ImportCounts writeStructures(StructureSource& source, const std::string& sourceName,
                             const std::string& dataFile) {
    FileReplacement files;
    std::FILE* const file = files.open(dataFile);
    ImportCounts counts;
    LabelList list;
    Structure structure;
    const auto numberOf = [&list](const std::string& label) { return list.numberOf(label); };
    while (source.next(structure, counts.geometries, numberOf)) {
        writeStructure(file, structure, list.getLabels());
        ++counts.geometries;
        counts.atoms += static_cast<long long>(structure.atoms.size());
        counts.withAtomEnergy += structure.hasAtomEnergy ? 1 : 0;
        counts.withStress += structure.stress ? 1 : 0;
    }
    if (counts.geometries == 0) {
        stopWithMessage("there are no geometries: %s", sourceName.c_str());
    }
    files.commit();
    return counts;
}

} // namespace

void requireNoDataFile(const std::string& dataFile) {
    finishReplacement(dataFile);
    std::error_code ignored;
    if (std::filesystem::exists(dataFile, ignored)) {
        stopWithMessage("the file is there already: %s", dataFile.c_str());
    }
}

ImportCounts importStructures(StructureSource& source, const std::string& sourceName,
                              const std::string& dataFile) {
    requireNoDataFile(dataFile);
    return stopCleanly([&] { return writeStructures(source, sourceName, dataFile); });
}

} // namespace melta
