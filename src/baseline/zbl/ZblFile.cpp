#include "baseline/zbl/ZblFile.hpp"

#include "base/FieldScanner.hpp"
#include "base/FileReplacement.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

ZblRadii readPair(const std::string& line, const std::string& fileName) {
    FieldScanner scanner(line);
    ZblRadii radii{};
    if (!scanner.readWord(radii.first) || !scanner.readWord(radii.second) ||
        !scanner.readDouble(radii.inner) || !scanner.readDouble(radii.outer)) {
        stopWithMessage("cannot read a pair of ZBL: %s", fileName.c_str());
    }
    requireZblRadii(radii, fileName);
    return radii;
}

} // namespace

const ZblRadii* findZblRadii(std::span<const ZblRadii> entries, const std::string& first,
                             const std::string& second) {
    const auto found = std::ranges::find_if(entries, [&](const ZblRadii& entry) {
        return (entry.first == first && entry.second == second) ||
               (entry.first == second && entry.second == first);
    });
    return found == entries.end() ? nullptr : &*found;
}

void requireZblRadii(const ZblRadii& radii, const std::string& fileName) {
    if (!(radii.inner >= 0.0 && radii.inner < radii.outer && std::isfinite(radii.outer))) {
        stopWithMessage("incorrect radii of ZBL for %s and %s: %s", radii.first.c_str(), radii.second.c_str(),
                        fileName.c_str());
    }
}

std::vector<ZblRadii> readZblFile(LineReader& file, const std::string& fileName) {
    int count = 0;
    if (!file.next() || !FieldScanner(file.line()).readInt(count) || count < 0) {
        stopWithMessage("cannot read #pairs of ZBL: %s", fileName.c_str());
    }
    std::vector<ZblRadii> entries;
    for (int i = 0; i < count; ++i) {
        entries.push_back(readPair(file.next() ? file.line() : std::string(), fileName));
    }
    return entries;
}

void writeZblFile(const std::string& fileName, std::span<const ZblRadii> entries) {
    FileReplacement files;
    std::FILE* const file = files.open(fileName);
    std::fprintf(file, "%d\n", static_cast<int>(entries.size()));
    for (const ZblRadii& entry : entries) {
        std::fprintf(file, "%s %s %.6f %.6f\n", entry.first.c_str(), entry.second.c_str(), entry.inner,
                     entry.outer);
    }
    files.commit();
}

} // namespace melta
