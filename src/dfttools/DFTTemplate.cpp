#include "dfttools/DFTTemplate.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "dfttools/DFTDialogue.hpp"
#include "dfttools/DFTSettings.hpp"

namespace melta {
namespace {

constexpr std::size_t maxLines = 2048;
constexpr int numCellLines = 3;

class TemplateReader {
public:
    TemplateReader(const std::string& name, bool withMetropolis, DFTTemplate& result)
        : fileName(name), useMetropolis(withMetropolis), lines(result), settings(withMetropolis) {}

    bool read();

private:
    enum class State { head, atoms, tail, cell };

    bool takeLine(const std::string& line);
    bool takeHeadLine(const std::string& line);
    bool takeAtomLine(const std::string& line);
    void takeCellLine();
    bool beginAtoms(const std::vector<std::string>& words);
    [[nodiscard]] bool hasAtoms() const;
    static void append(std::vector<std::string>& part, const std::string& line);

    const std::string& fileName;
    bool useMetropolis;
    DFTTemplate& lines;
    DFTSettings settings;
    State state = State::head;
    int numRead = 0; // lines of the present card
};

bool TemplateReader::read() {
    LineReader reader(fileName);
    if (!reader.isOpen()) {
        printOut("\ncannot open the file: %s\n\n", fileName.c_str());
        return false;
    }
    while (reader.next()) {
        std::string line = reader.line();
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!takeLine(line)) {
            return false;
        }
    }
    if (!useMetropolis && !hasAtoms()) {
        return false;
    }
    if (!settings.areSufficient()) {
        settings.printNeeded();
        return false;
    }
    return true;
}

bool TemplateReader::takeLine(const std::string& line) {
    switch (state) {
    case State::head:
        return takeHeadLine(line);
    case State::atoms:
        return takeAtomLine(line);
    case State::cell:
        takeCellLine();
        return true;
    case State::tail:
        append(lines.tailLines, line);
        return true;
    }
    return true;
}

bool TemplateReader::takeHeadLine(const std::string& line) {
    append(lines.headLines, line);
    const std::vector<std::string> words = wordsOfDFTLine(line);
    settings.takeLine(words);
    if (words.empty()) {
        return true;
    }
    if (words[0] == "ATOMIC_POSITIONS") {
        return beginAtoms(words);
    }
    if (useMetropolis && words[0] == "CELL_PARAMETERS") {
        lines.headLines.pop_back();
        state = State::cell;
    }
    return true;
}

bool TemplateReader::beginAtoms(const std::vector<std::string>& words) {
    if (useMetropolis) {
        lines.headLines.pop_back();
    } else if (words.size() < 2 || words[1] != "angstrom") {
        printOut("\nunits of ATOMIC_POSITIONS must be \"angstrom\".\n\n");
        return false;
    }
    state = State::atoms;
    return true;
}

bool TemplateReader::takeAtomLine(const std::string& line) {
    if (!settings.numAtoms) {
        settings.numAtoms = askForNumAtoms();
        if (!settings.numAtoms) {
            return false;
        }
    }
    if (!useMetropolis) {
        lines.atomLines.push_back(line);
    }
    ++numRead;
    if (numRead >= *settings.numAtoms) {
        state = useMetropolis ? State::head : State::tail;
        numRead = 0;
    }
    return true;
}

void TemplateReader::takeCellLine() {
    ++numRead;
    if (numRead == numCellLines) {
        state = State::head;
        numRead = 0;
    }
}

bool TemplateReader::hasAtoms() const {
    const int numAtoms = settings.numAtoms.value_or(0);
    if (numAtoms < 1) {
        printOut("\nthere are no atoms in the file: %s\n\n", fileName.c_str());
        return false;
    }
    if (lines.atomLines.size() < static_cast<std::size_t>(numAtoms)) {
        printOut("\nthere are not enough atoms in the file: %s\n\n", fileName.c_str());
        return false;
    }
    return true;
}

void TemplateReader::append(std::vector<std::string>& part, const std::string& line) {
    part.push_back(line);
    if (part.size() >= maxLines) {
        stopWithMessage("too much lines in a file.");
    }
}

} // namespace

bool readDFTTemplate(const std::string& fileName, bool useMetropolis, DFTTemplate& lines) {
    lines = DFTTemplate();
    return TemplateReader(fileName, useMetropolis, lines).read();
}

} // namespace melta
