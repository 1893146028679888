#pragma once

#include <array>
#include <initializer_list>
#include <string>
#include <vector>

namespace melta::test {

// Text of an atom line from its label and twelve fields.
inline std::string atomLine(const std::string& label, const std::vector<std::string>& fields) {
    std::string line = label;
    for (const std::string& field : fields) {
        line += " " + field;
    }
    return line + "\n";
}

// Twelve harmless fields: position, energy, force, charge, Coulomb energy, Coulomb force.
inline std::vector<std::string> plainFields() {
    return {"1.0", "2.0", "3.0", "-0.5", "0.1", "0.2", "-0.3", "0.25", "0.125", "0.01", "0.02", "0.03"};
}

// Twelve harmless fields with another atomic energy (Ry) and force along x (Ry/Bohr).
inline std::vector<std::string> fieldsWith(const std::string& energy, const std::string& force) {
    return {"1.0", "2.0", "3.0", energy, force, "0", "0", "0.5", "0", "0", "0", "0"};
}

// Three lines of a cubic cell with a side of 10 Bohr.
inline std::string cubicCell() {
    return "10 0 0\n0 10 0\n0 0 10\n";
}

// A block with one harmless atom for each label.
inline std::string blockOf(const std::string& flagAndTotal, const std::vector<std::string>& labels) {
    std::string text = std::to_string(labels.size()) + " " + flagAndTotal + "\n" + cubicCell();
    for (const std::string& label : labels) {
        text += atomLine(label, plainFields());
    }
    return text;
}

} // namespace melta::test
