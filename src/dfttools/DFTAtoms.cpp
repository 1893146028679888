#include "dfttools/DFTAtoms.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"

#include <algorithm>

namespace melta {
namespace {

struct ElementCount {
    std::string name;
    int count;
};

bool parseAtom(const std::string& line, DFTAtom& atom) {
    FieldScanner fields(line);
    return fields.readWord(atom.name) && readFinite(fields, atom.position);
}

std::vector<ElementCount> countElements(const std::vector<DFTAtom>& atoms) {
    std::vector<ElementCount> elements;
    for (const DFTAtom& atom : atoms) {
        const auto element = std::ranges::find(elements, atom.name, &ElementCount::name);
        if (element == elements.end()) {
            elements.push_back({atom.name, 1});
        } else {
            ++element->count;
        }
    }
    return elements;
}

void printAtoms(const std::vector<DFTAtom>& atoms) {
    if (atoms.size() == 1) {
        printOut("\n  * There is 1 atom.\n");
    } else {
        printOut("\n  * There are %d atoms.\n", static_cast<int>(atoms.size()));
    }
    const std::vector<ElementCount> elements = countElements(atoms);
    if (elements.size() == 1) {
        printOut("\n  * There is 1 element.\n");
    } else {
        printOut("\n  * There are %d elements.\n", static_cast<int>(elements.size()));
    }
    for (const ElementCount& element : elements) {
        printOut("        %-6s->%6d atoms\n", element.name.c_str(), element.count);
    }
}

} // namespace

bool parseDFTAtoms(const std::vector<std::string>& atomLines, std::vector<DFTAtom>& atoms) {
    for (const std::string& line : atomLines) {
        DFTAtom atom{};
        if (!parseAtom(line, atom)) {
            printOut("\nincorrect line in ATOMIC_POSITIONS:\n");
            printOut("  %s\n\n", line.c_str());
            return false;
        }
        atoms.push_back(std::move(atom));
    }
    printAtoms(atoms);
    return true;
}

} // namespace melta
