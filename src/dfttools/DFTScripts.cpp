#include "dfttools/DFTScripts.hpp"

#include "base/Reporting.hpp"
#include "dfttools/DFTFileNames.hpp"

namespace melta {

using dftFileNames::inputDirectory;
using dftFileNames::inputStem;
using dftFileNames::outputDirectory;
using dftFileNames::outputStem;

std::string batchScriptOf(const DFTJobs& jobs, const std::string& dataFile) {
    const char* const data = dataFile.c_str();
    std::string text = "@echo off\n\n";
    text += formatText("if exist %s del /s /q %s > nul\n", data, data);
    text += formatText("type nul > %s\n\n", data);
    text += formatText("if exist %s rmdir /s /q %s > nul\n\n", outputDirectory, outputDirectory);
    text += formatText("mkdir %s\n", outputDirectory);
    text += formatText("chdir %s\n\n", outputDirectory);
    text += formatText("set OMP_NUM_THREADS=%d\n\n", jobs.numOMP);
    text += formatText("for /l %%%%i in (1,1,%d) do (\n", jobs.numGeoms);
    text += formatText("  mkdir %s%%%%i\n", outputStem);
    text += formatText("  chdir %s%%%%i\n", outputStem);
    text += formatText("  copy  /y ..\\..\\%s\\%s%%%%i PW.inp > nul\n", inputDirectory, inputStem);
    text += formatText("  %s -n %d %s -in PW.inp 1> PW.out 2> PW.err\n", jobs.commandMPI.c_str(), jobs.numMPI,
                       jobs.commandQE.c_str());
    text += formatText("  type *.melta tmpdir\\*.melta >> ..\\..\\%s 2> nul\n", data);
    text += "  for /d /r . %%j in (*.save) do rmdir /s /q %%j > nul\n";
    text += "  chdir ..\n";
    text += ")\n\n";
    text += "chdir ..\n";
    return text;
}

std::string shellScriptOf(const DFTJobs& jobs, const std::string& dataFile) {
    const char* const data = dataFile.c_str();
    std::string text = "#!/bin/sh\n\n";
    text += formatText("if [ -e %s ]\nthen\n  rm -rf %s\nfi\n\n", data, data);
    text += formatText("touch %s\n\n", data);
    text += formatText("if [ -e %s ]\nthen\n  rm -rf %s\nfi\n\n", outputDirectory, outputDirectory);
    text += formatText("mkdir %s\n", outputDirectory);
    text += formatText("cd    %s\n\n", outputDirectory);
    text += formatText("OMP_NUM_THREADS=%d\n", jobs.numOMP);
    text += "export OMP_NUM_THREADS\n\n";
    text += formatText("for i in `seq %d`\n", jobs.numGeoms);
    text += "do\n";
    text += formatText("  mkdir %s${i}\n", outputStem);
    text += formatText("  cd    %s${i}\n", outputStem);
    text += formatText("  cp  ../../%s/%s${i} PW.inp\n", inputDirectory, inputStem);
    text += formatText("  %s -n %d %s -in PW.inp 1> PW.out 2> PW.err\n", jobs.commandMPI.c_str(), jobs.numMPI,
                       jobs.commandQE.c_str());
    text += formatText("  cat *.melta tmpdir/*.melta >> ../../%s\n", data);
    text += "  rm -rf *.save tmpdir/*.save\n";
    text += "  cd    ..\n";
    text += "done\n";
    return text;
}

} // namespace melta
