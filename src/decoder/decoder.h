// The decoder's face toward the engine: table set-up and resets in the order
// the stream open runs them, the choice of frame decoder per layer and
// numeric engine, and the per-frame call.
//
// Threads: everything here runs on the playback thread, or on the thread that
// opens the stream before the playback thread exists. BuildWindowTables may
// also be called from the host's thread (effect changes) with the same scale.
#pragma once

#include <cstdint>

#include "dsp/spectrum_history.h"
#include "stream/frame_header.h"

namespace vexa {

enum EngineKind : int32_t { kEngineSingle = 0, kEngineDouble = 1, kEngineFixed = 2, kEngineMixed = 3 };

// Which ring of the spectrum history the decoder fills.
using SpectrumKind = SpectrumRing;

// What the synthesis and its packers are configured for at stream open.
struct SynthesisSettings {
    int32_t engineKind;     // 0..3
    int32_t quality;        // 0..2
    int32_t eightBit;       // nonzero: 8-bit PCM
    int32_t channelSelect;  // negative: two channels out, else one
};

// Receives each PCM block the frame decoders produce. Playback sends it to
// the wave output; tests and tools capture it.
using PcmSink = void (*)(const uint8_t* pcm, int32_t bytes);
void SetPcmSink(PcmSink sink);
void DeliverPcm(const uint8_t* pcm, int32_t bytes);

void BuildDctTables();
void BuildWindowTables(int32_t scale);
void ResetSynthesis();
void ResetLayer2State();
void ResetLayer3State();
// Every per-stream state of the decoder (synthesis rings, Layer II and III
// state), with the bit reader resting on the frame reader's zeroed current
// body, so a decode after a failed read reads zeros instead of faulting.
// Called after ResetFrameReader at stream open and at every seek.
void ResetDecoderState();
void ConfigureSynthesis(const SynthesisSettings& settings);
void BuildLayer12Tables();
void SetUpLayer3Tables();

// Picks the frame decoder for (layer 1..3, engineKind 0..3) and configures
// the spectrum history for the layer and its kind. False when the pair
// selects no decoder.
bool SelectFrameDecoder(int32_t layer, int32_t engineKind);
SpectrumKind CurrentSpectrumKind();

// Decodes the current frame with the selected decoder. deliver 0 only
// rebuilds state (Layer III hands no PCM on); Layers I and II ignore it.
void DecodeFrame(FrameHeader& header, int32_t deliver);

// PCM bytes per sub-band block for the configured output format.
int32_t BlockBytes();

}  // namespace vexa
