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
    SplitRates rates;
    if (words.size() >= 2 && !FieldScanner(words[1]).readFloat(rates.test)) {
        stopWithMessage("cannot read the rate to split training data into testing data.");
    }
    if (words.size() >= 3 && !FieldScanner(words[2]).readFloat(rates.valid)) {
        stopWithMessage("cannot read the rate to split training data into validation data.");
    }
    splitTrainingData({fileNames::train, fileNames::test, fileNames::validation}, rates);
}

} // namespace melta
