// The walk reads the granule through a window W (top bit next) taken afresh
// at the bit position from one read of W's width, so codes, linbits and
// signs are taken by shifts; code words come from a lookup table made from
// each tree (layer3_huffman.h), with exactly the tree walk's leaves and bit
// counts.
//
// How far it may read: a granule's endBit lies at most 4 x 4095 bits past the
// reservoir start, and 288 pairs of the longest codes with linbits and signs
// take under 2 KB, so even corrupt side information keeps every read well
// inside the frame area and its zeroed slack.
#include "decoder/layer3_spectrum.h"

#include <bit>

#include "decoder/bit_reader.h"
#include "decoder/layer3_huffman.h"
#include "decoder/layer3_standard_tables.h"

namespace vexa {
namespace {

// The window W is the widest register the target has: on 64-bit targets
// one read leaves at least 57 valid bits, enough for a whole pair with
// linbits and signs, or for two pairs without linbits, so the walk reads the
// stream less often; 32-bit targets keep a 32-bit W (at least 25 valid bits,
// a code word and its signs) rather than pay for double-word shifts.
#if UINTPTR_MAX > 0xFFFFFFFFu
using BitWord = uint64_t;
#else
using BitWord = uint32_t;
#endif
constexpr int kWordBits = 8 * sizeof(BitWord);
constexpr bool kWideWord = kWordBits == 64;

struct BitBuffer {
    const uint8_t* base;
    int32_t position;  // bits taken since base
    int32_t end;       // the granule's end bit
    BitWord word;      // W

    // W from the current position: kWordBits - (position mod 8) valid bits.
    void Refill() { word = BitsAt<BitWord>(base, position); }
    // The granule's bits not yet taken (negative once a code crossed the end).
    int32_t Left() const { return end - position; }
    // The next n bits (1..13) without taking them.
    uint32_t Top(int n) const { return static_cast<uint32_t>(word >> (kWordBits - n)); }
    void Skip(int32_t n) {
        word <<= n;
        position += n;
    }
    uint32_t TakeBit() {
        const uint32_t bit = Top(1);
        Skip(1);
        return bit;
    }
    uint32_t TakeBits(int n) {  // 1..13
        const uint32_t bits = Top(n);
        Skip(n);
        return bits;
    }
    // One code word; Refill first.
    int32_t Decode(const uint32_t* lookup, const int16_t* tree) {
        int32_t used = 0;
        const int32_t leaf = LookupCode(lookup, tree, word, used);
        position += used;
        return leaf;
    }
};

// The gain bases of the granule, resolved for one map entry.
template <class F>
struct BandGains {
    using constant = typename F::constant;
    const int32_t* scaleFactors;
    int32_t shift;
    bool preflag;

    constant Long(int band) const {
        if (band >= 21) return constant{};
        const int32_t emphasis = preflag ? tables::kPretab[band] : 0;
        return GainAt<F>(g_layer3.longGainBase + ((scaleFactors[band] + emphasis) << shift));
    }
    // A map entry of a short or mixed block; scaleFactor is the entry's own.
    constant Entry(const BandMapEntry& entry, int32_t scaleFactor) const {
        if (entry.window == 3) return GainAt<F>(g_layer3.longGainBase + (scaleFactor << shift));
        return GainAt<F>(g_layer3.shortGainBase[entry.window] + (scaleFactor << shift));
    }
};

// value, or -value when negative is 1, without a branch: signs come as good
// as at random, so a branch on them would be mispredicted half the time.
// Floats flip their sign bit (exactly negation); integers use ~v + 1.
inline float Signed(float value, uint32_t negative) {
    return std::bit_cast<float>(std::bit_cast<uint32_t>(value) ^ (negative << 31));
}
inline double Signed(double value, uint32_t negative) {
    return std::bit_cast<double>(std::bit_cast<uint64_t>(value) ^ (uint64_t{negative} << 63));
}
inline int32_t Signed(int32_t value, uint32_t negative) {
    const uint32_t mask = 0u - negative;
    return static_cast<int32_t>((static_cast<uint32_t>(value) ^ mask) + negative);
}

template <class F>
Layer3Value<F> Requantise(int32_t magnitude, typename F::constant gain, uint32_t negative) {
    return F::mul(Signed(Layer3For<F>().power[magnitude], negative), gain);
}

// One value of a pair after its code word: 0, or magnitude (with linbits
// when it is 15 and the table has them) and sign, requantised. A value of 0
// takes no sign bit, and power[0] times the (never negative) gain is the +0
// of a zero value; this saves a branch on the zeros, which come as good as
// at random.
template <class F, bool kLinbits>
Layer3Value<F> BigValue(BitBuffer& bits, int32_t value, int32_t linbits, typename F::constant gain) {
    int32_t magnitude = value;
    if (kLinbits && value == 15) {
        if constexpr (!kWideWord) bits.Refill();
        magnitude = 15 + static_cast<int32_t>(bits.TakeBits(linbits));
    }
    const uint32_t hasSign = value != 0 ? 1u : 0u;
    const uint32_t negative = bits.Top(1) & hasSign;
    bits.Skip(static_cast<int32_t>(hasSign));
    return Requantise<F>(magnitude, gain, negative);
}

// One pair; returns its leaf. Most code words end within the lookup entry,
// and unless a value is 15 in a table with linbits, both signs follow the
// code word at once: the entry gives the bits of the code word with its
// signs, so W moves past all of them in one shift. Other pairs take their
// values one at a time.
template <class F, bool kLinbits>
int32_t DecodePair(BitBuffer& bits, const uint32_t* lookup, const int16_t* tree, int32_t linbits,
                   typename F::constant gain, int32_t step, Layer3Value<F>* out) {
    const uint32_t entry = lookup[bits.Top(kHuffmanLookupBits)];
    const int32_t leaf = static_cast<int32_t>(entry & 0xFFFF);
    const bool escapes = kLinbits && ((leaf >> 4) == 15 || (leaf & 15) == 15);
    if ((entry & kLookupContinues) != 0 || escapes) {
        const int32_t walked = bits.Decode(lookup, tree);
        out[0] = BigValue<F, kLinbits>(bits, walked >> 4, linbits, gain);
        out[step] = BigValue<F, kLinbits>(bits, walked & 15, linbits, gain);
        return walked;
    }
    const BitWord signs = bits.word << ((entry >> 16) & 0xFF);  // W from the first sign bit on
    bits.Skip(static_cast<int32_t>(entry >> 24));
    const uint32_t hasFirst = (leaf >> 4) != 0 ? 1u : 0u;
    const uint32_t hasSecond = (leaf & 15) != 0 ? 1u : 0u;
    const uint32_t firstNegative = static_cast<uint32_t>(signs >> (kWordBits - 1)) & hasFirst;
    const uint32_t secondNegative = static_cast<uint32_t>(signs >> (kWordBits - 1 - hasFirst)) & hasSecond;
    out[0] = Requantise<F>(leaf >> 4, gain, firstNegative);
    out[step] = Requantise<F>(leaf & 15, gain, secondNegative);
    return leaf;
}

// `run` big-value pairs of one band with one table, written from out on,
// `step` lines apart. Returns the leaves OR-ed together: 0 when every value
// of the run is 0.
template <class F, bool kLinbits>
int32_t DecodePairs(BitBuffer& source, const uint32_t* lookup, const tables::HuffmanTable& table,
                    typename F::constant gain, int32_t step, int32_t run, Layer3Value<F>* out) {
    const int32_t linbits = kLinbits ? table.linbits : 0;
    int32_t leaves = 0;
    BitBuffer bits = source;  // a copy the compiler can keep in registers
    // A wide W holds two pairs without linbits (21 bits at most each).
    constexpr int32_t kPairsPerRefill = kWideWord && !kLinbits ? 2 : 1;
    for (int32_t pair = 0; pair < run; ++pair) {
        if (pair % kPairsPerRefill == 0) bits.Refill();
        leaves |= DecodePair<F, kLinbits>(bits, lookup, table.tree, linbits, gain, step, out);
        out += 2 * step;
    }
    source = bits;
    return leaves;
}

struct RegionSizes {
    int32_t pairs[3];
};

RegionSizes SplitRegions(const GranuleInfo& g) {
    if (g.big_values <= g.region1Start) return {{g.big_values, 0, 0}};
    if (g.big_values <= g.region2Start) return {{g.region1Start, g.big_values - g.region1Start, 0}};
    return {{g.region1Start, g.region2Start - g.region1Start, g.big_values - g.region2Start}};
}

// The walk over a band map: the entry in use, its pairs left, its gain and
// where the next value goes.
template <class F>
struct MapCursor {
    const BandMapEntry* next;
    const BandMapEntry* end;
    const BandMapEntry* entry = nullptr;
    int32_t pairsLeft = 0;
    int32_t position = 0;
    int32_t step = 1;
    int32_t scaleIndex = 0;
    typename F::constant gain{};

    // Takes the next entry when the current one is used up; false when the
    // map has no entries left (only a corrupt granule could get there).
    template <class GainOf>
    bool Advance(GainOf gainOf) {
        while (pairsLeft <= 0) {
            if (next == end) return false;
            entry = next++;
            pairsLeft = entry->pairCount;
            position = entry->startLine;
            step = entry->window == 3 ? 1 : 3;
            gain = gainOf(*entry, scaleIndex++);
        }
        return true;
    }
};

// The last band of each short window (0..2) and of the long part (3) that
// holds a nonzero value.
struct BandExtents {
    int32_t last[4];

    // Without a branch on nonzero, which is as good as random (a plain
    // conditional store compiles to one).
    void Mark(const BandMapEntry& entry, bool nonzero) {
        int32_t& band = last[entry.window & 3];
        const int32_t take = -static_cast<int32_t>(nonzero);
        band = (entry.band & take) | (band & ~take);
    }
};

// One pair of a quadruple's values: choices holds the pair's two choices
// from kQuadrupleSigns (two bits each). False when the band map has no entry
// left for the pair (only a corrupt granule gets there); the pair is then
// not written.
template <class F, class GainOf>
bool QuadruplePair(uint32_t choices, MapCursor<F>& cursor, GainOf gainOf, BandExtents& extents,
                   Layer3Value<F>* spectrum) {
    using value = Layer3Value<F>;
    if (!cursor.Advance(gainOf)) return false;
    --cursor.pairsLeft;
    const value values[3] = {value{}, value(cursor.gain), value(-cursor.gain)};
    spectrum[cursor.position] = values[choices & 3u];
    spectrum[cursor.position + cursor.step] = values[(choices >> 2) & 3u];
    cursor.position += 2 * cursor.step;
    extents.Mark(*cursor.entry, (choices & 15u) != 0);
    return true;
}

// The quadruples that lie wholly inside the cursor's band and end well
// before endBit, as many as the budget allows: the band's gain, step and
// extent are taken once for the run instead of once per pair. The caller
// makes sure of one quadruple at least (a band entry with two pairs left and
// kQuadrupleMostBits before endBit).
template <class F>
void QuadruplesInBand(BitBuffer& source, const uint16_t* quadrupleLookup, MapCursor<F>& cursor, int32_t& budget,
                      BandExtents& extents, Layer3Value<F>* spectrum) {
    using value = Layer3Value<F>;
    const value values[3] = {value{}, value(cursor.gain), value(-cursor.gain)};
    const int32_t step = cursor.step;
    const int32_t most = cursor.pairsLeft / 2 < budget ? cursor.pairsLeft / 2 : budget;
    value* out = spectrum + cursor.position;
    uint32_t present = 0;
    int32_t quadruples = 0;
    BitBuffer bits = source;  // a copy the compiler can keep in registers
    // W holds two quadruples with their signs (10 bits at most each), a wide
    // W five.
    constexpr int32_t kQuadruplesPerRefill = kWideWord ? 4 : 2;
    do {
        if (quadruples % kQuadruplesPerRefill == 0) bits.Refill();
        // The code word and its signs in one table read.
        const uint32_t choices = quadrupleLookup[bits.Top(kQuadrupleMostBits)];
        bits.Skip(static_cast<int32_t>(choices >> 8));
        out[0] = values[choices & 3u];
        out[step] = values[(choices >> 2) & 3u];
        out[2 * step] = values[(choices >> 4) & 3u];
        out[3 * step] = values[(choices >> 6) & 3u];
        out += 4 * step;
        present |= choices & 0xFFu;
        ++quadruples;
    } while (quadruples < most && bits.Left() >= kQuadrupleMostBits);
    source = bits;
    cursor.position += 4 * step * quadruples;
    cursor.pairsLeft -= 2 * quadruples;
    budget -= quadruples;
    extents.Mark(*cursor.entry, present != 0);
}

}  // namespace

template <class F>
int32_t DecodeSpectrum(GranuleInfo& granule, Layer3Value<F>* spectrum, const int32_t* scaleFactors,
                       int32_t sampleRateIndex) {
    using value = Layer3Value<F>;
    using constant = typename F::constant;
    const Layer3SharedTables& shared = g_layer3.shared;
    const int rate = sampleRateIndex >= 0 && sampleRateIndex < 9 ? sampleRateIndex : 0;

    // 1. The granule's bits, from the reader's position to its end bit.
    BitBuffer bits{g_bitReader.base, g_bitReader.position, granule.endBit, 0};

    const BandGains<F> gains{scaleFactors, 1 + granule.scalefac_scale, granule.preflag != 0};
    const bool shortBlocks = granule.block_type == 2;
    BandMap map;
    if (!shortBlocks) map = {shared.longMap[rate], shared.longMap[rate] + 22};
    else if (granule.mixed_block_flag) map = {shared.mixedMap[rate], shared.mixedMap[rate] + 38};
    else map = {shared.shortMap[rate], shared.shortMap[rate] + 39};
    MapCursor<F> cursor{map.begin, map.end};
    auto gainOf = [&](const BandMapEntry& entry, int32_t scaleIndex) -> constant {
        return shortBlocks ? gains.Entry(entry, scaleFactors[scaleIndex]) : gains.Long(entry.band);
    };
    // A mixed block's short part starts at band 3, so its windows count as
    // reaching band 2 from the start.
    const int32_t firstLast = shortBlocks && granule.mixed_block_flag ? 2 : -1;
    BandExtents extents{{firstLast, firstLast, firstLast, -1}};

    // 2. Big values, region by region, a band's run of pairs at a time (the
    // gain, the step and the position advance are the band's own).
    const RegionSizes regions = SplitRegions(granule);
    for (int region = 0; region < 3; ++region) {
        const int32_t tableIndex = granule.table_select[region] & 31;
        const tables::HuffmanTable& table = tables::kHuffmanTables[tableIndex];
        const uint32_t* lookup = shared.huffmanLookup[tableIndex];
        for (int32_t left = regions.pairs[region]; left > 0;) {
            if (!cursor.Advance(gainOf)) break;
            const int32_t run = left < cursor.pairsLeft ? left : cursor.pairsLeft;
            value* out = spectrum + cursor.position;
            const int32_t leaves = table.linbits > 0
                                       ? DecodePairs<F, true>(bits, lookup, table, cursor.gain, cursor.step, run, out)
                                       : DecodePairs<F, false>(bits, lookup, table, cursor.gain, cursor.step, run, out);
            extents.Mark(*cursor.entry, leaves != 0);
            cursor.position += 2 * cursor.step * run;
            cursor.pairsLeft -= run;
            left -= run;
        }
    }

    // 3. Quadruples of values -1, 0, +1 while bits remain before endBit.
    int32_t budget = (kGranulePairs - granule.big_values) / 2;
    const int32_t quadIndex = tables::kQuadTableA + (granule.count1table_select & 1);
    const int16_t* quadTree = tables::kHuffmanTables[quadIndex].tree;
    const uint32_t* quadLookup = shared.huffmanLookup[quadIndex];
    bool stopped = false;
    while (budget > 0 && bits.Left() > 0 && !stopped) {
        if (bits.Left() >= kQuadrupleMostBits && cursor.Advance(gainOf) && cursor.pairsLeft >= 2) {
            QuadruplesInBand<F>(bits, shared.quadrupleLookup[quadIndex - tables::kQuadTableA], cursor, budget, extents,
                                spectrum);
            continue;
        }
        // One quadruple at a time: it may straddle two bands or end near endBit.
        bits.Refill();
        const int32_t leaf = bits.Decode(quadLookup, quadTree);
        if (bits.Left() <= 0) {
            bits.position = bits.end;  // the code crossed endBit: drop the quadruple
            break;
        }
        int32_t bitsLeft = bits.Left();  // K
        if (bitsLeft >= 4) {
            // Every sign bit before endBit: one table read gives all four
            // values. (If the band map runs out, sign bits are taken for
            // values never written; the walk ends there and skips to endBit
            // all the same.)
            const uint32_t choices = kQuadrupleSigns.entry[leaf & 15][bits.Top(4)];
            bits.Skip(static_cast<int32_t>(choices >> 8));
            stopped = !QuadruplePair<F>(choices, cursor, gainOf, extents, spectrum) ||
                      !QuadruplePair<F>(choices >> 4, cursor, gainOf, extents, spectrum);
            --budget;
            continue;
        }
        for (int i = 0; i < 4 && !stopped; ++i) {
            if (i == 0 || i == 2) {
                if (!cursor.Advance(gainOf)) {
                    stopped = true;
                    break;
                }
                --cursor.pairsLeft;
            }
            value v{};
            if (leaf & (8 >> i)) {
                extents.Mark(*cursor.entry, true);
                // The sign bit would lie past endBit: the quadruples end here.
                // The rest of this pair is written as zeros so that no value
                // of an earlier granule survives in a short block.
                stopped = bitsLeft < 1;
                if (!stopped) {
                    v = bits.TakeBit() ? value(-cursor.gain) : value(cursor.gain);
                    --bitsLeft;
                }
            }
            spectrum[cursor.position] = v;
            cursor.position += cursor.step;
            if (stopped && i % 2 == 0) {
                spectrum[cursor.position] = value{};
                cursor.position += cursor.step;
            }
        }
        --budget;
    }

    // 4. Short and mixed blocks: zero the rest of the short band being
    // written, then the later windows of its band.
    if (shortBlocks && cursor.entry != nullptr && cursor.entry->window != 3) {
        for (int32_t pair = 0; pair < cursor.pairsLeft; ++pair) {
            spectrum[cursor.position] = value{};
            spectrum[cursor.position + cursor.step] = value{};
            cursor.position += 2 * cursor.step;
        }
        while (cursor.next != cursor.end) {
            const BandMapEntry& entry = *cursor.next;
            cursor.position = entry.startLine;
            if (entry.window == 0) break;
            ++cursor.next;
            for (int32_t line = 0; line < 2 * entry.pairCount; ++line) spectrum[entry.startLine + 3 * line] = value{};
        }
    }

    // 5. Band extents.
    if (!shortBlocks) {
        granule.longBandEnd = extents.last[3] + 1;
        granule.activeSubbands = shared.longLimit[rate][granule.longBandEnd];
    } else {
        int32_t largest = -1;
        for (int w = 0; w < 3; ++w) {
            granule.shortBandEnd[w] = extents.last[w] + 1;
            if (extents.last[w] > largest) largest = extents.last[w];
        }
        granule.longBandEnd = extents.last[3] + 1;
        granule.activeSubbands =
            largest < 0 ? shared.longLimit[rate][granule.longBandEnd] : shared.shortLimit[rate][largest + 1];
    }

    // 6. Clear the rest of the granule and skip what follows the quadruples.
    for (int32_t line = cursor.position; line < kGranuleLines; ++line) spectrum[line] = value{};
    g_bitReader.position = bits.Left() > 0 ? bits.end : bits.position;
    return bits.Left() < 0 ? 1 : 0;
}

template int32_t DecodeSpectrum<SingleFormat>(GranuleInfo&, Layer3Value<SingleFormat>*, const int32_t*, int32_t);
template int32_t DecodeSpectrum<DoubleFormat>(GranuleInfo&, Layer3Value<DoubleFormat>*, const int32_t*, int32_t);
template int32_t DecodeSpectrum<FixedFormat>(GranuleInfo&, Layer3Value<FixedFormat>*, const int32_t*, int32_t);

}  // namespace vexa
