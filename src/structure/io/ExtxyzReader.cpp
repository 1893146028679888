#include "structure/io/ExtxyzReader.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"
#include "structure/VacuumBox.hpp"
#include "structure/io/StructureFaults.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <utility>

namespace melta {
namespace {

bool isBlank(const std::string& text) {
    return std::ranges::all_of(text, [](unsigned char c) { return std::isspace(c) != 0; });
}

bool hasKey(const std::string& line, std::string_view key) {
    const auto found = std::ranges::search(
        line, key, [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
    return !found.empty();
}

// The fields of a line that blanks part, in strings that are used again.
void cutLine(const std::string& line, std::vector<std::string>& fields) {
    std::size_t count = 0;
    FieldScanner scanner(line);
    for (;; ++count) {
        if (count == fields.size()) {
            fields.emplace_back();
        }
        if (!scanner.readWord(fields[count])) {
            break;
        }
    }
    fields.resize(count);
}

bool isTrue(const std::string& word) {
    return word == "T" || word == "True" || word == "true" || word == "1";
}

bool isTruthValue(const std::string& word) {
    return isTrue(word) || word == "F" || word == "False" || word == "false" || word == "0";
}

} // namespace

ExtxyzReader::ExtxyzReader(const std::string& name, Reference wish)
    : fileName(name), reference(wish), reader(name) {
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
}

bool ExtxyzReader::next(ExtxyzFrame& frame, int iframe) {
    frame = ExtxyzFrame{};
    if (!findFrame()) {
        return false;
    }
    frame.line = lineNumber;
    const int numAtoms = readNumAtoms(iframe);
    if (!nextLine()) {
        refuse("the file ends within a frame");
    }
    readComment(frame);
    readCell(frame);
    const Places places = findPlaces(frame.comment);
    // Collected one by one: the number of atoms is only a claim.
    for (int i = 0; i < numAtoms; ++i) {
        if (!nextLine()) {
            refuse("the file ends within a frame");
        }
        readAtom(places, frame);
    }
    return true;
}

bool ExtxyzReader::nextLine() {
    if (!reader.next()) {
        return false;
    }
    ++lineNumber;
    return true;
}

bool ExtxyzReader::findFrame() {
    while (nextLine()) {
        if (!isBlank(reader.line())) {
            return true;
        }
    }
    return false;
}

int ExtxyzReader::readNumAtoms(int iframe) const {
    std::string word;
    std::string more;
    FieldScanner scanner(reader.line());
    long long numAtoms = 0;
    const bool isNumber = scanner.readWord(word) &&
                          word.find_first_not_of("+-0123456789") == std::string::npos &&
                          FieldScanner(word).readLong(numAtoms);
    if (!isNumber || scanner.readWord(more)) {
        refuse("cannot read number of atoms");
    }
    return requireNumAtoms(numAtoms, iframe, fileName);
}

// Plain XYZ may have any text here.
void ExtxyzReader::readComment(ExtxyzFrame& frame) const {
    const std::string& line = reader.line();
    std::optional<ExtxyzComment> comment = ExtxyzComment::parse(line);
    if (comment) {
        frame.comment = std::move(*comment);
    } else if (hasKey(line, "lattice") || hasKey(line, "properties")) {
        refuse("quote or bracket without end");
    }
}

void ExtxyzReader::readCell(ExtxyzFrame& frame) const {
    if (const std::string* const value = frame.comment.find("Lattice")) {
        const auto numbers = numbersOf(*value);
        if (!numbers || numbers->size() != 9) {
            refuse("incorrect Lattice");
        }
        frame.isPeriodic = {true, true, true};
        std::ranges::copy(*numbers, frame.lattice.emplace().begin());
    }
    if (const std::string* const value = frame.comment.find("pbc")) {
        const std::vector<std::string> words = wordsOf(*value);
        if (words.size() != 3 || !std::ranges::all_of(words, isTruthValue)) {
            refuse("incorrect pbc");
        }
        std::ranges::transform(words, frame.isPeriodic.begin(), isTrue);
    }
    const bool isCluster = std::ranges::none_of(frame.isPeriodic, std::identity());
    if (!isCluster && !frame.lattice) {
        refuse("periodic directions without a Lattice");
    }
    if (!isCluster && !spanPeriodic(*frame.lattice, frame.isPeriodic)) {
        refuse("vectors of the Lattice that do not span a cell");
    }
}

ExtxyzReader::Places ExtxyzReader::findPlaces(const ExtxyzComment& comment) const {
    const std::string* const properties = comment.find("Properties");
    const auto columns = ExtxyzColumns::parse(properties != nullptr ? *properties : ExtxyzColumns::plain);
    if (!columns) {
        refuse("incorrect Properties");
    }
    Places found;
    found.numFields = columns->size();
    found.isPlain = properties == nullptr;
    const auto numbers = columns->find("Z", 1);
    const auto species = columns->find("species", 1);
    const auto labels = columns->find("labels", 1);
    const auto positions = columns->find("pos", 3);
    if (!labels && !species && !numbers) {
        refuse("no species in the Properties");
    }
    if (!positions) {
        refuse("no positions (pos:R:3) in the Properties");
    }
    found.isNumber = !labels && !species;
    found.label = labels ? *labels : species ? *species : *numbers;
    found.position = *positions;
    if (reference == Reference::read) {
        findReference(*columns, found);
    }
    return found;
}

void ExtxyzReader::findReference(const ExtxyzColumns& columns, Places& found) const {
    const auto firstOf = [&columns](std::initializer_list<std::string_view> names, std::size_t count) {
        for (const std::string_view name : names) {
            if (const auto place = columns.find(name, count)) {
                return place;
            }
        }
        return std::optional<std::size_t>();
    };
    found.force = firstOf({"forces", "force"}, 3);
    found.energy = firstOf({"energies"}, 1);
    found.charge = firstOf({"charges", "charge", "initial_charges"}, 1);
}

void ExtxyzReader::readAtom(const Places& places, ExtxyzFrame& frame) {
    cutLine(reader.line(), fields);
    const bool isComplete =
        places.isPlain ? fields.size() >= places.numFields : fields.size() == places.numFields;
    if (!isComplete) {
        refuse("incorrect number of columns");
    }
    frame.labels.push_back(labelOf(fields[places.label], places.isNumber));
    readNumbers(places.position, 3, frame.positions);
    if (places.force) {
        readNumbers(*places.force, 3, frame.forces);
    }
    if (places.energy) {
        readNumbers(*places.energy, 1, frame.energies);
    }
    if (places.charge) {
        readNumbers(*places.charge, 1, frame.charges);
    }
}

std::string ExtxyzReader::labelOf(const std::string& field, bool isNumber) const {
    if (!isNumber) {
        return field;
    }
    const double number = numberOf(field).value_or(0.0);
    if (!(number >= 1.0 && number <= static_cast<double>(numElementSymbols))) {
        refuse("unknown atomic number");
    }
    return std::string(elementSymbols[static_cast<std::size_t>(number) - 1]);
}

void ExtxyzReader::readNumbers(std::size_t first, std::size_t count, std::vector<double>& numbers) const {
    for (std::size_t i = first; i < first + count; ++i) {
        const std::optional<double> number = numberOf(fields[i]);
        if (!number) {
            refuse("cannot read a number");
        }
        if (!std::isfinite(*number)) {
            refuse("a number that is not finite");
        }
        numbers.push_back(*number);
    }
}

void ExtxyzReader::refuse(const char* fault) const {
    refuseLine(fault, lineNumber);
}

void ExtxyzReader::refuseComment(const ExtxyzFrame& frame, const char* fault) const {
    refuseLine(fault, frame.line + 1);
}

void ExtxyzReader::refuseAtom(const ExtxyzFrame& frame, std::size_t atom, const char* fault) const {
    refuseLine(fault, frame.line + 2 + static_cast<long long>(atom));
}

void ExtxyzReader::refuseLine(const char* fault, long long number) const {
    stopWithMessage("%s in line %lld: %s", fault, number, fileName.c_str());
}

} // namespace melta
