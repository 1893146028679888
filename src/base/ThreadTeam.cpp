#include "base/ThreadTeam.hpp"

#include "base/MemoryLimits.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <cstdint>
#include <latch>
#include <omp.h>
#include <system_error>
#include <thread>
#include <vector>

namespace melta {

int findLargestTeam() {
    constexpr int threadsOfProcessor = 4;
    constexpr int leastLimit = 64;
    return std::min(std::max(threadsOfProcessor * omp_get_num_procs(), leastLimit), omp_get_thread_limit());
}

void requireThreads(int numThreads) {
    std::latch allMade(1);
    bool isComplete = true;
    {
        std::vector<std::jthread> others;
        try {
            for (int i = 1; i < numThreads; ++i) {
                others.emplace_back([&allMade] { allMade.wait(); });
            }
        } catch (const std::exception&) {
            isComplete = false; // no thread, or no memory for one
        }
        allMade.count_down();
    }
    if (!isComplete) {
        stopWithMessage("cannot make %d threads.", numThreads);
    }
}

int limitBlasCallers(int numThreads) {
    constexpr std::uint64_t bufferSize = std::uint64_t{128} << 20; // of OpenBLAS on x86-64
    constexpr std::uint64_t share = 4;                             // most of the space is for the data
    const std::uint64_t most = MemoryLimits().findFreeAddresses() / share / bufferSize;
    return std::max(static_cast<int>(std::min(most, static_cast<std::uint64_t>(std::max(numThreads, 1)))), 1);
}

} // namespace melta
