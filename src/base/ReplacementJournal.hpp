#pragma once

#include "base/LineReader.hpp"

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
// Text, beside the first file of the set: a line for each file, with "replace" or "remove", size and checksum
// of the file that stood there, 0 and 0 where there was none, and its place; then a line "end". While the
// writer lives it holds a lock on the record, so that a run beside it waits for these few renames instead of
// doing them, too.
class ReplacementJournal {
public:
    enum class Step { replace, remove };

    // A file that is going to be replaced or removed: as it stood when the record was written.
    struct Entry {
        std::uintmax_t size = 0;
        std::uint64_t checksum = 0; // of the contents, so that a copied folder is as good as the first one
        std::filesystem::path place;
        Step step = Step::replace;
    };

    // Name of the record of a set whose first file has this place.
    static std::filesystem::path nameFor(const std::filesystem::path& firstPlace);

    // Name under which the new file for a place waits, and under which the former one is kept until all is
    // done.
    static std::filesystem::path writtenFor(const std::filesystem::path& place);
    static std::filesystem::path formerFor(const std::filesystem::path& place);

    // The entry of a file as it stands now.
    static Entry describe(const std::filesystem::path& place, Step step);

    // Writes the record, the first file of the set in front. False if that does not work.
    bool write(std::span<const Entry> entries);

    [[nodiscard]] const std::filesystem::path& getName() const { return name; }

    // Takes the record away: the replacement is done or, where it could not be done, undone.
    void remove();

private:
    std::filesystem::path name;
    FilePointer file; // holds the lock
};

// Finishes the replacement of a set of files whose first one is `fileName`, if a kill has cut it short, and
// does nothing otherwise. If another process is at it, waits until it is done. Where none of the files has
// taken its place yet and one that waits for its turn has been changed by somebody else, the whole set is out
// of date, and the record is just taken away. Stops with "cannot finish the replacement of the file: %s"
// where such a file is changed and others have their new contents already, or where the place cannot be
// written.
void finishReplacement(const std::string& fileName);

// The file that a name leads to, links followed; the name itself where there is none.
std::filesystem::path followLinks(const std::string& fileName);

// Makes the names of a directory last through a failure of the power. Best effort.
void synchronizeDirectory(const std::filesystem::path& directory);

} // namespace melta
