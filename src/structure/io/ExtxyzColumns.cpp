#include "structure/io/ExtxyzColumns.hpp"

#include "base/FieldScanner.hpp"

#include <algorithm>

namespace melta {
namespace {

// More fields have no room in a line that is read.
constexpr int largestCount = 1 << 19;

std::vector<std::string> cutAtColons(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == ':') {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    return parts;
}

} // namespace

std::optional<ExtxyzColumns> ExtxyzColumns::parse(const std::string& properties) {
    const std::vector<std::string> parts = cutAtColons(properties);
    if (parts.size() % 3 != 0) {
        return std::nullopt;
    }
    ExtxyzColumns columns;
    for (std::size_t i = 0; i < parts.size(); i += 3) {
        const std::string& type = parts[i + 1];
        const std::string& digits = parts[i + 2];
        int count = 0;
        const bool isNumber = !digits.empty() &&
                              digits.find_first_not_of("0123456789") == std::string::npos &&
                              FieldScanner(digits).readInt(count);
        const bool isType = type.size() == 1 && std::string_view("RISL").find(type[0]) != std::string::npos;
        if (parts[i].empty() || !isType || !isNumber || count < 1 || count > largestCount) {
            return std::nullopt;
        }
        columns.quantities.push_back({parts[i], columns.numFields, static_cast<std::size_t>(count)});
        columns.numFields += static_cast<std::size_t>(count);
    }
    return columns;
}

std::optional<std::size_t> ExtxyzColumns::find(std::string_view name, std::size_t count) const {
    const auto found = std::ranges::find_if(
        quantities, [&](const Quantity& one) { return one.name == name && one.count == count; });
    return found == quantities.end() ? std::nullopt : std::optional(found->first);
}

} // namespace melta
