#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace kelvane {

/// One plane of samples that somebody else owns, for reading. Samples are 8 bits, or 16 bits in the machine's byte
/// order.
struct PlaneView {
    const std::uint8_t* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;
    int bytesPerSample = 1;

    [[nodiscard]] const std::uint8_t* row(int y) const { return data + y * stride; }
    /// The part from sample (x, y) on.
    [[nodiscard]] PlaneView part(int x, int y, int partWidth, int partHeight) const {
        return {data + y * stride + static_cast<std::ptrdiff_t>(x) * bytesPerSample, stride, partWidth, partHeight,
                bytesPerSample};
    }
};

/// One plane of samples that somebody else owns, for writing.
struct PlaneSpan {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;
    int bytesPerSample = 1;

    [[nodiscard]] std::uint8_t* row(int y) const { return data + y * stride; }
    [[nodiscard]] PlaneSpan part(int x, int y, int partWidth, int partHeight) const {
        return {data + y * stride + static_cast<std::ptrdiff_t>(x) * bytesPerSample, stride, partWidth, partHeight,
                bytesPerSample};
    }
    [[nodiscard]] PlaneView view() const { return {data, stride, width, height, bytesPerSample}; }
};

/// Alignment of rows, bytes: the widest vector registers'. Vector code reads and writes whole registers at a row's end.
inline constexpr std::ptrdiff_t planeAlignment = 64;

/// A plane's rows rounded up to whole registers.
inline std::ptrdiff_t alignedStride(int width, int bytesPerSample) {
    const std::ptrdiff_t bytes = static_cast<std::ptrdiff_t>(width) * bytesPerSample;
    return (bytes + planeAlignment - 1) / planeAlignment * planeAlignment;
}

/// Aligned memory that grows on demand and keeps nothing of its former content.
class AlignedBuffer {
public:
    std::uint8_t* ensure(std::size_t bytes) {
        if (bytes > size_) {
            memory_.reset();
            size_ = 0;
            memory_.reset(static_cast<std::uint8_t*>(::operator new(bytes, std::align_val_t{planeAlignment})));
            size_ = bytes;
        }
        return memory_.get();
    }
    /// A plane of its own in this memory, with a register's worth of spare bytes behind.
    PlaneSpan plane(int width, int height, int bytesPerSample) {
        const std::ptrdiff_t stride = alignedStride(width, bytesPerSample);
        return {ensure(static_cast<std::size_t>(stride * height + planeAlignment)), stride, width, height,
                bytesPerSample};
    }

private:
    struct Deleter {
        void operator()(std::uint8_t* memory) const { ::operator delete(memory, std::align_val_t{planeAlignment}); }
    };
    std::unique_ptr<std::uint8_t, Deleter> memory_;
    std::size_t size_ = 0;
};

inline void copyPlane(const PlaneView& from, const PlaneSpan& to) {
    const std::size_t bytes = static_cast<std::size_t>(std::min(from.width, to.width)) * from.bytesPerSample;
    for (int y = 0; y < std::min(from.height, to.height); ++y) std::memcpy(to.row(y), from.row(y), bytes);
}

}  // namespace kelvane
