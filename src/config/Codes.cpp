#include "config/Codes.hpp"

#include <algorithm>

namespace melta {
namespace {

template <class Predicate>
const CodeName* findName(std::span<const CodeName> names, Predicate isWanted) {
    const auto found = std::find_if(names.begin(), names.end(), isWanted);
    return found == names.end() ? nullptr : &*found;
}

} // namespace

const CodeName* findCode(std::span<const CodeName> names, int code) {
    return findName(names, [code](const CodeName& name) { return name.code == code; });
}

const CodeName* findWord(std::span<const CodeName> names, std::string_view word) {
    return findName(names, [word](const CodeName& name) { return name.word == word; });
}

} // namespace melta
