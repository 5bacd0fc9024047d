#include <cstring>

#include "stream/byte_source.h"

namespace vexa {

int32_t MemorySource::Read(uint8_t* destination, int32_t count, bool peek) {
    if (count < 0 || static_cast<uint32_t>(count) > size_ - position_) return 0;
    if (count > 0) std::memcpy(destination, data_ + position_, static_cast<size_t>(count));
    if (!peek) position_ += static_cast<uint32_t>(count);
    return count;
}

bool MemorySource::Reposition(uint32_t position) {
    if (position > size_) return false;
    position_ = position;
    return true;
}

}  // namespace vexa
