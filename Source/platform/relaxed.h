// A field that several threads read and write without a lock: every access is a relaxed atomic one.
// Increments are a load and a store, so a counter must have a single writer.
#pragma once

#include <atomic>

template <class T>
class Relaxed {
public:
    constexpr Relaxed() noexcept : value_{} {}
    constexpr Relaxed(T value) noexcept : value_{value} {}
    Relaxed(const Relaxed& other) noexcept : value_{other.load()} {}
    Relaxed& operator=(const Relaxed& other) noexcept { return *this = other.load(); }
    Relaxed& operator=(T value) noexcept {
        value_.store(value, std::memory_order_relaxed);
        return *this;
    }
    operator T() const noexcept { return load(); }
    T load() const noexcept { return value_.load(std::memory_order_relaxed); }
    Relaxed& operator+=(T amount) noexcept { return *this = static_cast<T>(load() + amount); }
    Relaxed& operator++() noexcept { return *this += T{1}; }

private:
    std::atomic<T> value_;
};
