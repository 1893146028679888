#pragma once

#include <functional>

namespace melta::test {

// Runs `work` in a process of its own and kills that when it enters its n-th system call, counted from 0.
// False if the work was done before it came to so many.
bool killAtSystemCall(int n, const std::function<void()>& work);

} // namespace melta::test
