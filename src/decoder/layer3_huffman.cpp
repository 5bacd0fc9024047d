#include "decoder/layer3_huffman.h"

namespace vexa {

// Each bit pattern walks the tree as far as its bits reach: to a leaf (the
// entry holds the leaf and the bits used) or, after all of them, to an inner
// node (the entry holds where to go on).
void BuildHuffmanLookup(const int16_t* tree, bool pairLeaves, uint32_t* lookup) {
    for (uint32_t pattern = 0; pattern < kHuffmanLookupEntries; ++pattern) {
        uint32_t bits = pattern << (32 - kHuffmanLookupBits);
        int32_t node = 0;
        int32_t used = 0;
        while (tree[node] < 0 && used < kHuffmanLookupBits) {
            node += 1 + ((bits >> 31) ? -tree[node] : 0);
            bits <<= 1;
            ++used;
        }
        const uint32_t length = static_cast<uint32_t>(used) << 16;
        if (tree[node] >= 0) {
            const uint32_t leaf = static_cast<uint32_t>(tree[node]);
            const uint32_t signs = pairLeaves ? ((leaf >> 4) != 0 ? 1u : 0u) + ((leaf & 15) != 0 ? 1u : 0u) : 0u;
            lookup[pattern] = ((static_cast<uint32_t>(used) + signs) << 24) | length | leaf;
        } else {
            lookup[pattern] = kLookupContinues | length | static_cast<uint32_t>(node);
        }
    }
}

// A pattern holds the longest code word with its signs, so every walk ends
// inside it.
void BuildQuadrupleLookup(const int16_t* tree, uint16_t* lookup) {
    for (uint32_t pattern = 0; pattern < kQuadrupleLookupEntries; ++pattern) {
        uint32_t word = pattern << (32 - kQuadrupleMostBits);
        int32_t used = 0;
        const int32_t leaf = WalkTree(tree, word, used);
        const uint32_t signs = kQuadrupleSigns.entry[leaf & 15][word >> 28];
        lookup[pattern] = static_cast<uint16_t>((signs & 0xFFu) | ((static_cast<uint32_t>(used) + (signs >> 8)) << 8));
    }
}

}  // namespace vexa
