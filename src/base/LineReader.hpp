#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace melta {

// Closes a C stream at the end of its owner's life.
struct FileCloser {
    void operator()(std::FILE* file) const noexcept {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
};
using FilePointer = std::unique_ptr<std::FILE, FileCloser>;

// Reads a text file line by line. Lines are read whole; one beyond `maxLineLength` characters is no text of
// ours and stops with "too long line: %s" (the file), unless it counts as the end, so that a binary file
// cannot fill the memory.
class LineReader {
public:
    static constexpr std::size_t maxLineLength = 1U << 20U;

    // What a line that is too long does: ends the run, or counts as the end of the file.
    enum class Overlong { stop, end };

    // Opens the file for reading; isOpen() tells whether it worked.
    explicit LineReader(const std::string& fileName, Overlong reaction = Overlong::stop);

    // Takes over a file that has been opened for reading, or null.
    LineReader(FilePointer opened, std::string fileName);

    [[nodiscard]] bool isOpen() const { return file != nullptr; }

    // Reads the next line into line() without its line end. False at the end of the file.
    bool next();

    // Whether anything but blanks and line ends follows; reads up to it.
    bool hasMoreText();

    [[nodiscard]] const std::string& line() const { return text; }

    // The file itself, standing behind the line end of line(), for who reads on without lines.
    [[nodiscard]] std::FILE* stream() const { return file.get(); }

private:
    std::string fileName;
    FilePointer file;
    Overlong overlong = Overlong::stop;
    bool hasEnded = false; // at a line that was too long
    std::string text;
};

// Opens a file for reading; null when that does not work. A directory does not open.
FilePointer openForReading(const std::string& fileName);

// Appends the rest of a file to a text. Whether that was all of it, std::ferror tells.
void readRest(std::FILE* file, std::string& text);

// Opens a file for writing, or stops with "cannot open file: %s".
FilePointer openForWriting(const std::string& fileName);

// Writes what is buffered and closes; stops with "cannot write file: %s" when the medium refused any of it.
void closeWritten(FilePointer file, const std::string& fileName);

} // namespace melta
