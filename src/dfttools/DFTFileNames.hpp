#pragma once

#include "base/Reporting.hpp"
#include "config/FileNames.hpp"

#include <string>

// The names that the jobs and their scripts share.
namespace melta::dftFileNames {

inline constexpr const char* inputDirectory = "dft_inp";
inline constexpr const char* inputStem = "inp.";
inline constexpr const char* outputDirectory = "dft_out"; // where the scripts run the jobs
inline constexpr const char* outputStem = "out.";
inline constexpr const char* batchScript = "dft_run.bat";
inline constexpr const char* shellScript = "dft_run.sh";

// Both count from 1.
inline std::string inputFile(int number) {
    return formatText("%s/%s%d", inputDirectory, inputStem, number);
}
inline std::string geometryFile(int number) {
    return formatText("%s/%s%d", fileNames::geometryDirectory, fileNames::geometryStem, number);
}

} // namespace melta::dftFileNames
