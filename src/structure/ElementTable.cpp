#include "structure/ElementTable.hpp"

#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <utility>

namespace melta {

ElementTable::ElementTable(const GeometrySet* trainingSet, std::string name)
    : fileName(std::move(name)), isOpen(trainingSet == nullptr) {
    if (trainingSet != nullptr) {
        names = trainingSet->elemNames;
        atomNumbers = trainingSet->elemAtomNumbers;
        counts.assign(names.size(), 0);
    }
}

int ElementTable::addAtom(const std::string& label) {
    int kind = find(label);
    if (kind == static_cast<int>(names.size())) {
        if (!isOpen) {
            stopWithMessage("incorrect kind of element: %s", fileName.c_str());
        }
        const int atomNumber = atomicNumberOf(label);
        if (kind >= GeometrySet::maxElems) {
            stopWithMessage("too much kinds of elements: %s", fileName.c_str());
        }
        if (label.size() > GeometrySet::maxLabelLength) {
            stopWithMessage("too long label of the element: %s", label.c_str());
        }
        names.push_back(label);
        atomNumbers.push_back(atomNumber);
        counts.push_back(0);
    }
    ++counts[static_cast<std::size_t>(kind)];
    return kind;
}

void ElementTable::checkCounts() const {
    for (std::size_t kind = 0; isOpen && kind < names.size(); ++kind) {
        if (counts[kind] < 1) {
            stopWithMessage("there are no atoms of %s: %s", names[kind].c_str(), fileName.c_str());
        }
    }
}

void ElementTable::moveTo(GeometrySet& set) {
    set.numElems = static_cast<int>(names.size());
    set.elemNames = std::move(names);
    set.elemAtomNumbers = std::move(atomNumbers);
    set.elemCounts = std::move(counts);
}

int ElementTable::find(const std::string& label) const {
    return static_cast<int>(std::find(names.begin(), names.end(), label) - names.begin());
}

} // namespace melta
