#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace melta {

// The text of a data file, cut into records and otherwise left alone: no number is converted, and line ends
// stay as they are. A record is one geometry: a line that begins with the number of atoms, three lines of the
// lattice, and a line for each atom (DataFile.hpp). Lines may be of any length.
//
// Beside the text itself only one position for each record is kept.
class RecordText {
public:
    // Reads the file up to its end or to a line that begins with no number. Stops with "cannot open file:
    // %s", "cannot read file: %s", "#atoms of the %d -th geometry is not positive: %s" (counted from 0, as
    // all readers of such files do), "too large #atoms of the %d -th geometry: %s", "too much geometries:
    // %s", and with "cannot read lattice #%d: %s" or "cannot read atom #%d: %s" (counted from 1) when the
    // file ends within a record.
    explicit RecordText(const std::string& fileName);

    [[nodiscard]] int numRecords() const { return static_cast<int>(starts.size()) - 1; }

    // All lines of a record with their line ends. The last line of the file may have none.
    [[nodiscard]] std::string_view getRecord(int index) const;

    // What a record lacks behind its last character: nothing, or a line end in the style of the file.
    [[nodiscard]] std::string_view findMissingEnd(int index) const;

    // What stands behind the last record, from the line that has ended the reading on; empty if that is
    // nothing but blank lines.
    [[nodiscard]] std::string_view getRest() const;

private:
    void cutRecords(const std::string& fileName);
    [[nodiscard]] std::string_view lineAt(std::size_t position) const;

    std::string text;
    std::vector<std::size_t> starts; // of each record and, as the last, of what stands behind them
};

} // namespace melta
