#include "base/Run.hpp"

#include "melta/Error.hpp"

#include <utility>

namespace melta {
namespace {

thread_local Run* currentRun = nullptr;

} // namespace

Run::Run(Sink output) : sink(std::move(output)) {}

Run& Run::current() noexcept {
    static Run process{OfProcess()};
    return currentRun != nullptr ? *currentRun : process;
}

void Run::print(std::string_view text) const {
    if (sink) {
        sink(text);
    }
}

void Run::stop(const std::string& message) const {
    throw Error(message);
}

RunScope::RunScope(Run& run) noexcept : previous(std::exchange(currentRun, &run)) {}

RunScope::~RunScope() {
    currentRun = previous;
}

RandomSource& sharedRandom() {
    return Run::current().random;
}

} // namespace melta
