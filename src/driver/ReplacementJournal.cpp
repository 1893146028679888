#include "driver/ReplacementJournal.hpp"

#include "driver/Reporting.hpp"

#include <charconv>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace melta {
namespace {

using Entry = ReplacementJournal::Entry;

constexpr const char* lastLine = "end";

fs::path withSuffix(const fs::path& place, const char* suffix) {
    fs::path name = place;
    name += suffix;
    return name;
}

// A folder may be moved as a whole, so that places beside the record go by their names alone.
std::string nameInRecord(const fs::path& place, const fs::path& record) {
    return place.parent_path() == record.parent_path() ? place.filename().string() : place.string();
}

bool isStillThere(std::FILE* file, const fs::path& name) {
    struct stat opened {};
    struct stat named {};
    return fstat(fileno(file), &opened) == 0 && stat(name.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Waits for a living writer. Some file systems know no locks; there a writer is not waited for.
void lock(std::FILE* file) {
    while (flock(fileno(file), LOCK_EX) != 0 && errno == EINTR) {
    }
}

// The record, once no living process is at it; null when there is none.
FilePointer openRecord(const fs::path& name) {
    for (;;) {
        FilePointer file(std::fopen(name.c_str(), "re"));
        if (!file) {
            return nullptr;
        }
        lock(file.get());
        if (isStillThere(file.get(), name)) {
            return file;
        }
    }
}

bool readLine(std::FILE* file, std::string& line) {
    line.clear();
    int character = std::getc(file);
    for (; character != EOF && character != '\n'; character = std::getc(file)) {
        line.push_back(static_cast<char>(character));
    }
    return character == '\n';
}

// "size time place". False if the line is another one.
bool parseEntry(const std::string& line, const fs::path& record, Entry& entry) {
    const char* const end = line.data() + line.size();
    const auto size = std::from_chars(line.data(), end, entry.size);
    if (size.ec != std::errc() || size.ptr == end || *size.ptr != ' ') {
        return false;
    }
    const auto time = std::from_chars(size.ptr + 1, end, entry.time);
    if (time.ec != std::errc() || time.ptr == end || *time.ptr != ' ' || time.ptr + 1 == end) {
        return false;
    }
    entry.place = record.parent_path() / fs::path(time.ptr + 1, end);
    return true;
}

// Empty unless the record is whole.
std::vector<Entry> readEntries(std::FILE* file, const fs::path& record) {
    std::vector<Entry> entries;
    std::string line;
    while (readLine(file, line)) {
        if (line == lastLine) {
            return entries;
        }
        Entry entry;
        if (!parseEntry(line, record, entry)) {
            break;
        }
        entries.push_back(std::move(entry));
    }
    return {};
}

bool isWaiting(const Entry& entry) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(ReplacementJournal::writtenFor(entry.place), ignored));
}

bool isUpToDate(const Entry& entry) {
    const Entry now = ReplacementJournal::describe(entry.place);
    return now.size == entry.size && now.time == entry.time;
}

// Each file that still waits takes its place.
void finish(std::span<const Entry> entries) {
    std::error_code error;
    for (const Entry& entry : entries) {
        if (isWaiting(entry) && !isUpToDate(entry)) {
            return;
        }
    }
    for (const Entry& entry : entries) {
        if (isWaiting(entry)) {
            fs::rename(ReplacementJournal::writtenFor(entry.place), entry.place, error);
            if (error) {
                stopWithMessage("cannot finish the replacement of the file: %s", entry.place.c_str());
            }
        }
        fs::remove(withSuffix(entry.place, ".old"), error);
        synchronizeDirectory(entry.place.parent_path());
    }
}

} // namespace

fs::path ReplacementJournal::nameFor(const fs::path& firstPlace) {
    return withSuffix(firstPlace, ".journal");
}

fs::path ReplacementJournal::writtenFor(const fs::path& place) {
    return withSuffix(place, ".new");
}

Entry ReplacementJournal::describe(const fs::path& place) {
    std::error_code error;
    Entry entry{fs::file_size(place, error), 0, place};
    if (error) {
        return {0, 0, place};
    }
    entry.time = static_cast<std::int64_t>(fs::last_write_time(place, error).time_since_epoch().count());
    return entry;
}

bool ReplacementJournal::write(std::span<const fs::path> places) {
    name = nameFor(places.front());
    const fs::path temporary = withSuffix(name, ".new");
    std::error_code error;
    fs::remove(temporary, error);
    file = FilePointer(std::fopen(temporary.c_str(), "wxe"));
    if (!file) {
        return false;
    }
    lock(file.get());
    for (const fs::path& place : places) {
        const Entry entry = describe(place);
        std::fprintf(file.get(), "%ju %jd %s\n", static_cast<std::uintmax_t>(entry.size),
                     static_cast<std::intmax_t>(entry.time), nameInRecord(place, name).c_str());
    }
    std::fprintf(file.get(), "%s\n", lastLine);
    const bool isWritten = std::ferror(file.get()) == 0 && std::fflush(file.get()) == 0;
    fsync(fileno(file.get()));
    if (isWritten) {
        fs::rename(temporary, name, error);
    }
    if (!isWritten || error) {
        file.reset();
        fs::remove(temporary, error);
        return false;
    }
    synchronizeDirectory(name.parent_path());
    return true;
}

void ReplacementJournal::remove() {
    if (file) {
        std::error_code ignored;
        fs::remove(name, ignored);
        synchronizeDirectory(name.parent_path());
        file.reset();
    }
}

void finishReplacement(const std::string& fileName) {
    const fs::path record = ReplacementJournal::nameFor(followLinks(fileName));
    const FilePointer file = openRecord(record);
    if (!file) {
        return;
    }
    finish(readEntries(file.get(), record));
    std::error_code error;
    fs::remove(record, error);
    if (error) {
        stopWithMessage("cannot finish the replacement of the file: %s", fileName.c_str());
    }
}

fs::path followLinks(const std::string& fileName) {
    std::error_code error;
    const fs::path place = fs::canonical(fileName, error);
    return error ? fs::path(fileName) : place;
}

void synchronizeDirectory(const fs::path& directory) {
    const std::string name = directory.empty() ? "." : directory.string();
    const int descriptor = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

} // namespace melta
