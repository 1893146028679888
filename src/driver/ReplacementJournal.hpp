#pragma once

#include "driver/LineReader.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace melta {

// The record that makes the replacement of several files one step, although each needs a rename of its own.
// It is written when all new files are complete under their temporary names, and gone when all have taken
// their places: while it stands, what is missing can be made up for, by this process or, after a kill, by the
// next one that is going to read the files (finishReplacement).
//
// Text, beside the first file of the set: a line for each file with size and time of the file that it
// replaces, 0 and 0 where there is none, and its place; then a line "end". While the writer lives it holds a
// lock on the record, so that a run beside it waits for these few renames instead of doing them, too.
class ReplacementJournal {
public:
    // A file that is going to be replaced: as it stood when the record was written.
    struct Entry {
        std::uintmax_t size = 0;
        std::int64_t time = 0; // of the last change, in ticks of the file system's clock
        std::filesystem::path place;
    };

    // Name of the record of a set whose first file has this place.
    static std::filesystem::path nameFor(const std::filesystem::path& firstPlace);

    // Name under which the new file for a place waits.
    static std::filesystem::path writtenFor(const std::filesystem::path& place);

    // The entry of a file as it stands now.
    static Entry describe(const std::filesystem::path& place);

    // Writes the record of these places, the first one of the set in front. False if that does not work.
    bool write(std::span<const std::filesystem::path> places);

    [[nodiscard]] const std::filesystem::path& getName() const { return name; }

    // Takes the record away: the replacement is done or, where it could not be done, undone.
    void remove();

private:
    std::filesystem::path name;
    FilePointer file; // holds the lock
};

// Finishes the replacement of a set of files whose first one is `fileName`, if a kill has cut it short, and
// does nothing otherwise. If another process is at it, waits until it is done. Where a file has been changed
// since then by somebody else, what waits for its place is out of date, and the record is just taken away.
// Stops with "cannot finish the replacement of the file: %s" where that is not allowed.
void finishReplacement(const std::string& fileName);

// The file that a name leads to, links followed; the name itself where there is none.
std::filesystem::path followLinks(const std::string& fileName);

// Makes the names of a directory last through a failure of the power. Best effort.
void synchronizeDirectory(const std::filesystem::path& directory);

} // namespace melta
