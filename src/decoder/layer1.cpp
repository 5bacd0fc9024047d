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

// What stays the same for the 12 slots of a frame, per channel and
// sub-band: allocation a means codes of a + 1 bits (a = 15 gives 16-bit
// codes), centred by 2^a - 1 and scaled by row a + 1 of the multipliers with
// the channel's scale factor; a = 0 gives value 0 times row 0.
template <class F>
struct Layer1Plan {
    int32_t offset[2][32];
    typename F::constant step[2][32];
};

template <class F>
void PlanLayer1(const Layer1Side& side, Layer1Plan<F>& plan) {
    const Layer12Multipliers<F>& multipliers = g_layer12.multipliers.get<F>();
    for (int32_t ch = 0; ch < 2; ++ch) {
        for (int32_t sb = 0; sb < 32; ++sb) {
            const int32_t allocation = side.allocation[ch][sb];
            plan.offset[ch][sb] = allocation ? 1 - (1 << allocation) : 0;
            plan.step[ch][sb] = multipliers.step[allocation ? allocation + 1 : 0][side.scaleFactor[ch][sb]];
        }
    }
}

int32_t ReadLayer1Value(int32_t allocation, int32_t offset) {
    return allocation ? static_cast<int32_t>(GetBits(allocation + 1)) + offset : 0;
}

// A shared sub-band's code is read once and scaled by each channel's own
// scale factor.
template <class F>
void ReadLayer1Slot(const Layer1Side& side, const Layer1Plan<F>& plan, int32_t (&values)[2][32]) {
    for (int32_t sb = 0; sb < 32; ++sb) {
        if (sb < side.bound) {
            for (int32_t ch = 0; ch < side.channels; ++ch)
                values[ch][sb] = ReadLayer1Value(side.allocation[ch][sb], plan.offset[ch][sb]);
        } else {
            values[0][sb] = values[1][sb] = ReadLayer1Value(side.allocation[0][sb], plan.offset[0][sb]);
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
    Layer1Plan<F> plan;
    PlanLayer1(side, plan);

    const int32_t selection = EffectiveChannelSelection(header);
    const int32_t limit = header.subbandCount;
    typename F::sample blocks[2][32];
    int32_t values[2][32];
    PcmBlock pcm;
    for (int32_t slot = 0; slot < kLayer1Slots; ++slot) {
        ReadLayer1Slot(side, plan, values);
        for (int32_t ch = 0; ch < side.channels; ++ch) {
            for (int32_t sb = 0; sb < limit; ++sb) blocks[ch][sb] = F::fromCode(values[ch][sb], plan.step[ch][sb]);
            for (int32_t sb = limit; sb < 32; ++sb) blocks[ch][sb] = 0;
        }
        PackAndDeliverSlot<F>(blocks[0], blocks[side.channels - 1], selection, pcm);
    }
}

template void DecodeLayer1<SingleFormat>(FrameHeader&, int32_t);
template void DecodeLayer1<DoubleFormat>(FrameHeader&, int32_t);
template void DecodeLayer1<FixedFormat>(FrameHeader&, int32_t);

}  // namespace vexa
