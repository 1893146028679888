#include "modelio/OpenModel.hpp"

#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"
#include "config/NetworkKind.hpp"

#include <sys/stat.h>

namespace melta {
namespace {

// Whether the name still leads to the file that was opened, or still to none.
bool isSameFile(const FilePointer& file, const std::string& name) {
    struct stat named {};
    const bool isThere = stat(name.c_str(), &named) == 0;
    if (!file) {
        return !isThere || openForReading(name) == nullptr;
    }
    struct stat opened {};
    return isThere && fstat(fileno(file.get()), &opened) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

} // namespace

OpenModel::OpenModel(const std::string& headName) {
    // A training stores its networks once in minutes, so that a second attempt is rare.
    constexpr int maxAttempts = 100;
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        finishReplacement(headName);
        open(headName);
        if (isCurrent(headName)) {
            return;
        }
    }
    stopWithMessage("cannot open file: %s", headName.c_str());
}

void OpenModel::open(const std::string& headName) {
    head = openForReading(headName);
    energy = openForReading(companionName(headName, energyKind));
    charge = openForReading(companionName(headName, chargeKind));
}

// The head takes its name last, so that it tells whether a replacement has gone by.
bool OpenModel::isCurrent(const std::string& headName) const {
    return isSameFile(head, headName) && isSameFile(energy, companionName(headName, energyKind)) &&
           isSameFile(charge, companionName(headName, chargeKind)) &&
           !openForReading(ReplacementJournal::nameFor(followLinks(headName)).string());
}

} // namespace melta
