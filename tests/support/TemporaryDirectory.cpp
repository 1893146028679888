#include "support/TemporaryDirectory.hpp"

#include <fstream>
#include <random>
#include <sstream>

namespace melta::test {
namespace {

std::filesystem::path makeFreshDirectory() {
    std::random_device random;
    for (;;) {
        const auto name = "melta-test-" + std::to_string(random());
        const auto path = std::filesystem::temp_directory_path() / name;
        if (std::filesystem::create_directory(path)) {
            return path;
        }
    }
}

} // namespace

TemporaryDirectory::TemporaryDirectory() : directory(makeFreshDirectory()) {}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

WorkingDirectory::WorkingDirectory(const std::filesystem::path& path)
    : previous(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
}

WorkingDirectory::~WorkingDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(previous, ignored);
}

std::string readTextFile(const std::string& fileName) {
    const std::ifstream file(fileName, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void writeTextFile(const std::string& fileName, const std::string& text) {
    std::ofstream(fileName, std::ios::binary) << text;
}

} // namespace melta::test
