#pragma once

#include "potential/HostFixture.hpp"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace melta::test {

// Models of the KIM API in a folder of their own, which KIM is told of by its variable.
class KimFixture : public HostFixture {
protected:
    KimFixture() : workingDirectory(directory.path()) {
        std::filesystem::create_directory(directory.path() / "models");
        setenv("KIM_API_PORTABLE_MODELS_DIR", file("models").c_str(), 1);
        // Without a configuration KIM makes one in the home of whoever runs the test.
        std::string configuration;
        for (const std::string kind : {"model-drivers", "portable-models", "simulator-models"}) {
            configuration += kind + "-dir = " + file("user") + "\n";
        }
        writeTextFile(file("kim.config"), configuration);
        setenv("KIM_API_CONFIGURATION_FILE", file("kim.config").c_str(), 1);
    }

    // Installs an exported force field; the name of the model is unique in the process, because a library
    // that is still loaded would be taken for that of a later model of the same path.
    std::string installModel(const std::string& forceField) {
        static int number = 0;
        const std::string name = "Melta_Test_" + std::to_string(++number);
        const std::filesystem::path folder = directory.path() / "models" / name;
        std::filesystem::create_directory(folder);
        std::filesystem::copy_file(MELTA_KIM_LIBRARY, folder / "libkim-api-portable-model.so");
        std::filesystem::copy_file(forceField, folder / "ffield.melta");
        return name;
    }

    WorkingDirectory workingDirectory; // of the log of KIM
};

} // namespace melta::test
