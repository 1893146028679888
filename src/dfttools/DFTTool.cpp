#include "dfttools/DFTTool.hpp"

#include "base/FileReplacement.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "dfttools/DFTFileNames.hpp"
#include "dfttools/DFTInput.hpp"
#include "dfttools/DFTScripts.hpp"
#include "dfttools/KeptCopy.hpp"

#include <charconv>
#include <filesystem>
#include <string_view>

namespace fs = std::filesystem;

namespace melta {
namespace {

bool hasGeometry(int number) {
    std::error_code ignored;
    return fs::exists(dftFileNames::geometryFile(number), ignored);
}

int countGeometries() {
    int count = 0;
    while (hasGeometry(count + 1)) {
        ++count;
    }
    return count;
}

bool makeDirectory(const char* name) {
    std::error_code error;
    fs::create_directory(name, error);
    if (error) {
        printOut("\ncannot make directory: %s\n\n", name);
        return false;
    }
    return true;
}

// Number of an input file by its name; 0 for any other name.
int numberOfInput(const std::string& name) {
    constexpr std::string_view stem = dftFileNames::inputStem;
    int number = 0;
    if (name.starts_with(stem)) {
        std::from_chars(name.data() + stem.size(), name.data() + name.size(), number);
    }
    return number > 0 && name == stem.data() + std::to_string(number) ? number : 0;
}

// They belong to nobody any more, but the scripts of an earlier run may still be at work on them.
void tellLeftInputs(int numGeoms) {
    int count = 0;
    std::error_code error;
    for (fs::directory_iterator entry(dftFileNames::inputDirectory, error), end; !error && entry != end;
         entry.increment(error)) {
        count += numberOfInput(entry->path().filename().string()) > numGeoms ? 1 : 0;
    }
    if (count == 1) {
        printOut("\n  * There is 1 input file of an earlier run left in the directory: %s\n",
                 dftFileNames::inputDirectory);
    } else if (count > 1) {
        printOut("\n  * There are %d input files of an earlier run left in the directory: %s\n", count,
                 dftFileNames::inputDirectory);
    }
}

// The scripts begin by removing the data file, also where the calculations then give nothing.
void keepData(const std::string& dataFile) {
    const std::string copy = keepCopy(dataFile);
    if (!copy.empty()) {
        printOut("\n  * WARNING: the scripts will replace the file \"%s\", a copy of which is \"%s\".\n",
                 dataFile.c_str(), copy.c_str());
    }
}

// The previous script stays until the new one is complete: half a script might remove more than it should.
bool writeScript(const char* fileName, const std::string& text) {
    FileReplacement script;
    std::FILE* const file = script.tryOpen(fileName);
    if (file == nullptr) {
        printOut("\ncannot open the file: %s\n\n", fileName);
        return false;
    }
    std::fwrite(text.data(), 1, text.size(), file);
    script.commit();
    return true;
}

} // namespace

void DFTTool::generateJobs(const std::string& fileTrain, const std::string& fileTest) {
    chooseSource();
    if (!readTemplate()) {
        return;
    }
    jobs = askForDFTJobs(static_cast<int>(atoms.size()));
    if (useMetropolis) {
        jobs.numGeoms = countGeometries();
    }
    if (jobs.numGeoms < 1 || !makeDirectory(dftFileNames::inputDirectory) || !writeInputs()) {
        return;
    }
    tellLeftInputs(jobs.numGeoms);
    const std::string& dataFile = jobs.forTraining ? fileTrain : fileTest;
    keepData(dataFile);
    writeScripts(dataFile);
    printOut("\n");
}

void DFTTool::chooseSource() {
    useMetropolis = hasGeometry(1);
    if (useMetropolis) {
        useMetropolis = askForMetropolis();
        printOut("\n  * The geometries of Metropolis is %s.\n", useMetropolis ? "used" : "NOT used");
    }
}

bool DFTTool::readTemplate() {
    atoms.clear();
    const auto fileName = fileInput.empty() ? askForTemplate() : fileInput;
    return fileName && readDFTTemplate(*fileName, useMetropolis, lines) &&
           (useMetropolis || parseDFTAtoms(lines.atomLines, atoms));
}

bool DFTTool::writeInputs() const {
    for (int number = 1; number <= jobs.numGeoms; ++number) {
        if (!writeInput(number)) {
            return false;
        }
    }
    return true;
}

bool DFTTool::writeInput(int number) const {
    const std::string fileName = dftFileNames::inputFile(number);
    if (useMetropolis) {
        return writeMetropolisInput(fileName, lines.headLines, dftFileNames::geometryFile(number));
    }
    return writeDisplacedInput(fileName, lines, atoms, jobs.shiftAtoms, sharedRandom());
}

void DFTTool::writeScripts(const std::string& dataFile) const {
    const char* const kind = jobs.forTraining ? "training" : "testing";
    if (writeScript(dftFileNames::batchScript, batchScriptOf(jobs, dataFile))) {
        printOut("\n  * Batch script file \"%s\" is written, which will generate %s data \"%s\".\n",
                 dftFileNames::batchScript, kind, dataFile.c_str());
    }
    if (writeScript(dftFileNames::shellScript, shellScriptOf(jobs, dataFile))) {
        printOut("\n  * Shell script file \"%s\" is written, which will generate %s data \"%s\".\n",
                 dftFileNames::shellScript, kind, dataFile.c_str());
    }
}

} // namespace melta
