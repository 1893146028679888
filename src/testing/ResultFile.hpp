#pragma once

#include "base/LineReader.hpp"

#include <string>

namespace melta {

// A table of a test: a head line, then a line for each quantity with the reference value and the network's.
class ResultFile {
public:
    // Opens the file and writes its head, with `quantity` such as "Etot". Stops with "cannot open file: %s".
    ResultFile(const std::string& fileName, const char* quantity);

    void write(double reference, double predicted);

    // Closes the file. Stops with "cannot write file: %s" when anything was lost.
    void close();

private:
    std::string fileName;
    FilePointer file;
};

} // namespace melta
