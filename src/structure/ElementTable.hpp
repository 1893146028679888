#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace melta {

class GeometrySet;

// The element kinds of a data file while it is read: they come up with the atoms or, for a set that is tested
// against another one, are those of that set.
class ElementTable {
public:
    // `trainingSet`: the set whose kinds are used, with all counts at 0; null: an open table without kinds.
    // `fileName` is named in the messages.
    ElementTable(const GeometrySet* trainingSet, std::string fileName);

    // Counts an atom and returns its kind, which is new when no kind has exactly this label.
    // Stops with "incorrect kind of element: %s" (the file) if there is a training set without the label;
    // else as atomicNumberOf, with "too much kinds of elements: %s" (the file), "too long label of the
    // element: %s" (the label).
    int addAtom(const std::string& label);

    // Takes an atom of a refused geometry back. Its kind stays.
    void removeAtom(int kind) { --counts[static_cast<std::size_t>(kind)]; }

    [[nodiscard]] int atomNumberOf(int kind) const { return atomNumbers[static_cast<std::size_t>(kind)]; }

    // Stops with "there are no atoms of %s: %s" (label, file) if a kind of an open table was left without
    // atoms.
    void checkCounts() const;

    // Hands the table over to the set.
    void moveTo(GeometrySet& set);

private:
    [[nodiscard]] int find(const std::string& label) const;

    std::string fileName;
    bool isOpen;
    std::vector<std::string> names;
    std::vector<std::int32_t> atomNumbers;
    std::vector<std::int32_t> counts;
};

} // namespace melta
