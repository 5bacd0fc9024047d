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
    uint8_t scaleFactor[2][32][3];  // one per third of the frame
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

// The three consecutive samples of one sub-band, as value * step[row].
// Ungrouped: three codes, each centred by d and scaled by the step of its
// width. Grouped: one code whose base-n digits pick three level rows.
void ReadLayer2Codes(const Layer2Side& side, int32_t sb, int32_t allocation, CodedBlock (&slots)[3]) {
    if (allocation == 0) {
        for (CodedBlock& slot : slots) slot.value[sb] = slot.row[sb] = 0;
        return;
    }
    const Layer2Quantiser& quantiser = QuantiserOf(side, sb, allocation);
    if (quantiser.d < 0) {
        for (CodedBlock& slot : slots) {
            slot.value[sb] = static_cast<int32_t>(GetBits(quantiser.bits)) + quantiser.d;
            slot.row[sb] = static_cast<uint8_t>(quantiser.bits);
        }
        return;
    }
    const uint8_t* rows = GroupedRows(quantiser.d, GetBits(quantiser.bits));
    for (int i = 0; i < 3; ++i) {
        slots[i].value[sb] = 1;
        slots[i].row[sb] = rows[i];
    }
}

void SetScaleFactor(int32_t sb, const uint8_t (&parts)[3], int32_t part, CodedBlock (&slots)[3]) {
    for (CodedBlock& slot : slots) slot.scaleFactor[sb] = parts[part];
}

// The codes of one granule; part (0..2) picks the scale factor of this third.
// Above the bound both channels take the same codes, each its own scale factor.
void ReadLayer2Granule(const Layer2Side& side, int32_t part, CodedBlock (&coded)[2][3]) {
    for (int32_t sb = 0; sb < side.sbLimit; ++sb) {
        if (sb < side.bound) {
            for (int32_t ch = 0; ch < side.channels; ++ch) {
                ReadLayer2Codes(side, sb, side.allocation[ch][sb], coded[ch]);
                SetScaleFactor(sb, side.scaleFactor[ch][sb], part, coded[ch]);
            }
        } else {
            ReadLayer2Codes(side, sb, side.allocation[0][sb], coded[0]);
            for (int i = 0; i < 3; ++i) {
                coded[1][i].value[sb] = coded[0][i].value[sb];
                coded[1][i].row[sb] = coded[0][i].row[sb];
            }
            SetScaleFactor(sb, side.scaleFactor[0][sb], part, coded[0]);
            SetScaleFactor(sb, side.scaleFactor[1][sb], part, coded[1]);
        }
    }
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
    CodedBlock coded[2][3];
    PcmBlock pcm;
    for (int32_t granule = 0; granule < kLayer2Granules; ++granule) {
        ReadLayer2Granule(side, granule >> 2, coded);
        for (int32_t ch = 0; ch < side.channels; ++ch)
            for (int32_t slot = 0; slot < 3; ++slot) DequantiseBlock<F>(coded[ch][slot], limit, blocks[ch][slot]);
        for (int32_t slot = 0; slot < 3; ++slot)
            PackAndDeliverSlot<F>(blocks[0][slot], blocks[side.channels - 1][slot], selection, pcm);
    }
}

template void DecodeLayer2<SingleFormat>(FrameHeader&, int32_t);
template void DecodeLayer2<DoubleFormat>(FrameHeader&, int32_t);
template void DecodeLayer2<FixedFormat>(FrameHeader&, int32_t);

}  // namespace vexa
