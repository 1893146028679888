#include "driver/DFTMode.hpp"

#include "base/ProcessGuard.hpp"
#include "config/FileNames.hpp"
#include "dfttools/DFTTool.hpp"

namespace melta {

void runDFT(std::span<const std::string> words) {
    requireSingleProcess(words[0]);
    DFTTool tool = words.size() >= 2 ? DFTTool(words[1]) : DFTTool();
    tool.generateJobs(fileNames::train, fileNames::test);
}

} // namespace melta
