// The packers around Synthesise: six per engine (stereo, single channel to
// two channels, single channel to one; 16-bit and 8-bit), chosen with the
// DCT kernel and the window tables by ConfigureSynthesis, so the per-block
// path tests neither engine nor quality.
#include <cstring>

#include "decoder/decoder.h"
#include "decoder/synthesis.h"
#include "decoder/synthesis_window.h"
#include "decoder/synthesis_slots.h"

namespace vexa {

SynthesisSlots g_synthesisSlots = {nullptr, nullptr, 0};

namespace {

// Engines 0 to 2 synthesise their own blocks.
template <class F>
struct NativeBlock {
    using Format = F;
    static typename F::sample* Prepare(void* block) { return static_cast<typename F::sample*>(block); }
};

// Engine 3: float blocks of the single-precision decoders, converted to Q15
// for the fixed synthesis.
struct FloatBlockToFixed {
    using Format = FixedFormat;
    static int32_t* Prepare(void* block) {
        FloatsToQ15(static_cast<const float*>(block), g_synthesis.mixedBlock, 32);
        return g_synthesis.mixedBlock;
    }
};

int16_t* Pcm16(uint8_t* pcm) { return reinterpret_cast<int16_t*>(pcm); }

template <class Input>
void StereoPack16(void* block, int32_t channel, uint8_t* pcm) {
    Synthesise<typename Input::Format>(Input::Prepare(block), channel, Pcm16(pcm));
}

template <class Input>
void StereoPack8(void* block, int32_t channel, uint8_t* pcm) {
    int16_t scratch[64];
    const int32_t lane = channel > 0 ? 1 : 0;
    Synthesise<typename Input::Format>(Input::Prepare(block), lane, scratch);
    for (int32_t j = 0; j < g_synthesis.subbands; ++j) pcm[2 * j + lane] = EightBitSample(scratch[2 * j + lane]);
}

template <class Input>
void SingleToTwoPack16(void* block, uint8_t* pcm) {
    int16_t* out = Pcm16(pcm);
    Synthesise<typename Input::Format>(Input::Prepare(block), -1, out);
    for (int32_t j = 0; j < g_synthesis.subbands; ++j) out[2 * j + 1] = out[2 * j];
}

template <class Input>
void SingleToTwoPack8(void* block, uint8_t* pcm) {
    int16_t scratch[64];
    Synthesise<typename Input::Format>(Input::Prepare(block), -1, scratch);
    for (int32_t j = 0; j < g_synthesis.subbands; ++j) pcm[2 * j] = pcm[2 * j + 1] = EightBitSample(scratch[2 * j]);
}

template <class Input>
void SingleToOnePack16(void* block, uint8_t* pcm) {
    int16_t scratch[64];
    int16_t* out = Pcm16(pcm);
    Synthesise<typename Input::Format>(Input::Prepare(block), -1, scratch);
    for (int32_t j = 0; j < g_synthesis.subbands; ++j) out[j] = scratch[2 * j];
}

template <class Input>
void SingleToOnePack8(void* block, uint8_t* pcm) {
    int16_t scratch[64];
    Synthesise<typename Input::Format>(Input::Prepare(block), -1, scratch);
    for (int32_t j = 0; j < g_synthesis.subbands; ++j) pcm[j] = EightBitSample(scratch[2 * j]);
}

struct EnginePackers {
    StereoPacker stereo16;
    StereoPacker stereo8;
    SinglePacker twoChannels16;
    SinglePacker twoChannels8;
    SinglePacker oneChannel16;
    SinglePacker oneChannel8;
};

template <class Input>
constexpr EnginePackers MakePackers() {
    return {StereoPack16<Input>,      StereoPack8<Input>,       SingleToTwoPack16<Input>,
            SingleToTwoPack8<Input>,  SingleToOnePack16<Input>, SingleToOnePack8<Input>};
}

constexpr EnginePackers kEnginePackers[4] = {
    MakePackers<NativeBlock<SingleFormat>>(),
    MakePackers<NativeBlock<DoubleFormat>>(),
    MakePackers<NativeBlock<FixedFormat>>(),
    MakePackers<FloatBlockToFixed>(),
};

const EnginePackers& PackersFor(int32_t engineKind) {
    // An engine outside 0..3 selects no frame decoder; its packers are never
    // called, but the slots still hold valid functions.
    return kEnginePackers[engineKind >= 0 && engineKind <= 3 ? engineKind : 0];
}

void SelectSlots(const EnginePackers& packers, bool eightBit, bool oneChannel) {
    g_synthesisSlots.stereo = eightBit ? packers.stereo8 : packers.stereo16;
    if (oneChannel) {
        g_synthesisSlots.single = eightBit ? packers.oneChannel8 : packers.oneChannel16;
    } else {
        g_synthesisSlots.single = eightBit ? packers.twoChannels8 : packers.twoChannels16;
    }
}

template <class F>
void SelectFormatTables(int32_t quality) {
    SynthesisFormat<F>& format = SynthesisFor<F>();
    const typename F::constant* tables[3] = {format.windowFull, format.windowHalf, format.windowQuarter};
    format.window = tables[quality];
    format.kernel = RingKernelFor<F>(32 >> quality);
}

}  // namespace

int32_t ComputeBlockBytes(int32_t quality, bool eightBit, bool oneChannel) {
    int32_t bytes = 128 >> quality;
    if (eightBit) bytes /= 2;
    if (oneChannel) bytes /= 2;
    return bytes;
}

void ConfigureSynthesis(const SynthesisSettings& settings) {
    ResetSynthesis();
    const int32_t quality = settings.quality > 2 ? 2 : (settings.quality < 1 ? 0 : settings.quality);
    const bool eightBit = settings.eightBit != 0;
    const bool oneChannel = settings.channelSelect >= 0;
    BuildEightBitTable();
    g_synthesis.subbands = 32 >> quality;
    SelectFormatTables<SingleFormat>(quality);
    SelectFormatTables<DoubleFormat>(quality);
    SelectFormatTables<FixedFormat>(quality);
    RefreshWindowCopies();
    g_synthesis.wideWindowing = ChooseWideWindowing();
    g_synthesis.fixedWindowing = ChooseFixedWindowing();
    SelectSlots(PackersFor(settings.engineKind), eightBit, oneChannel);
    g_synthesisSlots.blockBytes = ComputeBlockBytes(quality, eightBit, oneChannel);
}

int32_t BlockBytes() { return g_synthesisSlots.blockBytes; }

}  // namespace vexa
