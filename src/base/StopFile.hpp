#pragma once

#include <string>
#include <utility>

namespace melta {

// The stop request of another console: the existence of a regular file, tested by opening it for reading.
class StopFile {
public:
    explicit StopFile(std::string fileName) : name(std::move(fileName)) {}

    // Creates the file empty. A failure is not reported: the request is best effort.
    void create() const;

    // Whether the file is a regular one that can be opened for reading.
    [[nodiscard]] bool exists() const;

    // Deletes the file when it exists and says whether it did.
    bool consume() const;

private:
    std::string name;
};

} // namespace melta
