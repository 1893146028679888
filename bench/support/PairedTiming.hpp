#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <vector>

namespace melta::bench {

// Median ratio of the seconds of two pieces of work, measured in turn, so that drifts of the machine's speed
// hit both: how many times longer `other` takes than `work`.
inline double medianRatio(const std::function<void()>& other, const std::function<void()>& work,
                          int rounds = 15) {
    const auto secondsOf = [](const std::function<void()>& part) {
        const auto start = std::chrono::steady_clock::now();
        part();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    other();
    work();
    std::vector<double> ratios;
    for (int i = 0; i < rounds; ++i) {
        const double seconds = secondsOf(other);
        ratios.push_back(seconds / secondsOf(work));
    }
    std::ranges::nth_element(ratios, ratios.begin() + rounds / 2);
    return ratios[static_cast<std::size_t>(rounds / 2)];
}

} // namespace melta::bench
