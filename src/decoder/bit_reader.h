// The bit reader over the current frame body (and, for Layer III, the main
// data joined with its reservoir). One instance; the frame reader points it
// at each new frame. Reads are unchecked by design: every body lies in the
// frame area, which has slack behind its last slot for the up to three bytes a
// read may touch beyond the last bit it takes.
#pragma once

#include <cstdint>
#include <cstring>

namespace vexa {

struct BitReader {
    const uint8_t* base;  // address of bit 0
    int32_t position;     // bits consumed since base, most significant bit first
};

extern BitReader g_bitReader;

inline void PointBitReader(const uint8_t* base) {
    g_bitReader.base = base;
    g_bitReader.position = 0;
}

// The next n bits (0..17), first bit most significant. Always reads four
// bytes, as one big-endian word.
inline uint32_t GetBits(int n) {
    uint32_t bigEndian;
    std::memcpy(&bigEndian, g_bitReader.base + (g_bitReader.position >> 3), sizeof bigEndian);
    const uint32_t word = __builtin_bswap32(bigEndian) >> 8;
    const uint32_t value = (word >> (24 - (g_bitReader.position & 7) - n)) & ((1u << n) - 1u);
    g_bitReader.position += n;
    return value;
}

// The bits from position on in a 32-bit or 64-bit Word, next bit at the
// top: one read of Word's width and a byte swap. The top Word bits -
// (position mod 8) of it are valid.
template <class Word>
inline Word BitsAt(const uint8_t* base, int32_t position) {
    Word bytes;
    std::memcpy(&bytes, base + (position >> 3), sizeof bytes);
    if constexpr (sizeof(Word) == 8) bytes = __builtin_bswap64(bytes);
    else bytes = __builtin_bswap32(bytes);
    return bytes << (position & 7);
}

// Three codes of n bits each (1..16) in a row, as three GetBits(n) would
// give them: Layer II's ungrouped samples come in threes. Up to 8 bits each
// they come from one four-byte read and byte swap (at least 25 bits of it
// lie at or after the position), in 32-bit arithmetic, which the i686 build
// does in single instructions.
inline void GetBitTriple(int n, uint32_t (&codes)[3]) {
    if (n > 8) {
        for (uint32_t& code : codes) code = GetBits(n);
        return;
    }
    const uint32_t word = BitsAt<uint32_t>(g_bitReader.base, g_bitReader.position);
    const uint32_t mask = (1u << n) - 1u;
    codes[0] = word >> (32 - n);
    codes[1] = (word >> (32 - 2 * n)) & mask;
    codes[2] = (word >> (32 - 3 * n)) & mask;
    g_bitReader.position += 3 * n;
}

// The next n bits (0..9), reading only two bytes.
inline uint32_t GetBitsShort(int n) {
    const uint8_t* p = g_bitReader.base + (g_bitReader.position >> 3);
    const uint32_t word = (uint32_t{p[0]} << 8) | p[1];
    const uint32_t value = (word >> (16 - (g_bitReader.position & 7) - n)) & ((1u << n) - 1u);
    g_bitReader.position += n;
    return value;
}

inline uint32_t GetBit() {
    const uint8_t* p = g_bitReader.base + (g_bitReader.position >> 3);
    const uint32_t value = (p[0] >> (7 - (g_bitReader.position & 7))) & 1u;
    g_bitReader.position += 1;
    return value;
}

inline int32_t BitsToByteBoundary() { return (-g_bitReader.position) & 7; }

inline void RewindBits(int n) { g_bitReader.position -= n; }

// Layer III: places the last n (0..511) bytes of the previous frame's body
// directly in front of the current frame's main data, over the side
// information already read and the free bytes before the slot, and points
// the reader at the first of them. Reads the frame reader's state.
void StartMainData(int32_t n);

}  // namespace vexa
