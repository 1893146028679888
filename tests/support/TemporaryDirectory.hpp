#pragma once

#include <filesystem>
#include <string>

namespace melta::test {

// A fresh directory that is removed with everything in it at the end of its owner's life.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return directory; }

    // Full name of a file in the directory.
    [[nodiscard]] std::string file(const std::string& name) const { return (directory / name).string(); }

private:
    std::filesystem::path directory;
};

// Makes a directory the current one while it lives.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& path);
    ~WorkingDirectory();
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path previous;
};

std::string readTextFile(const std::string& fileName);
void writeTextFile(const std::string& fileName, const std::string& text);

} // namespace melta::test
