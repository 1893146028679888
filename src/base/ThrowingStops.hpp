#pragma once

namespace melta {

// While it lives, stopWithMessage throws Error in this thread instead of calling the stop handler: for the
// parts of the library that a host calls, whose process is not ours to end. They may be nested.
class ThrowingStops {
public:
    ThrowingStops() noexcept;
    ~ThrowingStops();
    ThrowingStops(const ThrowingStops&) = delete;
    ThrowingStops& operator=(const ThrowingStops&) = delete;

    // Whether one lives in this thread.
    [[nodiscard]] static bool areActive() noexcept;
};

} // namespace melta
