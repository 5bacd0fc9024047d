// Big-endian fields of frame headers and VBR headers.
#pragma once

#include <cstdint>

namespace vexa {

inline uint32_t BigEndian32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
inline uint32_t BigEndian16(const uint8_t* p) { return (uint32_t{p[0]} << 8) | p[1]; }
inline uint32_t BigEndianN(const uint8_t* p, int bytes) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value = (value << 8) | p[i];
    return value;
}

}  // namespace vexa
