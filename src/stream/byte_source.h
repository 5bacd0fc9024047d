// Where the frame reader gets its bytes: the prefetching file or HTTP source
// during playback, or a block of memory for tests, tools and benchmarks.
#pragma once

#include <cstdint>

namespace vexa {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    // Delivers exactly count bytes and returns count, or returns 0 when that
    // many cannot be had (end of data, failure, stop). With peek the bytes
    // stay in the source and the next read returns them again.
    virtual int32_t Read(uint8_t* destination, int32_t count, bool peek) = 0;
};

// A whole stream held in memory (not owned).
class MemorySource final : public ByteSource {
public:
    MemorySource(const uint8_t* data, uint32_t size) : data_(data), size_(size) {}
    int32_t Read(uint8_t* destination, int32_t count, bool peek) override;
    // Moves the read position (seeking in tests and tools); false past the end.
    bool Reposition(uint32_t position);
    uint32_t size() const { return size_; }

private:
    const uint8_t* data_;
    uint32_t size_;
    uint32_t position_ = 0;
};

}  // namespace vexa
