#include "base/FileReplacement.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace melta {
namespace {

bool isWritable(const fs::path& file) {
    return FilePointer(std::fopen(file.c_str(), "r+")) != nullptr;
}

// Sends the contents to the medium, because a rename may reach it before them.
bool synchronize(std::FILE* file) {
    // Devices and some file systems know no such thing.
    return fsync(fileno(file)) == 0 || errno == EINVAL || errno == EROFS;
}

} // namespace

std::FILE* FileReplacement::open(const std::string& fileName) {
    std::FILE* const file = tryOpen(fileName);
    if (file == nullptr) {
        fail("open", fileName);
    }
    return file;
}

std::FILE* FileReplacement::tryOpen(const std::string& fileName) {
    Target target;
    target.name = fileName;
    target.place = followLinks(fileName);
    std::error_code ignored;
    const fs::file_status status = fs::status(target.place, ignored);
    const bool isRegular = fs::is_regular_file(status);
    target.isNew = status.type() == fs::file_type::not_found;
    // The names are fixed, so that what a crash left behind is overwritten by the next run.
    target.written = isRegular || target.isNew ? ReplacementJournal::writtenFor(target.place) : target.place;
    if (!target.isInPlace()) {
        // Two names that lead to one file would lose what was written first.
        if (std::ranges::find(targets, target.place, &Target::place) != targets.end()) {
            return nullptr;
        }
        fs::remove(target.written, ignored);
    }
    if (!isRegular || isWritable(target.place)) {
        // A file of our own, never one that a link leads to.
        target.file = FilePointer(std::fopen(target.written.c_str(), target.isInPlace() ? "w" : "wx"));
    }
    if (!target.file) {
        return nullptr;
    }
    if (isRegular) {
        fs::permissions(target.written, status.permissions(), ignored);
    }
    targets.push_back(std::move(target));
    return targets.back().file.get();
}

void FileReplacement::remove(const std::string& fileName) {
    Target target;
    target.name = fileName;
    target.place = followLinks(fileName);
    target.written = ReplacementJournal::writtenFor(target.place);
    target.isRemoved = true;
    std::error_code ignored;
    if (fs::is_regular_file(target.place, ignored)) {
        targets.push_back(std::move(target));
    }
}

void FileReplacement::commit() {
    for (Target& target : targets) {
        if (!target.isRemoved && !complete(target)) {
            fail("write", target.name);
        }
    }
    writeJournal();
    for (auto target = targets.rbegin(); target != targets.rend(); ++target) {
        if (!replace(*target)) {
            fail("write", target->name);
        }
    }
    synchronizeDirectories();
    for (const Target& target : targets) {
        target.removeTemporary();
    }
    journal.remove();
    targets.clear();
}

void FileReplacement::requireWritable(const std::string& fileName) {
    std::error_code ignored;
    const fs::file_status status = fs::status(fileName, ignored);
    if (!fs::is_other(status)) {
        FileReplacement().open(fileName);
    }
}

// One file needs no record: its rename is one step.
void FileReplacement::writeJournal() {
    using Step = ReplacementJournal::Step;
    std::vector<ReplacementJournal::Entry> entries;
    for (const Target& target : targets) {
        if (!target.isInPlace()) {
            entries.push_back(
                ReplacementJournal::describe(target.place, target.isRemoved ? Step::remove : Step::replace));
        }
    }
    if (entries.size() > 1 && !journal.write(entries)) {
        fail("write", ReplacementJournal::nameFor(targets.front().name).string());
    }
}

void FileReplacement::synchronizeDirectories() const {
    fs::path last;
    for (const Target& target : targets) {
        const fs::path directory = target.place.parent_path();
        if (sync == Sync::yes && (&target == &targets.front() || directory != last)) {
            synchronizeDirectory(directory);
        }
        last = directory;
    }
}

bool FileReplacement::complete(Target& target) const {
    std::FILE* const file = target.file.get();
    const bool isSound =
        std::ferror(file) == 0 && std::fflush(file) == 0 && (sync == Sync::no || synchronize(file));
    return std::fclose(target.file.release()) == 0 && isSound;
}

bool FileReplacement::replace(Target& target) const {
    if (target.isInPlace()) {
        return true;
    }
    // A second name keeps the old file at hand in case another file of the set cannot be replaced. On a file
    // system without such names that one protection is missing.
    std::error_code error;
    if (targets.size() > 1) {
        const fs::path former = ReplacementJournal::formerFor(target.place);
        fs::remove(former, error);
        fs::create_hard_link(target.place, former, error);
        target.hasOld = !error;
    }
    if (target.isRemoved) {
        fs::remove(target.place, error);
    } else {
        fs::rename(target.written, target.place, error);
    }
    target.hasReplaced = !error;
    return target.hasReplaced;
}

// Whatever is cut short here leaves each new file under one of its two names, so that the record holds.
void FileReplacement::Target::takeBack() const noexcept {
    std::error_code ignored;
    if (hasReplaced && !isRemoved && (hasOld || isNew)) {
        fs::rename(place, written, ignored);
    }
    if (hasReplaced && hasOld) {
        fs::rename(ReplacementJournal::formerFor(place), place, ignored);
    }
}

void FileReplacement::Target::removeTemporary() const noexcept {
    std::error_code ignored;
    if (!isInPlace() && !isRemoved) {
        fs::remove(written, ignored);
    }
    if (hasOld) {
        fs::remove(ReplacementJournal::formerFor(place), ignored);
    }
}

void FileReplacement::discard() noexcept {
    for (const Target& target : targets) {
        target.takeBack();
    }
    journal.remove();
    for (const Target& target : targets) {
        target.removeTemporary();
    }
    targets.clear();
}

void FileReplacement::fail(const char* action, const std::string& fileName) {
    // The name may belong to a target.
    const std::string message = formatText("cannot %s file: %s", action, fileName.c_str());
    discard();
    if (onFailure == OnFailure::raise) {
        throw FileFailure(message);
    }
    stopWithMessage("%s", message.c_str());
}

} // namespace melta
