#include "baseline/classical/ClassicalFile.hpp"

#include "base/FieldScanner.hpp"
#include "base/FileReplacement.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <optional>

namespace melta {
namespace {

constexpr float smallestA = 1.0e-4f;
constexpr int numTableRows = 1000;

const char* nameOf(const GeometrySet& set, std::size_t element) {
    return set.getElementName(static_cast<int>(element)).c_str();
}

// The elements of the file, each with its index in the set, or -1 if it is not there.
class FileElements {
public:
    explicit FileElements(const GeometrySet& geometrySet) : set(geometrySet) {}

    // Index in the set of the next element of the file.
    int add(const std::string& name) {
        int index = -1;
        for (int i = 0; index < 0 && i < set.numElems; ++i) {
            index = set.getElementName(i) == name ? i : -1;
        }
        names.push_back(name);
        indices.push_back(index);
        return index;
    }

    // Index in the set of an element that the file has named before.
    [[nodiscard]] std::optional<std::size_t> find(const std::string& name) const {
        const auto place = std::ranges::find(names, name);
        const int index =
            place == names.end() ? -1 : indices[static_cast<std::size_t>(place - names.begin())];
        return index < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(index));
    }

private:
    const GeometrySet& set;
    std::vector<std::string> names;
    std::vector<int> indices;
};

int readNumElements(LineReader& file, const std::string& fileName) {
    if (!file.next()) {
        stopWithMessage("cannot read #elements.");
    }
    int count = 0;
    if (!FieldScanner(file.line()).readInt(count) || count < 1) {
        stopWithMessage("incorrect #elements: %s", fileName.c_str());
    }
    return count;
}

void readElement(LineReader& file, const std::string& fileName, FileElements& elements,
                 ClassicalParameters& parameters) {
    if (!file.next()) {
        stopWithMessage("cannot read element's data.");
    }
    FieldScanner scanner(file.line());
    std::string name;
    float energy = 0.0f;
    if (!scanner.readWord(name) || !readFinite(scanner, energy)) {
        stopWithMessage("cannot read an element: %s", fileName.c_str());
    }
    const int index = elements.add(name);
    if (index >= 0) {
        parameters.elemEnergy[static_cast<std::size_t>(index)] = energy;
    }
}

void readPair(const std::string& line, const std::string& fileName, const FileElements& elements,
              ClassicalParameters& parameters) {
    FieldScanner scanner(line);
    std::string first;
    std::string second;
    std::array<float, numPowers> coefs{};
    if (!scanner.readWord(first) || !scanner.readWord(second) || !readFinite(scanner, coefs)) {
        stopWithMessage("cannot read a pair of elements: %s", fileName.c_str());
    }
    const auto i = elements.find(first);
    const auto j = elements.find(second);
    if (i && j) {
        const std::size_t pair = pairIndexOf(*i, *j);
        parameters.coefA[pair] = std::max(smallestA, coefs[0]);
        parameters.coefB[pair] = coefs[1];
        parameters.coefC[pair] = coefs[2];
        parameters.coefD[pair] = coefs[3];
    }
}

} // namespace

void readClassicalFile(LineReader& file, const std::string& fileName, const GeometrySet& geometrySet,
                       ClassicalParameters& parameters) {
    const int count = readNumElements(file, fileName);
    if (geometrySet.numElems < 1) {
        stopWithMessage("now, you have no elements.");
    }
    FileElements elements(geometrySet);
    for (int i = 0; i < count; ++i) {
        readElement(file, fileName, elements, parameters);
    }
    while (file.next()) {
        readPair(file.line(), fileName, elements, parameters);
    }
}

void readExportedPairs(LineReader& file, const std::string& fileName, const GeometrySet& geometrySet,
                       ClassicalParameters& parameters) {
    int count = 0;
    if (!file.next() || !FieldScanner(file.line()).readInt(count) || count < 0) {
        stopWithMessage("cannot read #pairs of elements: %s", fileName.c_str());
    }
    FileElements elements(geometrySet);
    for (const std::string& name : geometrySet.elemNames) {
        elements.add(name);
    }
    for (int i = 0; i < count; ++i) {
        readPair(file.next() ? file.line() : std::string(), fileName, elements, parameters);
    }
}

void writeClassicalFile(const std::string& fileName, const GeometrySet& geometrySet,
                        const ClassicalParameters& parameters) {
    FileReplacement files;
    std::FILE* const file = files.open(fileName);
    std::fprintf(file, "%d\n", static_cast<int>(parameters.numElems()));
    for (std::size_t i = 0; i < parameters.numElems(); ++i) {
        std::fprintf(file, "%s %.8e\n", nameOf(geometrySet, i),
                     static_cast<double>(parameters.elemEnergy[i]));
    }
    forEachPairRow(parameters.numElems(), [&](std::size_t i, std::size_t j) {
        std::fprintf(file, "%s %s", nameOf(geometrySet, i), nameOf(geometrySet, j));
        for (const float coef : parameters.coefsOf(pairIndexOf(i, j))) {
            std::fprintf(file, " %.8e", static_cast<double>(coef));
        }
        std::fprintf(file, "\n");
    });
    files.commit();
}

void writeClassicalCsv(const std::string& fileName, const GeometrySet& geometrySet,
                       const ClassicalParameters& parameters, const PairCutoff& cutoff) {
    FileReplacement files;
    std::FILE* const file = files.open(fileName);
    std::fprintf(file, "R/Angstrom");
    forEachPairRow(parameters.numElems(), [&](std::size_t i, std::size_t j) {
        std::fprintf(file, ", %s-%s", nameOf(geometrySet, i), nameOf(geometrySet, j));
    });
    std::fprintf(file, "\n");
    for (int k = 1; k <= numTableRows; ++k) {
        const float r = static_cast<float>(k) * 0.01f;
        const auto values = cutoff.valuesAt(r);
        std::fprintf(file, "%.8e", static_cast<double>(r));
        forEachPairRow(parameters.numElems(), [&](std::size_t i, std::size_t j) {
            const float energy =
                r < cutoff.rc ? combine(parameters.coefsOf(pairIndexOf(i, j)), values) : 0.0f;
            std::fprintf(file, ", %.8e", static_cast<double>(energy));
        });
        std::fprintf(file, "\n");
    }
    files.commit();
}

} // namespace melta
