#pragma once

#include <omp.h>

namespace melta::test {

// Sets the number of OpenMP threads while it lives.
class ThreadCount {
public:
    explicit ThreadCount(int count) : previous(omp_get_max_threads()) { omp_set_num_threads(count); }
    ~ThreadCount() { omp_set_num_threads(previous); }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;

private:
    int previous;
};

} // namespace melta::test
