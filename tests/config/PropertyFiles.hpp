#pragma once

#include "config/Property.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace melta::test {

// A directory with a properties file and a network head, and the settings that are read from them.
class PropertyFiles : public testing::Test {
protected:
    // Reads a properties file with this text and gives the banner.
    std::string readText(const std::string& text, bool chargeMode = false) {
        writeTextFile(propertyName, text);
        return outputWithoutStop([&] { property.readProperty(propertyName, behlerName, chargeMode); });
    }

    // The message that the reading of such a file stops with.
    std::string stopOfText(const std::string& text, bool chargeMode = false) {
        writeTextFile(propertyName, text);
        return stopMessageOf([&] { property.readProperty(propertyName, behlerName, chargeMode); });
    }

    // A message about the properties file.
    [[nodiscard]] std::string about(const std::string& complaint) const {
        return complaint + ": " + propertyName;
    }

    // The output of an action that must not stop; a stop becomes a failure of this test alone.
    static std::string outputWithoutStop(const std::function<void()>& action) {
        std::string message;
        std::string output = outputOf([&] { message = stopMessageOf(action); });
        EXPECT_EQ(message, "(no stop)");
        return output;
    }

    TemporaryDirectory directory;
    std::string propertyName = directory.file("melta.prop");
    std::string behlerName = directory.file("melta.behler");
    std::string headName = directory.file("melta.data");
    Property property;
};

} // namespace melta::test
