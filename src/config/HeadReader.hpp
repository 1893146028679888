#pragma once

#include "base/LineReader.hpp"
#include "config/NetworkKind.hpp"
#include "config/Property.hpp"

#include <span>
#include <string>

namespace melta {

// Reads the head of a model line by line, in one of two ways. It takes over what the lines say, into
// settings; a line that is missing or unreadable leaves them alone and ends the reading. Or it compares what
// defines the model with the settings that are expected, and stops at the first difference; then cutoffs,
// parameters of functions, `tanhCutoff` and the numbers of ReaxFF are read past. Array sizes are never
// trusted: arrays grow line by line.
//
// All functions that return bool say whether the reading can go on; in comparing it always can, or stops.
class HeadReader {
public:
    // Takes over into `property`, borrowed like the reader.
    HeadReader(LineReader& lines, Property& property);

    // Takes over, and asks of what it takes what the comparison asks of a model: stops when that is not
    // fulfilled, and behind the settings also where a line is missing. `name`: the file in the messages.
    HeadReader(LineReader& lines, Property& property, std::string name);

    // Compares with `expected`, borrowed. `name`: the file in the messages. The shapes of the networks are
    // compared only with the flags.
    HeadReader(LineReader& lines, const Property& expected, std::string name, bool withEnergy,
               bool withCharge);

    // The whole of the settings, up to and including the shapes of the networks, of today or of older
    // systems.
    bool readSettings();

    // For the parts of the head.

    [[nodiscard]] bool isComparing() const { return target == nullptr; }

    // The settings that have been taken so far, or those that are expected.
    [[nodiscard]] const Property& getSettings() const { return settings; }

    // Where taken values go; null in comparing.
    [[nodiscard]] Property* getTarget() const { return target; }

    // Goes to the next line. At the end of the file it returns false or, in comparing and behind the
    // settings, stops with `message`.
    bool next(const char* message);

    // The present line.
    [[nodiscard]] const std::string& line() const { return reader.line(); }

    // Goes to the next line, whose first numbers go to `values`; at least `least` of them have to be there
    // and finite. In comparing the line is skipped.
    bool readRow(const char* message, std::size_t least, std::span<float> values);

    // Two sizes, the first of them positive, and two lengths at the start of the present line.
    struct Sizes {
        int Property::*radial;
        const char* radialItem; // how a message calls it
        int Property::*angular;
        const char* angularItem;
        float Property::*firstLength;
        float Property::*secondLength;
    };
    bool readSizes(const Sizes& sizes);

    // In comparing, the two sizes only; elsewhere, what is asked of those that have been taken.
    void compareSizes(const Sizes& sizes) const;

    // Unless it is valid, stops with "incorrect %s: %s", the item and the file, or returns false.
    bool require(bool isValid, const char* item) const;

    // Stops with the message or, where nothing is asked, returns false.
    bool refuse(const std::string& message) const;

    [[nodiscard]] const std::string& getFileName() const { return fileName; }

private:
    bool readKinds();
    bool takeKinds(std::span<const int> values, int count);
    void compareKinds(std::span<const int> values, int count) const;
    bool readBaseline();
    bool readSymmFunc();
    bool readWithCharge();
    bool readShape(const NetworkKind& kind, bool isCompared);
    void compareShape(std::span<const int> values, const NetworkKind& kind) const;

    LineReader& reader;
    Property* target;
    const Property& settings;
    std::string fileName;
    bool isAsking; // refuses by a message
    bool isBehindSettings = false;
    bool withEnergyShape = true;
    bool withChargeShape = true;
};

} // namespace melta
