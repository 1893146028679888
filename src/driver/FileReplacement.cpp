#include "driver/FileReplacement.hpp"

#include "driver/Reporting.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace melta {
namespace {

// The names are fixed, so that what a crash left behind is overwritten by the next run.
fs::path withSuffix(const fs::path& place, const char* suffix) {
    fs::path name = place;
    name += suffix;
    return name;
}

fs::path followLinks(const std::string& fileName) {
    std::error_code error;
    const fs::path place = fs::canonical(fileName, error);
    return error ? fs::path(fileName) : place;
}

bool isWritable(const fs::path& file) {
    return FilePointer(std::fopen(file.c_str(), "r+")) != nullptr;
}

// Sends the contents to the medium, because a rename may reach it before them.
bool synchronize(std::FILE* file) {
    // Devices and some file systems know no such thing.
    return fsync(fileno(file)) == 0 || errno == EINVAL || errno == EROFS;
}

} // namespace

fs::path FileReplacement::Target::oldName() const {
    return withSuffix(place, ".old");
}

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
    target.written = isRegular || target.isNew ? withSuffix(target.place, ".new") : target.place;
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

void FileReplacement::commit() {
    for (Target& target : targets) {
        if (!complete(target)) {
            fail("write", target.name);
        }
    }
    for (auto target = targets.rbegin(); target != targets.rend(); ++target) {
        if (!replace(*target)) {
            fail("write", target->name);
        }
    }
    std::error_code ignored;
    for (const Target& target : targets) {
        if (target.hasOld) {
            fs::remove(target.oldName(), ignored);
        }
    }
    targets.clear();
}

bool FileReplacement::complete(Target& target) const {
    std::FILE* const file = target.file.get();
    const bool isSound =
        std::ferror(file) == 0 && std::fflush(file) == 0 && (sync == Sync::no || synchronize(file));
    return std::fclose(target.file.release()) == 0 && isSound;
}

bool FileReplacement::replace(Target& target) {
    if (target.isInPlace()) {
        return true;
    }
    // A second name keeps the old file at hand in case another file of the set cannot be replaced. On a file
    // system without such names that one protection is missing.
    std::error_code error;
    fs::remove(target.oldName(), error);
    fs::create_hard_link(target.place, target.oldName(), error);
    target.hasOld = !error;
    fs::rename(target.written, target.place, error);
    target.hasReplaced = !error;
    return target.hasReplaced;
}

void FileReplacement::Target::undo() noexcept {
    std::error_code ignored;
    if (isInPlace()) {
        return;
    }
    if (!hasReplaced) {
        fs::remove(written, ignored);
        if (hasOld) {
            fs::remove(oldName(), ignored);
        }
    } else if (hasOld) {
        fs::rename(oldName(), place, ignored);
    } else if (isNew) {
        fs::remove(place, ignored);
    }
}

void FileReplacement::discard() noexcept {
    for (Target& target : targets) {
        target.undo();
    }
    targets.clear();
}

void FileReplacement::fail(const char* action, const std::string& fileName) {
    // The name may belong to a target.
    const std::string message = formatText("cannot %s file: %s", action, fileName.c_str());
    discard();
    stopWithMessage("%s", message.c_str());
}

} // namespace melta
