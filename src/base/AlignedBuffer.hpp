#pragma once

#include <cassert>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <type_traits>

namespace melta {

// Contiguous owned storage for numerical arrays, aligned to whole cache lines, which are also the widest
// vectors, so that a vector load never straddles two lines. Contents start undefined: large buffers are first
// touched by the thread that fills them. Moved, never copied.
template <class T>
class AlignedBuffer {
public:
    static constexpr std::size_t alignment = 64;

    AlignedBuffer() = default;
    explicit AlignedBuffer(std::size_t size) { resize(size); }

    // Makes room for `size` elements. The contents are lost, unless the size stays the same.
    void resize(std::size_t size) {
        if (size != count) {
            storage.reset();
            count = 0;
            if (size > 0) {
                storage.reset(
                    static_cast<T*>(::operator new (size * sizeof(T), std::align_val_t{alignment})));
            }
            count = size;
        }
    }

    // Makes room for at least `size` elements; never shrinks. The contents are lost when it grows.
    void reserve(std::size_t size) {
        if (size > count) {
            resize(size);
        }
    }

    void setZero() {
        if (count > 0) {
            std::memset(storage.get(), 0, count * sizeof(T));
        }
    }

    [[nodiscard]] std::size_t size() const { return count; }
    [[nodiscard]] bool empty() const { return count == 0; }
    T* data() { return storage.get(); }
    const T* data() const { return storage.get(); }
    std::span<T> span() { return {storage.get(), count}; }
    std::span<const T> span() const { return {storage.get(), count}; }

    T& operator[](std::size_t index) {
        assert(index < count);
        return storage.get()[index];
    }
    const T& operator[](std::size_t index) const {
        assert(index < count);
        return storage.get()[index];
    }

private:
    struct Release {
        void operator()(T* pointer) const noexcept {
            ::operator delete (pointer, std::align_val_t{alignment});
        }
    };
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

    std::unique_ptr<T, Release> storage;
    std::size_t count = 0;
};

} // namespace melta
