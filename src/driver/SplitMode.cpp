#include "driver/SplitMode.hpp"

#include "base/DirectoryLock.hpp"
#include "base/FieldScanner.hpp"
#include "base/ProcessGuard.hpp"
#include "base/Reporting.hpp"
#include "config/FileNames.hpp"
#include "dfttools/DataSplitter.hpp"

namespace melta {

void runSplit(std::span<const std::string> words) {
    const DirectoryLock lock;
    requireSingleProcess(words[0]);
    float rate = -1.0f;
    if (words.size() >= 2 && !FieldScanner(words[1]).readFloat(rate)) {
        stopWithMessage("cannot read the rate to split training data into testing data.");
    }
    splitTrainingData(fileNames::train, fileNames::test, rate);
}

} // namespace melta
