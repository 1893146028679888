#include "sampling/GeometryCard.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "sampling/MetropolisInput.hpp"
#include "structure/GeometrySet.hpp"
#include "structure/io/DataFile.hpp"

#include <algorithm>
#include <span>

namespace melta {
namespace {

bool readVector(FieldScanner& fields, std::span<float> vector) {
    // The cell and the atoms go on in a data file.
    return fields.readFloats(vector) && std::ranges::all_of(vector, isWritableLength);
}

class CardReader {
public:
    CardReader(LineReader& lines, const std::string& name) : reader(lines), fileName(name) {}

    GeometryCard read() {
        const int numLines = readCount();
        readLattice();
        for (int iatom = 0; iatom < numLines; ++iatom) {
            readAtom(iatom);
        }
        if (card.elemAtoms.empty()) {
            stop("there are no real atoms");
        }
        return std::move(card);
    }

private:
    [[noreturn]] void stop(const char* complaint) const {
        stopWithMessage("%s: %s", complaint, fileName.c_str());
    }

    int readCount() {
        if (!reader.next()) {
            stop("cannot read #atom");
        }
        int count = 0;
        if (!FieldScanner(reader.line()).readInt(count) || count < 1) {
            stop("incorrect #atom");
        }
        return count;
    }

    void readLattice() {
        for (std::size_t row = 0; row < 3; ++row) {
            if (!reader.next()) {
                stop("cannot read lattice");
            }
            FieldScanner fields(reader.line());
            if (!readVector(fields, std::span(card.lattice).subspan(3 * row, 3))) {
                stop("incorrect lattice");
            }
        }
    }

    void readAtom(int iatom) {
        if (!reader.next()) {
            stop("cannot read atoms");
        }
        FieldScanner fields(reader.line());
        std::string name;
        std::array<float, 3> position{};
        if (!fields.readWord(name) || !readVector(fields, position) ||
            name.size() > GeometrySet::maxLabelLength) {
            stopWithMessage("incorrect atoms@ %d: %s", iatom, fileName.c_str());
        }
        std::string word;
        const bool isFixed = fields.readWord(word) && word == "fix";
        if (name == vacancyName) {
            addVacancy(position, isFixed);
        } else {
            addAtom(name, position, isFixed);
        }
    }

    void addVacancy(const std::array<float, 3>& position, bool isFixed) {
        if (isFixed) {
            stop("cannot fix vacancy atom");
        }
        card.vacancyCoords.insert(card.vacancyCoords.end(), position.begin(), position.end());
    }

    void addAtom(const std::string& name, const std::array<float, 3>& position, bool isFixed) {
        const auto found = std::ranges::find(card.elemNames, name);
        card.elemAtoms.push_back(static_cast<std::int32_t>(found - card.elemNames.begin()));
        if (found == card.elemNames.end()) {
            card.elemNames.push_back(name);
        }
        card.fixAtoms.push_back(isFixed ? 1 : 0);
        card.positions.insert(card.positions.end(), position.begin(), position.end());
    }

    LineReader& reader;
    const std::string& fileName;
    GeometryCard card;
};

} // namespace

GeometryCard readGeometryCard(LineReader& reader, const std::string& fileName) {
    return CardReader(reader, fileName).read();
}

} // namespace melta
