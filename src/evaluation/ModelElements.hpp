#pragma once

#include "melta/Potential.hpp"

#include <map>
#include <string>
#include <vector>

namespace melta {

// Finds the elements of a model by the labels of a file: the element with the label itself or, without one,
// with its symbol, or the only one of the same atomic number. One thread.
class ModelElements {
public:
    explicit ModelElements(const Potential& potential) : labels(potential.elements()) {}

    // Index of the element (Potential::elements), or -1.
    [[nodiscard]] int indexOf(const std::string& label);

private:
    [[nodiscard]] int find(const std::string& label) const;
    [[nodiscard]] int findSame(const std::string& label) const;

    std::vector<std::string> labels;
    std::map<std::string, int> known;
};

} // namespace melta
