// A zero-filled array on a cache-line boundary, for values that vectors and cache tiles work on.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>

template <class T>
class AlignedArray {
public:
    AlignedArray() = default;
    explicit AlignedArray(std::size_t size)
        : data_(static_cast<T*>(operator new(size * sizeof(T), ALIGNMENT))), size_(size) {
        fill_zero();
    }
    ~AlignedArray() { operator delete(data_, ALIGNMENT); }
    AlignedArray(AlignedArray&& other) noexcept { swap(other); }
    AlignedArray& operator=(AlignedArray&& other) noexcept {
        swap(other);
        return *this;
    }
    AlignedArray(const AlignedArray&) = delete;
    AlignedArray& operator=(const AlignedArray&) = delete;

    void fill_zero() { std::fill_n(data_, size_, T{}); }
    void swap(AlignedArray& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
    }
    std::size_t size() const { return size_; }
    T* data() { return data_; }
    const T* data() const { return data_; }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }

private:
    static constexpr std::align_val_t ALIGNMENT{64};
    T* data_ = nullptr;
    std::size_t size_ = 0;
};
