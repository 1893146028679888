#include "modelio/OpenModel.hpp"

#include "base/FileReplacement.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace melta {
namespace {

std::string firstLineOf(FilePointer file, const std::string& name) {
    LineReader reader(std::move(file), name);
    return reader.isOpen() && reader.next() ? reader.line() : "(none)";
}

void replace(const std::string& headName, int number) {
    FileReplacement files;
    for (const char* const suffix : {"", "_e", "_q"}) {
        std::fprintf(files.open(headName + suffix), "%d\n", number);
    }
    files.commit();
}

TEST(OpenModel, OpensWhatIsThere) {
    const test::TemporaryDirectory directory;
    const std::string head = directory.file("melta.data");
    EXPECT_EQ(OpenModel(head).head, nullptr);
    test::writeTextFile(head, "head\n");
    test::writeTextFile(head + "_q", "charges\n");

    OpenModel model(head);

    EXPECT_EQ(firstLineOf(std::move(model.head), head), "head");
    EXPECT_EQ(model.energy, nullptr);
    EXPECT_EQ(firstLineOf(std::move(model.charge), head), "charges");
}

// A training beside a test stores at any time.
TEST(OpenModel, GivesFilesOfOneReplacement) {
    const test::TemporaryDirectory directory;
    const std::string head = directory.file("melta.data");
    replace(head, 0);
    std::atomic<bool> isOver = false;
    std::thread training([&] {
        for (int number = 1; !isOver; ++number) {
            replace(head, number);
        }
    });

    std::string last;
    int numChanges = 0;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (numChanges < 60 && std::chrono::steady_clock::now() < limit) {
        OpenModel model(head);
        const std::string number = firstLineOf(std::move(model.head), head);
        const std::string energy = firstLineOf(std::move(model.energy), head);
        const std::string charge = firstLineOf(std::move(model.charge), head);

        EXPECT_EQ(energy, number);
        EXPECT_EQ(charge, number);
        numChanges += number != last ? 1 : 0;
        last = number;
    }

    isOver = true;
    training.join();
    EXPECT_EQ(numChanges, 60) << "the training has not stored beside the readings";
}

} // namespace
} // namespace melta
