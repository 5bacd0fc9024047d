// Decoder stages that are not built yet. Each is a no-op so that the stream
// open runs in its final order; the decoder's own sources replace them.
#include "decoder/decoder.h"

namespace vexa {

namespace {
PcmSink g_pcmSink = nullptr;
}

void SetPcmSink(PcmSink sink) { g_pcmSink = sink; }
void DeliverPcm(const uint8_t* pcm, int32_t bytes) {
    if (g_pcmSink != nullptr) g_pcmSink(pcm, bytes);
}

void BuildDctTables() {}
void BuildWindowTables(int32_t) {}
void ResetSynthesis() {}
void ResetLayer2State() {}
void ConfigureSynthesis(const EngineRecord&) {}
void BuildLayer12Tables() {}
bool SelectFrameDecoder(int32_t layer, int32_t engineKind) {
    return layer >= 1 && layer <= 3 && engineKind >= 0 && engineKind <= 3;
}
SpectrumKind CurrentSpectrumKind() { return SpectrumKind::Float; }
void DecodeFrame(FrameHeader&, int32_t) {}
int32_t BlockBytes() { return 0; }

}  // namespace vexa
