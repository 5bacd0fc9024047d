// Reading one Huffman code word of Layer III from the top of a 32-bit bit
// buffer, in two forms with the same leaf and the same bit count:
//
// - WalkTree follows the pre-order tree a bit at a time: an inner node -k is
//   followed by its 0-branch (k words) and then its 1-branch; a leaf is a
//   non-negative word.
// - LookupCode first resolves the top kHuffmanLookupBits bits with a table
//   made from the same tree by walking every bit pattern (BuildHuffmanLookup):
//   a code word that short ends there with its leaf and length; a longer one
//   continues the walk from the node the pattern reached. Most code words of
//   real streams are short, so most take one table read instead of a walk.
//
// The caller keeps at least 19 valid bits in the buffer (no code word is
// longer), in a 32-bit or 64-bit word.
#pragma once

#include <cstdint>

namespace vexa {

constexpr int kHuffmanLookupBits = 8;
// The longest code word of the two quadruple tables, and with its four
// sign bits.
constexpr int kQuadrupleCodeMostBits = 6;
constexpr int kQuadrupleMostBits = kQuadrupleCodeMostBits + 4;
constexpr int kQuadrupleLookupEntries = 1 << kQuadrupleMostBits;
constexpr int kHuffmanLookupEntries = 1 << kHuffmanLookupBits;

// A lookup entry: bits 0-15 the leaf (or, with kLookupContinues, the index
// of the tree word to go on from), bits 16-23 the bits the entry consumes;
// for a leaf of a pair table, bits 24-28 the code word's bits with its sign
// bits (one per nonzero value), taken at once when no value has linbits.
constexpr uint32_t kLookupContinues = 0x80000000u;

// Walks from node to a leaf; shifts the consumed bits out of word and adds
// their count to used. Returns the leaf. Word is uint32_t or uint64_t, its
// top bit next.
template <class Word>
int32_t WalkTree(const int16_t* node, Word& word, int32_t& used) {
    constexpr int kTopShift = 8 * sizeof(Word) - 1;
    Word bits = word;
    int32_t count = 0;
    int32_t entry = *node;
    while (entry < 0) {
        // 0 steps to the next word, 1 also skips the 0-branch; formed
        // without a branch on the bit, which is as good as random.
        const int32_t takeOne = -static_cast<int32_t>(bits >> kTopShift);
        node += 1 + (-entry & takeOne);
        bits <<= 1;
        ++count;
        entry = *node;
    }
    word = bits;
    used += count;
    return entry;
}

template <class Word>
int32_t LookupCode(const uint32_t* lookup, const int16_t* tree, Word& word, int32_t& used) {
    const uint32_t entry = lookup[word >> (8 * sizeof(Word) - kHuffmanLookupBits)];
    const int32_t consumed = static_cast<int32_t>((entry >> 16) & 0xFF);
    word <<= consumed;
    used += consumed;
    if ((entry & kLookupContinues) == 0) return static_cast<int32_t>(entry & 0xFFFF);
    return WalkTree(tree + (entry & 0xFFFF), word, used);
}

// For each quadruple leaf (bits v w x y) and the four bits after its code
// word: bits 0-7 the choice of each value, two bits each in the order
// v, w, x, y (0: zero, 1: +gain, 2: -gain; the present values take the sign
// bits in turn), bits 8-10 how many sign bits the quadruple takes.
struct QuadrupleSigns {
    uint16_t entry[16][16];

    constexpr QuadrupleSigns() : entry{} {
        for (uint32_t leaf = 0; leaf < 16; ++leaf) {
            for (uint32_t signs = 0; signs < 16; ++signs) {
                uint32_t packed = 0;
                uint32_t taken = 0;
                for (uint32_t i = 0; i < 4; ++i) {
                    if ((leaf >> (3 - i)) & 1u) {
                        const uint32_t negative = (signs >> (3 - taken)) & 1u;
                        packed |= (1u + negative) << (2 * i);
                        ++taken;
                    }
                }
                entry[leaf][signs] = static_cast<uint16_t>(packed | (taken << 8));
            }
        }
    }
};

inline constexpr QuadrupleSigns kQuadrupleSigns;

// Fills lookup[kQuadrupleLookupEntries] for a quadruple tree: for every
// pattern of kQuadrupleMostBits bits, the kQuadrupleSigns entry of the code
// word it starts with and the sign bits after it (bits 0-7) and the bits of
// the code word with its signs (bits 8-11).
void BuildQuadrupleLookup(const int16_t* tree, uint16_t* lookup);

// Fills lookup[kHuffmanLookupEntries] for tree; pairLeaves: the tree's
// leaves are pairs (x << 4 | y), not quadruples.
void BuildHuffmanLookup(const int16_t* tree, bool pairLeaves, uint32_t* lookup);

}  // namespace vexa
