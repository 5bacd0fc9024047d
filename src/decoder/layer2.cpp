// Layer II frames: 12 granules of three time slots, allocations from one of
// five tables, up to three scale factors per sub-band and channel (chosen by
// the selection information), and grouped codes for 3, 5 and 9 levels.
#include "decoder/bit_reader.h"
#include "decoder/layer12.h"
#include "decoder/slot_output.h"

namespace vexa {
namespace {

constexpr int32_t kLayer2Granules = 12;

struct Layer2Side {
    int32_t channels;
    int32_t bound;    // sub-bands below it carry one allocation per channel
    int32_t sbLimit;  // sub-bands from here on are not coded
    const Layer2AllocationTable* table;
    uint8_t allocation[2][32];
    Layer2Quantiser quantiser[2][32];  // of each allocation, looked up once per frame
    uint8_t scaleFactor[2][32][3];     // one per third of the frame
};

const Layer2Quantiser& QuantiserOf(const Layer2Side& side, int32_t sb, int32_t allocation) {
    return side.table->entries[side.table->firstEntry[sb] + allocation];
}

void ReadLayer2Allocation(Layer2Side& side) {
    for (int32_t sb = 0; sb < side.sbLimit; ++sb) {
        const int32_t width = QuantiserOf(side, sb, 0).bits;
        if (sb < side.bound) {
            for (int32_t ch = 0; ch < side.channels; ++ch)
                side.allocation[ch][sb] = static_cast<uint8_t>(GetBits(width));
        } else {
            side.allocation[0][sb] = side.allocation[1][sb] = static_cast<uint8_t>(GetBits(width));
        }
        for (int32_t ch = 0; ch < side.channels; ++ch)
            side.quantiser[ch][sb] = QuantiserOf(side, sb, side.allocation[ch][sb]);
    }
}

// Two bits per allocated (sub-band, channel), kept in the selection store.
void ReadLayer2Selection(const Layer2Side& side) {
    int32_t count = 0;
    for (int32_t sb = 0; sb < side.sbLimit; ++sb)
        for (int32_t ch = 0; ch < side.channels; ++ch)
            if (side.allocation[ch][sb] != 0) g_layer12.selection[count++] = static_cast<int32_t>(GetBitsShort(2));
}

// Selection 0: three scale factors; 1: (a, a, b); 2: (a, a, a); 3: (a, b, b).
void ReadLayer2ScaleFactorTriple(int32_t selection, uint8_t (&parts)[3]) {
    const uint8_t first = static_cast<uint8_t>(GetBits(6));
    const uint8_t second = selection == 2 ? first : static_cast<uint8_t>(GetBits(6));
    switch (selection) {
        case 0:
            parts[0] = first;
            parts[1] = second;
            parts[2] = static_cast<uint8_t>(GetBits(6));
            break;
        case 1:
            parts[0] = parts[1] = first;
            parts[2] = second;
            break;
        case 2:
            parts[0] = parts[1] = parts[2] = first;
            break;
        default:
            parts[0] = first;
            parts[1] = parts[2] = second;
            break;
    }
}

void ReadLayer2ScaleFactors(Layer2Side& side) {
    int32_t next = 0;
    for (int32_t sb = 0; sb < side.sbLimit; ++sb)
        for (int32_t ch = 0; ch < side.channels; ++ch)
            if (side.allocation[ch][sb] != 0)
                ReadLayer2ScaleFactorTriple(g_layer12.selection[next++], side.scaleFactor[ch][sb]);
}

const uint8_t* GroupedRows(int32_t levels, uint32_t code) {
    if (levels == 3) return g_layer12.group3[code & 31];
    if (levels == 5) return g_layer12.group5[code & 127];
    return g_layer12.group9[code & 1023];
}

// The codes of one sub-band's three consecutive samples: each sample is
// value * step[row]. Ungrouped: three codes, each centred by d and scaled by
// the step of its width. Grouped: one code whose base-n digits pick three
// level rows.
struct Layer2Codes {
    int32_t value[3];
    uint8_t row[3];
};

// Inlined: returned through memory, the codes cost a store-forwarding stall.
[[gnu::always_inline]] inline Layer2Codes ReadLayer2Codes(const Layer2Quantiser& quantiser) {
    if (quantiser.d < 0) {
        uint32_t raw[3];
        GetBitTriple(quantiser.bits, raw);
        Layer2Codes codes;
        for (int i = 0; i < 3; ++i) {
            codes.value[i] = static_cast<int32_t>(raw[i]) + quantiser.d;
            codes.row[i] = static_cast<uint8_t>(quantiser.bits);
        }
        return codes;
    }
    const uint8_t* rows = GroupedRows(quantiser.d, GetBits(quantiser.bits));
    return {{1, 1, 1}, {rows[0], rows[1], rows[2]}};
}

// The samples of one granule, dequantised as they are read; part (0..2)
// picks the scale factor of this third. Above the bound both channels take
// the same codes, each with its own scale factor. Sub-bands from limit on
// are read (they hold bits) but give zeros.
template <class F>
void ReadLayer2Granule(const Layer2Side& side, int32_t part, int32_t limit, typename F::sample (&blocks)[2][3][32]) {
    const Layer12Multipliers<F>& multipliers = g_layer12.multipliers.get<F>();
    Layer2Codes codes{};
    for (int32_t sb = 0; sb < side.sbLimit; ++sb) {
        for (int32_t ch = 0; ch < side.channels; ++ch) {
            const int32_t allocation = side.allocation[ch][sb];
            if (allocation == 0) {
                for (auto& slot : blocks[ch]) slot[sb] = 0;
                continue;
            }
            if (sb < side.bound || ch == 0) codes = ReadLayer2Codes(side.quantiser[ch][sb]);
            // step[row][s] for this scale factor s lies at column[row * kScaleFactors].
            const typename F::constant* column = &multipliers.step[0][side.scaleFactor[ch][sb][part]];
            for (int i = 0; i < 3; ++i)
                blocks[ch][i][sb] = F::fromCode(codes.value[i], column[codes.row[i] * kScaleFactors]);
        }
    }
    for (auto& channel : blocks)
        for (auto& slot : channel)
            for (int32_t sb = limit; sb < 32; ++sb) slot[sb] = 0;
}

// Table, limit and bound of the frame; false when the bound lies above the
// limit, a frame that is dropped without output.
bool PrepareLayer2Side(FrameHeader& header, Layer2Side& side) {
    header.allocTable = SelectLayer2Table(header);
    side.table = &tables::kLayer2Allocation[header.allocTable];
    header.sbLimit = side.table->sbLimit;
    header.jsBound = header.mode == 1 ? 4 * (header.modeExtension + 1) : header.sbLimit;
    side.channels = header.channels;
    side.sbLimit = header.sbLimit;
    side.bound = header.channels == 2 ? header.jsBound : header.sbLimit;
    return header.sbLimit >= header.jsBound;
}

}  // namespace

template <class F>
void DecodeLayer2(FrameHeader& header, int32_t /*deliver: Layer II always outputs*/) {
    Layer2Side side{};
    if (!PrepareLayer2Side(header, side)) return;
    ReadLayer2Allocation(side);
    ReadLayer2Selection(side);
    ReadLayer2ScaleFactors(side);

    const int32_t selection = EffectiveChannelSelection(header);
    const int32_t limit = header.subbandCount < side.sbLimit ? header.subbandCount : side.sbLimit;
    typename F::sample blocks[2][3][32];  // [channel][slot][sub-band]
    PcmBlock pcm;
    for (int32_t granule = 0; granule < kLayer2Granules; ++granule) {
        ReadLayer2Granule<F>(side, granule >> 2, limit, blocks);
        for (int32_t slot = 0; slot < 3; ++slot)
            PackAndDeliverSlot<F>(blocks[0][slot], blocks[side.channels - 1][slot], selection, pcm);
    }
}

template void DecodeLayer2<SingleFormat>(FrameHeader&, int32_t);
template void DecodeLayer2<DoubleFormat>(FrameHeader&, int32_t);
template void DecodeLayer2<FixedFormat>(FrameHeader&, int32_t);

}  // namespace vexa
