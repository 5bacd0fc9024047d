// The spectrum history: two rings (integer and float) of 200 slots, one slot
// per 50 ms of decoded audio, that the decoder's hooks fill with per-band
// magnitude sums and VexaEngine_GetSpectrum reads for the slot matching what
// is being heard. Only the ring of the stream's kind is written and read.
//
// What a slot's 32 entries hold depends on the layer: Layer I/II sub-band k
// in entry k; Layer III 20 line bands (the largest line of each band, at
// least 0) in entries 0..19.
//
// Threads: the hooks add to the write slot on the playback thread without
// the lock. Clearing, opening and stamping slots (playback thread, or the
// stream open before it exists) and CopySpectrumSlot (host thread) run with
// the engine lock held by the caller: the copied slot is never the write
// slot, so the lock is all that separates the two threads.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexa {

constexpr int kSpectrumSlots = 200;
constexpr int kSpectrumEntries = 32;
constexpr int kLineBands = 20;

template <class V>
struct SpectrumSlot {
    V left[kSpectrumEntries];
    V right[kSpectrumEntries];  // a copy of left for single-channel output
    uint32_t count;             // steps (sub-band steps or granules), once per channel pair
    int32_t stamp;              // decoded-audio ms at which the slot began
};

enum class SpectrumRing : int32_t { Integer, Float };

struct SpectrumHistory {
    SpectrumSlot<int32_t> integerRing[kSpectrumSlots];
    SpectrumSlot<float> floatRing[kSpectrumSlots];
    int32_t writeIndex;  // shared by both rings
    // Set at stream open; read by the hooks and by a host thread.
    std::atomic<int32_t> layer3;
    std::atomic<SpectrumRing> ring;
};

extern SpectrumHistory g_spectrum;

// Stream open: which layer fills the history and which ring it uses. With
// layer3 set the sub-band hook does nothing (the line hook has the lines).
void ConfigureSpectrumHistory(bool layer3, SpectrumRing ring);

// All slots of both rings cleared (stamps 0), index 0.
void ClearSpectrumHistory();
// Moves to the next slot (200 wraps to 0), clears it and stamps it.
void OpenSpectrumSlot(int32_t stampMs);
// After a seek: stamps slot 0 of both rings with the new decode position.
void StampFirstSpectrumSlot(int32_t stampMs);

// A slot of either ring as the reader sees it: magnitudes at full scale 1.0.
struct SpectrumSnapshot {
    float left[kSpectrumEntries];
    float right[kSpectrumEntries];
    uint32_t count;
    bool layer3;
};

// The slot other than the write slot whose stamp is at or before targetMs
// and closest to it, less than 1000 ms away; false when there is none.
bool CopySpectrumSlot(int32_t targetMs, SpectrumSnapshot& out);

}  // namespace vexa
