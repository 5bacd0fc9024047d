// Layer I frames: 12 time slots of 32 sub-band samples per channel, with one
// allocation and one scale factor per sub-band and channel.
#include "decoder/bit_reader.h"
#include "decoder/layer12.h"
#include "decoder/slot_output.h"

namespace vexa {
namespace {

constexpr int32_t kLayer1Slots = 12;

struct Layer1Side {
    int32_t channels;
    int32_t bound;  // sub-bands below it carry one allocation per channel
    uint8_t allocation[2][32];
    uint8_t scaleFactor[2][32];
};

// Above the bound one allocation serves both channels; a one-channel frame
// has its bound at 32, so it reads 32 allocations.
void ReadLayer1Allocation(Layer1Side& side) {
    for (int32_t sb = 0; sb < 32; ++sb) {
        if (sb < side.bound) {
            for (int32_t ch = 0; ch < side.channels; ++ch) side.allocation[ch][sb] = static_cast<uint8_t>(GetBits(4));
        } else {
            side.allocation[0][sb] = side.allocation[1][sb] = static_cast<uint8_t>(GetBits(4));
        }
    }
}

void ReadLayer1ScaleFactors(Layer1Side& side) {
    for (int32_t sb = 0; sb < 32; ++sb)
        for (int32_t ch = 0; ch < side.channels; ++ch)
            if (side.allocation[ch][sb] != 0) side.scaleFactor[ch][sb] = static_cast<uint8_t>(GetBits(6));
}

// Allocation a means codes of a + 1 bits (a = 15 gives 16-bit codes), centred
// by 2^a - 1 and scaled by row a + 1 of the multipliers.
void SetLayer1Code(CodedBlock& coded, int32_t sb, int32_t allocation, uint32_t code, int32_t scaleFactor) {
    coded.value[sb] = allocation ? static_cast<int32_t>(code) - (1 << allocation) + 1 : 0;
    coded.row[sb] = static_cast<uint8_t>(allocation ? allocation + 1 : 0);
    coded.scaleFactor[sb] = static_cast<uint8_t>(scaleFactor);
}

uint32_t ReadLayer1Code(int32_t allocation) { return allocation ? GetBits(allocation + 1) : 0; }

// A shared sub-band's code is read once and scaled by each channel's own
// scale factor.
void ReadLayer1Slot(const Layer1Side& side, CodedBlock (&coded)[2]) {
    for (int32_t sb = 0; sb < 32; ++sb) {
        if (sb < side.bound) {
            for (int32_t ch = 0; ch < side.channels; ++ch) {
                const int32_t allocation = side.allocation[ch][sb];
                SetLayer1Code(coded[ch], sb, allocation, ReadLayer1Code(allocation), side.scaleFactor[ch][sb]);
            }
        } else {
            const int32_t allocation = side.allocation[0][sb];
            const uint32_t code = ReadLayer1Code(allocation);
            for (int32_t ch = 0; ch < 2; ++ch) SetLayer1Code(coded[ch], sb, allocation, code, side.scaleFactor[ch][sb]);
        }
    }
}

}  // namespace

template <class F>
void DecodeLayer1(FrameHeader& header, int32_t /*deliver: Layer I always outputs*/) {
    header.jsBound = header.mode == 1 ? 4 * (header.modeExtension + 1) : 32;
    Layer1Side side{};
    side.channels = header.channels;
    side.bound = header.channels == 2 ? header.jsBound : 32;
    ReadLayer1Allocation(side);
    ReadLayer1ScaleFactors(side);

    const int32_t selection = EffectiveChannelSelection(header);
    const int32_t limit = header.subbandCount;
    typename F::sample blocks[2][32];
    CodedBlock coded[2];
    PcmBlock pcm;
    for (int32_t slot = 0; slot < kLayer1Slots; ++slot) {
        ReadLayer1Slot(side, coded);
        for (int32_t ch = 0; ch < side.channels; ++ch) DequantiseBlock<F>(coded[ch], limit, blocks[ch]);
        PackAndDeliverSlot<F>(blocks[0], blocks[side.channels - 1], selection, pcm);
    }
}

template void DecodeLayer1<SingleFormat>(FrameHeader&, int32_t);
template void DecodeLayer1<DoubleFormat>(FrameHeader&, int32_t);
template void DecodeLayer1<FixedFormat>(FrameHeader&, int32_t);

}  // namespace vexa
