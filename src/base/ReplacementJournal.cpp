#include "base/ReplacementJournal.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace melta {
namespace {

using Entry = ReplacementJournal::Entry;
using Step = ReplacementJournal::Step;

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
    std::error_code ignored;
    while (fs::is_regular_file(name, ignored)) {
        FilePointer file(std::fopen(name.c_str(), "re"));
        if (!file) {
            return nullptr;
        }
        lock(file.get());
        if (isStillThere(file.get(), name)) {
            return file;
        }
    }
    return nullptr;
}

bool readLine(std::FILE* file, std::string& line) {
    line.clear();
    int character = std::getc(file);
    for (; character != EOF && character != '\n'; character = std::getc(file)) {
        line.push_back(static_cast<char>(character));
    }
    return character == '\n';
}

constexpr std::array<std::pair<Step, std::string_view>, 2> wordsOfSteps = {
    {{Step::replace, "replace"}, {Step::remove, "remove"}}};

std::string_view wordOf(Step step) {
    return wordsOfSteps[step == Step::replace ? 0 : 1].second;
}

// Takes a number and the blank behind it.
template <class Number>
bool takeNumber(std::string_view& text, Number& number) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const auto length = static_cast<std::size_t>(result.ptr - text.data());
    if (result.ec != std::errc() || length == text.size() || text[length] != ' ') {
        return false;
    }
    text.remove_prefix(length + 1);
    return true;
}

bool takeStep(std::string_view& text, Step& step) {
    for (const auto& [value, word] : wordsOfSteps) {
        if (text.starts_with(word) && text.substr(word.size()).starts_with(' ')) {
            step = value;
            text.remove_prefix(word.size() + 1);
            return true;
        }
    }
    return false;
}

// "step size checksum place". False if the line is another one.
bool parseEntry(std::string_view line, const fs::path& record, Entry& entry) {
    if (!takeStep(line, entry.step) || !takeNumber(line, entry.size) || !takeNumber(line, entry.checksum) ||
        line.empty()) {
        return false;
    }
    entry.place = record.parent_path() / fs::path(line);
    return true;
}

// FNV-1a (Fowler, Noll, Vo) over the bytes; that of a file that does not open is 0.
std::uint64_t checksumOf(const fs::path& name) {
    const FilePointer file = openForReading(name.string());
    if (!file) {
        return 0;
    }
    std::uint64_t sum = 14695981039346656037U;
    std::array<unsigned char, 65536> block{};
    for (std::size_t count = block.size(); count == block.size();) {
        count = std::fread(block.data(), 1, block.size(), file.get());
        for (std::size_t i = 0; i < count; ++i) {
            sum = (sum ^ block[i]) * 1099511628211U;
        }
    }
    return sum;
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

bool isThere(const fs::path& name) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(name, ignored));
}

// Whether the step is still to be taken.
bool isWaiting(const Entry& entry) {
    return isThere(entry.step == Step::replace ? ReplacementJournal::writtenFor(entry.place) : entry.place);
}

bool isUpToDate(const Entry& entry) {
    const Entry now = ReplacementJournal::describe(entry.place, entry.step);
    return now.size == entry.size && now.checksum == entry.checksum;
}

[[noreturn]] void stopAt(const fs::path& name) {
    stopWithMessage("cannot finish the replacement of the file: %s", name.c_str());
}

void take(const Entry& entry) {
    std::error_code error;
    if (entry.step == Step::replace) {
        fs::rename(ReplacementJournal::writtenFor(entry.place), entry.place, error);
    } else {
        fs::remove(entry.place, error);
    }
    if (error) {
        stopAt(entry.place);
    }
}

// Takes each step that is left.
void finish(std::span<const Entry> entries) {
    const auto isOutdated = [](const Entry& entry) { return isWaiting(entry) && !isUpToDate(entry); };
    const auto outdated = std::ranges::find_if(entries, isOutdated);
    if (outdated != entries.end()) {
        if (!std::ranges::all_of(entries, isWaiting)) {
            stopAt(outdated->place); // to leave it at that would mix old and new
        }
        return;
    }
    std::error_code ignored;
    for (const Entry& entry : entries) {
        if (isWaiting(entry)) {
            take(entry);
        }
        fs::remove(ReplacementJournal::formerFor(entry.place), ignored);
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

// A name that no user gives: what stands there is removed.
fs::path ReplacementJournal::formerFor(const fs::path& place) {
    return withSuffix(place, ".replaced");
}

Entry ReplacementJournal::describe(const fs::path& place, Step step) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(place, error);
    return error ? Entry{0, 0, place, step} : Entry{size, checksumOf(place), place, step};
}

bool ReplacementJournal::write(std::span<const Entry> entries) {
    name = nameFor(entries.front().place);
    const fs::path temporary = withSuffix(name, ".new");
    std::error_code error;
    fs::remove(temporary, error);
    file = FilePointer(std::fopen(temporary.c_str(), "wxe"));
    if (!file) {
        return false;
    }
    lock(file.get());
    for (const Entry& entry : entries) {
        std::fprintf(file.get(), "%s %ju %ju %s\n", wordOf(entry.step).data(), entry.size,
                     static_cast<std::uintmax_t>(entry.checksum), nameInRecord(entry.place, name).c_str());
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
        stopAt(fileName);
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
