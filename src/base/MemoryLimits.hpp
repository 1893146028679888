#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>

namespace melta {

// How many bytes this process may still take, as far as the system tells. What it does not tell counts as no
// limit, so that all figures are upper bounds.
class MemoryLimits {
public:
    static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

    // The arguments are the places of the system's own files.
    explicit MemoryLimits(std::filesystem::path processFiles = "/proc",
                          std::filesystem::path groupFiles = "/sys/fs/cgroup");

    // The least of all that follows.
    [[nodiscard]] std::uint64_t findFree() const;

    // What the machine can give without taking it from others, swap space included.
    [[nodiscard]] std::uint64_t findFreeOfMachine() const;

    // What the control groups of the process, of both versions and up to the root, leave. The contents of
    // files that the system keeps in memory count as free.
    [[nodiscard]] std::uint64_t findFreeOfGroups() const;

    // What the limits of the address space and of the data segment leave.
    [[nodiscard]] std::uint64_t findFreeAddresses() const;

private:
    std::filesystem::path processRoot;
    std::filesystem::path groupRoot;
};

} // namespace melta
