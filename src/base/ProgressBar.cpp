#include "base/ProgressBar.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cstdint>
#include <string>

namespace melta {

ProgressBar::ProgressBar(int work) : total(work) {
    printOut("    |%s|\n    |", std::string(width, '-').c_str());
    flushOut();
}

void ProgressBar::advance(int counter) {
    const auto marks = static_cast<float>(std::int64_t{counter} * width) / static_cast<float>(total);
    moveTo(static_cast<int>(std::clamp(marks, 0.0f, static_cast<float>(width))));
}

void ProgressBar::finish() {
    moveTo(width);
    printOut("|\n\n");
    flushOut();
}

void ProgressBar::moveTo(int target) {
    for (; position < target; ++position) {
        printOut("=");
        flushOut();
    }
}

} // namespace melta
