#pragma once

#include "base/LineReader.hpp"

#include <string>

namespace melta {

// The files of one model, open for reading: all of one replacement, although a training may store its
// networks while they are being opened. What is not there, or does not open, is null.
struct OpenModel {
    // Stops with "cannot open file: %s" if the files keep changing.
    explicit OpenModel(const std::string& headName);

    FilePointer head;
    FilePointer energy; // companion of the energy networks
    FilePointer charge; // companion of the charge networks

private:
    void open(const std::string& headName);
    [[nodiscard]] bool isCurrent(const std::string& headName) const;
};

} // namespace melta
