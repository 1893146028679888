#include "testing/ResultFile.hpp"

#include <cstdio>
#include <utility>

namespace melta {

ResultFile::ResultFile(const std::string& name, const char* quantity)
    : fileName(name), file(openForWriting(name)) {
    std::fprintf(file.get(), "%s(DFT)  %s(NNP)\n", quantity, quantity);
}

void ResultFile::write(double reference, double predicted) {
    std::fprintf(file.get(), "%.8e %.8e\n", reference, predicted);
}

void ResultFile::close() {
    closeWritten(std::move(file), fileName);
}

} // namespace melta
