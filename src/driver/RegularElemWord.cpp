#include "driver/RegularElemWord.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"

namespace melta {

bool readRegularElem(std::span<const std::string> words, std::size_t index) {
    int value = 1;
    if (words.size() > index && !FieldScanner(words[index]).readInt(value)) {
        stopWithMessage("cannot read the value of the regularElem.");
    }
    return value != 0;
}

} // namespace melta
