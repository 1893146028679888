#include "base/FieldScanner.hpp"
#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/Property.hpp"
#include "symmfunc/behler/BehlerTemplate.hpp"

#include <array>
#include <cmath>
#include <span>

namespace melta {
namespace {

// Count of the numbers at the start of a line, at most as many as `values`; the rest of `values` stays as it
// is. 0 when one of them is NaN or infinite: it would pass every check that is made by comparison.
std::size_t scanFinite(const std::string& line, std::span<float> values) {
    FieldScanner scanner(line);
    std::size_t count = 0;
    while (count < values.size() && scanner.readFloat(values[count])) {
        if (!std::isfinite(values[count])) {
            return 0;
        }
        ++count;
    }
    return count;
}

// Reads a file of Behler functions. Only the first word of a line decides what the line is: a header opens a
// section, a line without words or a comment closes it, and every other line belongs to the open section.
class BehlerReader {
public:
    BehlerReader(Property& target, const std::string& name) : property(target), fileName(name) {}

    void read() {
        LineReader reader(fileName);
        require(reader.isOpen(), "cannot open file");
        reset();
        while (reader.next()) {
            readLine(reader.line());
        }
        checkWhole();
    }

private:
    enum class Section { none, cutoffs, radial, angular };

    void reset() {
        property.numRadius = 0;
        property.numAngle = 0;
        property.behlerG4 = 0;
        // Neither cutoff is valid, so that a file without them is noticed.
        property.rcutRadius = -1.0f;
        property.rcutAngle = -1.0f;
        for (std::vector<float>* const values :
             {&property.radiusEta, &property.angleEta, &property.radiusShift, &property.angleShift,
              &property.angleZeta}) {
            values->clear();
        }
    }

    void readLine(const std::string& line) {
        std::string word;
        if (!FieldScanner(line).readWord(word) || word.starts_with('#') || word.starts_with('!')) {
            section = Section::none;
        } else if (word == "Rcut") {
            section = Section::cutoffs;
        } else if (word == "G2") {
            section = Section::radial;
        } else if (word == "G3") {
            openAngular(0);
        } else if (word == "G4") {
            openAngular(1);
        } else {
            readData(line);
        }
    }

    void openAngular(int isG4) {
        if (hasAngularHeader) {
            stopWithMessage("you can set G3/G4 only once.");
        }
        hasAngularHeader = true;
        property.behlerG4 = isG4;
        section = Section::angular;
    }

    void readData(const std::string& line) {
        switch (section) {
        case Section::cutoffs:
            return readCutoffs(line);
        case Section::radial:
            return readRadial(line);
        case Section::angular:
            return readAngular(line);
        case Section::none:
            break;
        }
    }

    // The section has one line. A single number stands for both cutoffs.
    void readCutoffs(const std::string& line) {
        std::array<float, 2> values{};
        const std::size_t count = scanFinite(line, values);
        require(count >= 1, "cannot read Rcut");
        property.rcutRadius = values[0];
        property.rcutAngle = count == 2 ? values[1] : values[0];
        section = Section::none;
    }

    void readRadial(const std::string& line) {
        std::array<float, 2> values{};
        require(scanFinite(line, values) == 2, "cannot read G2");
        const auto [eta, shift] = values;
        require(eta >= 0.0f, "eta of G2 is negative");
        require(shift >= 0.0f, "Rs of G2 is negative");
        property.radiusEta.push_back(eta);
        property.radiusShift.push_back(shift);
        ++property.numRadius;
    }

    // A missing shift is 0. The messages name G4 for both kinds, because files and scripts may rely on them.
    void readAngular(const std::string& line) {
        std::array<float, 3> values{};
        require(scanFinite(line, values) >= 2, "cannot read G4");
        const auto [eta, zeta, shift] = values;
        require(eta >= 0.0f, "eta of G4 is negative");
        require(zeta > 0.0f, "zeta of G4 is not positive");
        require(shift >= 0.0f, "rs of G4 is negative");
        property.angleEta.push_back(eta);
        property.angleZeta.push_back(zeta);
        property.angleShift.push_back(shift);
        ++property.numAngle;
    }

    void checkWhole() const {
        require(property.numRadius >= 1, "there are no G2 functions");
        require(property.rcutRadius > 0.0f, "Rcut for radius is not positive");
        require(property.numAngle < 1 || property.rcutAngle > 0.0f, "Rcut for angle is not positive");
    }

    void require(bool isFulfilled, const char* complaint) const {
        if (!isFulfilled) {
            stopWithMessage("%s: %s", complaint, fileName.c_str());
        }
    }

    Property& property;
    const std::string& fileName;
    Section section = Section::none;
    bool hasAngularHeader = false;
};

} // namespace

void Property::readBehlerFile(const std::string& fileName) {
    constexpr bool overwrite = false;
    // Half of the angular functions, rounded up: each line of the file stands for two of them.
    const int numG3 = numAngle / 2 + numAngle % 2;
    writeBehlerTemplate(fileName, numRadius, numG3, rcutRadius, rcutAngle, overwrite);
    BehlerReader(*this, fileName).read();
}

} // namespace melta
