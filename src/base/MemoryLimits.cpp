#include "base/MemoryLimits.hpp"

#include <algorithm>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace melta {
namespace {

constexpr std::uint64_t unlimited = MemoryLimits::unlimited;

// The number behind a word at the start of a line; without a word the first number of the file.
std::optional<std::uint64_t> readNumber(const fs::path& file, std::string_view word = {}) {
    std::ifstream stream(file);
    std::string first;
    std::uint64_t number = 0;
    if (word.empty()) {
        return stream >> number ? std::optional(number) : std::nullopt;
    }
    for (std::string rest; stream >> first; std::getline(stream, rest)) {
        if (first == word) {
            return stream >> number ? std::optional(number) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::uint64_t subtract(std::uint64_t limit, std::uint64_t used) {
    return limit == unlimited ? unlimited : limit - std::min(limit, used);
}

std::uint64_t add(std::uint64_t a, std::uint64_t b) {
    return a > unlimited - b ? unlimited : a + b;
}

// The files of a control group, which the two versions name differently.
struct GroupFiles {
    const char* limit;
    const char* usage;
    const char* inactive;
    const char* active;
};
constexpr GroupFiles filesOfFirst = {"memory.limit_in_bytes", "memory.usage_in_bytes", "total_inactive_file",
                                     "total_active_file"};
constexpr GroupFiles filesOfSecond = {"memory.max", "memory.current", "inactive_file", "active_file"};

std::uint64_t freeOfGroup(const fs::path& directory, const GroupFiles& files) {
    const auto limit = readNumber(directory / files.limit);
    const auto usage = readNumber(directory / files.usage);
    if (!limit || !usage) {
        return unlimited;
    }
    const fs::path statistics = directory / "memory.stat";
    const std::uint64_t kept = add(readNumber(statistics, files.inactive).value_or(0),
                                   readNumber(statistics, files.active).value_or(0));
    return subtract(*limit, subtract(*usage, kept));
}

// The least that the group and all groups around it leave.
std::uint64_t freeOfBranch(const fs::path& root, const fs::path& group, const GroupFiles& files) {
    std::uint64_t least = freeOfGroup(root, files);
    fs::path directory = root;
    for (const fs::path& name : group.relative_path()) {
        directory /= name;
        least = std::min(least, freeOfGroup(directory, files));
    }
    return least;
}

bool hasWord(const std::string& list, const std::string& word) {
    return ("," + list + ",").find("," + word + ",") != std::string::npos;
}

// `used`, in pages, counts against a limit of the process.
std::uint64_t freeOfResource(int resource, std::uint64_t used) {
    rlimit limit{};
    if (getrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return unlimited;
    }
    return subtract(limit.rlim_cur, used * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
}

} // namespace

MemoryLimits::MemoryLimits(fs::path processFiles, fs::path groupFiles)
    : processRoot(std::move(processFiles)), groupRoot(std::move(groupFiles)) {}

std::uint64_t MemoryLimits::findFree() const {
    return std::min({findFreeOfMachine(), findFreeOfGroups(), findFreeAddresses()});
}

std::uint64_t MemoryLimits::findFreeOfMachine() const {
    constexpr std::uint64_t kibi = 1024;
    const auto available = readNumber(processRoot / "meminfo", "MemAvailable:");
    const auto swap = readNumber(processRoot / "meminfo", "SwapFree:");
    return available ? kibi * (*available + swap.value_or(0)) : unlimited;
}

// Each line is "number:controllers:path"; that of the second version names no controllers.
std::uint64_t MemoryLimits::findFreeOfGroups() const {
    std::ifstream groups(processRoot / "self" / "cgroup");
    std::uint64_t least = unlimited;
    std::string number;
    std::string controllers;
    std::string path;
    while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':') &&
           std::getline(groups, path)) {
        if (controllers.empty()) {
            least = std::min(least, freeOfBranch(groupRoot, path, filesOfSecond));
        } else if (hasWord(controllers, "memory")) {
            least = std::min(least, freeOfBranch(groupRoot / "memory", path, filesOfFirst));
        }
    }
    return least;
}

std::uint64_t MemoryLimits::findFreeAddresses() const {
    std::ifstream sizes(processRoot / "self" / "statm");
    std::uint64_t total = 0;
    std::uint64_t ignored = 0;
    std::uint64_t data = 0;
    if (!(sizes >> total >> ignored >> ignored >> ignored >> ignored >> data)) {
        return unlimited;
    }
    return std::min(freeOfResource(RLIMIT_AS, total), freeOfResource(RLIMIT_DATA, data));
}

} // namespace melta
