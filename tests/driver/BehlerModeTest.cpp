#include "driver/BehlerMode.hpp"

#include "support/StandardInput.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/behler/BehlerTemplate.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

TEST(BehlerMode, WritesTheFileOfTheWorkingDirectory) {
    const TemporaryDirectory directory;
    const WorkingDirectory inside(directory.path());
    const StandardInput input("");
    constexpr bool overwrite = true;
    writeBehlerTemplate("grid", 50, 15, 6.0f, 6.0f, overwrite);

    const std::string console = outputOf([] { runBehler({}); });

    EXPECT_TRUE(console.starts_with("\nnumber of G2 symmetry functions [default is 50]:\n>>> ")) << console;
    EXPECT_TRUE(console.ends_with("\n  * Generate the file: melta.behler.\n\n")) << console;
    EXPECT_EQ(readTextFile("melta.behler"), readTextFile("grid"));
}

} // namespace
} // namespace melta::test
