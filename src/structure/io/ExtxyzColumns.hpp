#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace melta {

// What the lines of atoms hold in a frame of extended XYZ, by the value of Properties: a sequence
// NAME:TYPE:COUNT, with R for real, I for whole numbers, S for text and L for truth values.
class ExtxyzColumns {
public:
    // That of a frame without Properties.
    static constexpr const char* plain = "species:S:1:pos:R:3";

    // Null for a text that is no such sequence.
    [[nodiscard]] static std::optional<ExtxyzColumns> parse(const std::string& properties);

    // The first field of a quantity of so many fields; null where there is no quantity with this name, or one
    // of another size.
    [[nodiscard]] std::optional<std::size_t> find(std::string_view name, std::size_t count) const;

    // Fields of a line.
    [[nodiscard]] std::size_t size() const { return numFields; }

private:
    struct Quantity {
        std::string name;
        std::size_t first = 0;
        std::size_t count = 0;
    };
    std::vector<Quantity> quantities;
    std::size_t numFields = 0;
};

} // namespace melta
