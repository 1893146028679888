#include "evaluation/FrameText.hpp"

#include "structure/ElementSymbols.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <string_view>

namespace melta {
namespace {

// Digits of what was read, and of results, which come from networks in single precision.
constexpr int inputDigits = 15;
constexpr int resultDigits = 12;

// Entries that are written anew, or whose old value would be one of other results.
constexpr std::array<std::string_view, 13> replacedKeys = {
    "Lattice", "Properties", "pbc",    "energy",     "free_energy", "stress",      "virial",
    "dipole",  "magmom",     "excess", "energy_std", "forces_std",  "energies_std"};

// A negative zero loses its sign.
void append(std::string& text, double number, int digits) {
    std::array<char, 32> room{};
    number += 0.0;
    const auto end =
        std::to_chars(room.data(), room.data() + room.size(), number, std::chars_format::general, digits).ptr;
    text.append(room.data(), end);
}

void append(std::string& text, std::span<const double> numbers, int digits) {
    for (const double number : numbers) {
        text += ' ';
        append(text, number, digits);
    }
}

void appendQuoted(std::string& text, const char* key, std::span<const double> numbers, int digits) {
    std::string joined;
    append(joined, numbers, digits);
    text += key;
    text += "=\"" + joined.substr(1) + "\" ";
}

// A symbol is what readers of the format want; a label that is more than that has a column of its own.
std::string symbolOf(const std::string& label) {
    const int number = findAtomicNumber(label);
    return number < 1 ? label : std::string(elementSymbols[static_cast<std::size_t>(number) - 1]);
}

// Writes a frame part by part.
class FrameText {
public:
    FrameText(const ExtxyzFrame& ofAtoms, const FrameResults& ofModel)
        : frame(&ofAtoms), results(&ofModel),
          hasLabels(std::ranges::any_of(ofAtoms.labels, [](const auto& l) { return symbolOf(l) != l; })) {}

    std::string write() {
        text = std::to_string(frame->numAtoms()) + "\n";
        writeCell();
        writeProperties();
        writeValues();
        writeOtherEntries();
        text.back() = '\n';
        for (std::size_t i = 0; i < frame->numAtoms(); ++i) {
            writeAtom(i);
        }
        return std::move(text);
    }

private:
    void writeCell() {
        if (frame->lattice) {
            appendQuoted(text, "Lattice", *frame->lattice, inputDigits);
        }
    }

    void writeProperties() {
        text += "Properties=species:S:1:pos:R:3:forces:R:3:energies:R:1";
        text += results->charges.empty() ? "" : ":charges:R:1";
        text += results->energyDeviation ? ":energies_std:R:1:forces_std:R:1" : "";
        text += ":novelty:L:1";
        text += hasLabels ? ":labels:S:1 " : " ";
    }

    void writeValues() {
        writeValue("energy", results->energy);
        if (results->stress) {
            appendQuoted(text, "stress", *results->stress, resultDigits);
        }
        if (results->energyDeviation) {
            writeValue("energy_std", *results->energyDeviation);
        }
        writeValue("excess", results->excess);
        const auto letter = [this](std::size_t direction) {
            return frame->isPeriodic[direction] ? 'T' : 'F';
        };
        text += {'p', 'b', 'c', '=', '"', letter(0), ' ', letter(1), ' ', letter(2), '"', ' '};
    }

    void writeValue(const char* key, double value) {
        text += key;
        text += '=';
        append(text, value, inputDigits);
        text += ' ';
    }

    void writeOtherEntries() {
        for (const ExtxyzComment::Entry& entry : frame->comment.getEntries()) {
            const auto isSame = [&entry](std::string_view key) { return isSameKey(entry.key, key); };
            if (std::ranges::none_of(replacedKeys, isSame)) {
                text += entry.text + " ";
            }
        }
    }

    void writeAtom(std::size_t i) {
        text += symbolOf(frame->labels[i]);
        append(text, std::span(frame->positions).subspan(3 * i, 3), inputDigits);
        append(text, std::span(results->forces).subspan(3 * i, 3), resultDigits);
        for (const auto* column :
             {&results->energies, &results->charges, &results->energyDeviations, &results->forceDeviations}) {
            if (!column->empty()) {
                append(text, {&(*column)[i], 1}, resultDigits);
            }
        }
        text += results->novelty[i] != 0 ? " T" : " F";
        text += hasLabels ? " " + frame->labels[i] + "\n" : "\n";
    }

    const ExtxyzFrame* frame;
    const FrameResults* results;
    bool hasLabels;
    std::string text;
};

} // namespace

std::string writeFrame(const ExtxyzFrame& frame, const FrameResults& results) {
    return FrameText(frame, results).write();
}

} // namespace melta
