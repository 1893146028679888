#pragma once

#include "base/LineReader.hpp"
#include "base/ReplacementJournal.hpp"

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace melta {

// What a set of files in which failures are raised throws; the text is that of the stop.
struct FileFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Replaces a set of files as one: each is written under a temporary name beside its place, and only when all
// are complete do they take their names. Whatever goes wrong on the way, a stop or a failure, the files that
// stood there before are left, and no stop leaves temporary files behind. A kill leaves either all old files
// or, where there are several, a record with which the next run finishes the replacement before it reads
// (ReplacementJournal.hpp).
//
//     FileReplacement files;
//     std::fprintf(files.open("data"), ...);
//     std::fprintf(files.open("data_e"), ...);
//     files.commit();
//
// Links are followed to the file they lead to. What is no regular file, such as a device, is written in
// place. Messages name a file as the caller did.
class FileReplacement {
public:
    // Whether a file takes its name only when its contents are on the medium. Without that a kill of the
    // process still leaves complete files, but a failure of the power may cost the old file and the new one.
    // Waiting takes some milliseconds for each file.
    enum class Sync { yes, no };

    // What a failure does: ends the run, or throws FileFailure for a caller who can go on without the files.
    enum class OnFailure { stop, raise };

    FileReplacement() = default;
    explicit FileReplacement(OnFailure wish) : onFailure(wish) {}
    explicit FileReplacement(Sync wish) : sync(wish) {}
    ~FileReplacement() { discard(); }
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    FileReplacement(FileReplacement&&) = delete;
    FileReplacement& operator=(FileReplacement&&) = delete;

    // Opens the next file of the set; the stream stays owned. Stops with "cannot open file: %s" when the file
    // or its place cannot be written, or when its name leads to a file that is in the set already.
    std::FILE* open(const std::string& fileName);

    // The same, but gives a null pointer where that stops, and leaves the set as it was.
    [[nodiscard]] std::FILE* tryOpen(const std::string& fileName);

    // Takes a file away together with the replacement; its contents should stand in another file of the set.
    // A file that is not there is no failure.
    void remove(const std::string& fileName);

    // Completes the files and gives them their names, the one that was opened first at last, so that where it
    // is new the others are. Stops with "cannot write file: %s" when a medium refused anything of a file, or
    // a file its name; then all names lead to the old files.
    void commit();

    // Stops with "cannot open file: %s" where open would, and leaves everything as it is. For runs that write
    // their files only after hours. What is no regular file, such as a device, is taken for writable.
    static void requireWritable(const std::string& fileName);

private:
    struct Target {
        std::string name;              // as the caller said
        std::filesystem::path place;   // links followed
        std::filesystem::path written; // temporary name, or `place` where that is written itself
        FilePointer file;
        bool isRemoved = false;   // nothing takes the place of the old file
        bool isNew = false;       // there was no such file before
        bool hasReplaced = false; // the new file has its name
        bool hasOld = false;      // the old file is kept under a second name until all is done

        [[nodiscard]] bool isInPlace() const { return written == place; }
        void takeBack() const noexcept; // brings back what was there before
        void removeTemporary() const noexcept;
    };

    bool complete(Target& target) const;
    bool replace(Target& target) const;
    void writeJournal();
    void synchronizeDirectories() const;
    void discard() noexcept;
    [[noreturn]] void fail(const char* action, const std::string& fileName);

    Sync sync = Sync::yes;
    OnFailure onFailure = OnFailure::stop;
    ReplacementJournal journal;
    std::vector<Target> targets;
};

} // namespace melta
