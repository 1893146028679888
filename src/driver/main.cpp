#include "driver/RunCommand.hpp"

#include <algorithm>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    return melta::runCommand(arguments);
}
