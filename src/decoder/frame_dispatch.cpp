// The frame decoder table [layer][engineKind], the spectrum history kind
// chosen with it, and the hand-off of PCM blocks to whoever consumes them.
#include "decoder/decoder.h"
#include "decoder/layer12.h"
#include "decoder/layer3.h"
#include "decoder/bit_reader.h"
#include "stream/frame_reader.h"

namespace vexa {
namespace {

using FrameDecoder = void (*)(FrameHeader& header, int32_t deliver);

// Engine 3 runs the single-precision decoders; its packers convert to Q15.
constexpr FrameDecoder kFrameDecoders[3][4] = {
    {DecodeLayer1<SingleFormat>, DecodeLayer1<DoubleFormat>, DecodeLayer1<FixedFormat>, DecodeLayer1<SingleFormat>},
    {DecodeLayer2<SingleFormat>, DecodeLayer2<DoubleFormat>, DecodeLayer2<FixedFormat>, DecodeLayer2<SingleFormat>},
    {DecodeLayer3Single, DecodeLayer3Double, DecodeLayer3Fixed, DecodeLayer3Single},
};

struct DispatchState {
    FrameDecoder decoder;
    PcmSink sink;
};

DispatchState g_dispatch = {nullptr, nullptr};

}  // namespace

void ResetDecoderState() {
    g_bitReader = BitReader{g_frameReader.currentFrame, 0};
    ResetSynthesis();
    ResetLayer2State();
    ResetLayer3State();
}

void SetPcmSink(PcmSink sink) { g_dispatch.sink = sink; }

void DeliverPcm(const uint8_t* pcm, int32_t bytes) {
    if (g_dispatch.sink != nullptr) g_dispatch.sink(pcm, bytes);
}

// The integer ring of the spectrum history is filled by the fixed synthesis:
// engine 2 always, engine 3 for Layers I and II (its Layer III lines are
// float).
bool SelectFrameDecoder(int32_t layer, int32_t engineKind) {
    if (layer < 1 || layer > 3 || engineKind < 0 || engineKind > 3) {
        g_dispatch.decoder = nullptr;
        return false;
    }
    g_dispatch.decoder = kFrameDecoders[layer - 1][engineKind];
    const bool integer = engineKind == kEngineFixed || (engineKind == kEngineMixed && layer != 3);
    ConfigureSpectrumHistory(layer == 3, integer ? SpectrumKind::Integer : SpectrumKind::Float);
    return true;
}

SpectrumKind CurrentSpectrumKind() { return g_spectrum.ring.load(std::memory_order_relaxed); }

// Without a selected decoder (nothing opened yet) a frame gives no PCM. The
// frame decoders read the current body from past its CRC word on.
void DecodeFrame(FrameHeader& header, int32_t deliver) {
    if (g_dispatch.decoder == nullptr) return;
    PointBitReader(g_frameReader.currentFrame);
    if (header.crcPresent) GetBits(16);
    g_dispatch.decoder(header, deliver);
}

}  // namespace vexa
