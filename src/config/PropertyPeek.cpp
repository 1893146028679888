#include "config/PropertyPeek.hpp"

#include "base/LineReader.hpp"
#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"
#include "config/NetworkFields.hpp"

#include <array>

namespace melta {
namespace {

// Number of whole numbers that stand at the start of a line; the rest of `values` stays as it is.
int scanInts(const std::string& line, std::span<int> values) {
    FieldScanner scanner(line);
    int count = 0;
    for (int& value : values) {
        if (!scanner.readInt(value)) {
            break;
        }
        ++count;
    }
    return count;
}

// Number of finite numbers that stand at the start of a line.
int scanFloats(const std::string& line, std::span<float> values) {
    FieldScanner scanner(line);
    int count = 0;
    for (float& value : values) {
        if (!readFinite(scanner, value)) {
            break;
        }
        ++count;
    }
    return count;
}

// Reads the head of a network file, of today and of older systems. Each reader takes its own line and says
// whether that worked; a line that did not leaves the settings alone. Array sizes are never trusted: arrays
// grow line by line.
class HeadReader {
public:
    HeadReader(Property& target, LineReader& file) : property(target), reader(file) {}

    bool read() {
        return reader.isOpen() && readKinds() && readReaxFF() && readSymmFunc() && readWithCharge() &&
               readNetwork(energyNetwork) && (property.withCharge == 0 || readNetwork(chargeNetwork));
    }

private:
    bool readKinds() {
        std::array<int, 4> values{};
        const int count = reader.next() ? scanInts(reader.line(), values) : 0;
        if (count < 1 || findCode(symmFuncNames, values[0]) == nullptr) {
            return false;
        }
        property.symmFuncKind = values[0];
        property.elemWeight = count >= 3 ? values[1] : 0;
        property.tanhCutoff = count >= 3 ? values[2] : 1;
        const int baseline = count >= 4 ? values[3] : 0;
        property.withClassical = baseline < 2 ? baseline : 0;
        property.withReaxFF = baseline < 2 ? 0 : 1;
        return true;
    }

    bool readReaxFF() {
        if (property.withReaxFF == 0) {
            return true;
        }
        std::array<float, 2> values{};
        if (!reader.next() || scanFloats(reader.line(), values) < 2) {
            return false;
        }
        property.rcutReaxFF = values[0];
        property.rateReaxFF = values[1];
        return true;
    }

    bool readSymmFunc() {
        if (!reader.next()) {
            return false;
        }
        switch (property.symmFuncKind) {
        case SymmFuncKind::manyBody:
            return readSizes(property.m2, property.m3, property.rinner, property.router);
        case SymmFuncKind::behler:
            return readBehlerSizes() && readBehlerRadius() && readBehlerAngle();
        default:
            return readSizes(property.numRadius, property.numAngle, property.rcutRadius, property.rcutAngle);
        }
    }

    // Two sizes and two lengths, as for many-body and Chebyshev functions.
    bool readSizes(int& radialSize, int& angularSize, float& firstLength, float& secondLength) {
        FieldScanner scanner(reader.line());
        std::array<int, 2> sizes{};
        std::array<float, 2> lengths{};
        if (!scanner.readInt(sizes[0]) || !scanner.readInt(sizes[1]) || !readFinite(scanner, lengths[0]) ||
            !readFinite(scanner, lengths[1])) {
            return false;
        }
        radialSize = sizes[0];
        angularSize = sizes[1];
        firstLength = lengths[0];
        secondLength = lengths[1];
        return true;
    }

    // Older files have one cutoff and always G4.
    bool readBehlerSizes() {
        FieldScanner scanner(reader.line());
        std::array<int, 2> sizes{};
        std::array<float, 2> cutoffs{};
        int isG4 = 1;
        if (!scanner.readInt(sizes[0]) || !scanner.readInt(sizes[1]) || !readFinite(scanner, cutoffs[0])) {
            return false;
        }
        if (!readFinite(scanner, cutoffs[1]) || !scanner.readInt(isG4)) {
            cutoffs[1] = cutoffs[0];
            isG4 = 1;
        }
        property.numRadius = sizes[0];
        property.numAngle = sizes[1];
        property.rcutRadius = cutoffs[0];
        property.rcutAngle = cutoffs[1];
        property.behlerG4 = isG4 != 0 ? 1 : 0;
        return true;
    }

    bool readBehlerRadius() {
        property.radiusEta.clear();
        property.radiusShift.clear();
        for (int i = 0; i < property.numRadius; ++i) {
            std::array<float, 2> values{};
            if (!reader.next() || scanFloats(reader.line(), values) < 2) {
                return false;
            }
            property.radiusEta.push_back(values[0]);
            property.radiusShift.push_back(values[1]);
        }
        return true;
    }

    // Older files have no shift.
    bool readBehlerAngle() {
        property.angleEta.clear();
        property.angleZeta.clear();
        property.angleShift.clear();
        for (int i = 0; i < property.numAngle; ++i) {
            std::array<float, 3> values{};
            const int count = reader.next() ? scanFloats(reader.line(), values) : 0;
            if (count < 2) {
                return false;
            }
            property.angleEta.push_back(values[0]);
            property.angleZeta.push_back(values[1]);
            property.angleShift.push_back(count == 3 ? values[2] : 0.0f);
        }
        return true;
    }

    bool readWithCharge() {
        std::array<int, 1> values{};
        if (!reader.next() || scanInts(reader.line(), values) < 1) {
            return false;
        }
        property.withCharge = values[0];
        return true;
    }

    // Older files have one model.
    bool readNetwork(const NetworkFields& fields) {
        std::array<int, 4> values{};
        const int count = reader.next() ? scanInts(reader.line(), values) : 0;
        if (count < 3) {
            return false;
        }
        property.*fields.layers = values[0];
        property.*fields.nodes = values[1];
        property.*fields.activ = values[2];
        property.*fields.models = count == 4 ? values[3] : 1;
        return true;
    }

    Property& property;
    LineReader& reader;
};

} // namespace

bool readHeadSettings(LineReader& reader, Property& property) {
    return HeadReader(property, reader).read();
}

void Property::peekData(const std::string& fileName, bool tolerant) {
    finishReplacement(fileName);
    LineReader reader(fileName, tolerant ? LineReader::Overlong::end : LineReader::Overlong::stop);
    if (!readHeadSettings(reader, *this)) {
        if (tolerant) {
            return;
        }
        stopWithMessage("cannot peek file: %s", fileName.c_str());
    }
    if (numAngle <= 0) {
        rcutAngle = 0.0f;
    }
    if (!tolerant) {
        printBanner(true, false);
    }
}

} // namespace melta
