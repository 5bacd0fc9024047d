#include "dsp/spectrum_history.h"

#include <cstring>

namespace vexa {

SpectrumHistory g_spectrum;

namespace {

constexpr int32_t kSearchWindowMs = 1000;
constexpr float kQ15ToFull = 1.0f / 32768.0f;

template <class V>
void ClearSlot(SpectrumSlot<V>& slot, int32_t stampMs) {
    std::memset(slot.left, 0, sizeof slot.left);
    std::memset(slot.right, 0, sizeof slot.right);
    slot.count = 0;
    slot.stamp = stampMs;
}

template <class V>
int FindSlot(const SpectrumSlot<V>* ring, int32_t targetMs) {
    int best = -1;
    int64_t bestDistance = kSearchWindowMs;
    for (int i = 0; i < kSpectrumSlots; ++i) {
        if (i == g_spectrum.writeIndex || ring[i].stamp > targetMs) continue;
        const int64_t distance = int64_t{targetMs} - ring[i].stamp;
        if (distance < bestDistance) {  // a later slot must be strictly closer
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

void Convert(const SpectrumSlot<float>& slot, SpectrumSnapshot& out) {
    std::memcpy(out.left, slot.left, sizeof out.left);
    std::memcpy(out.right, slot.right, sizeof out.right);
}

void Convert(const SpectrumSlot<int32_t>& slot, SpectrumSnapshot& out) {
    for (int k = 0; k < kSpectrumEntries; ++k) {
        out.left[k] = static_cast<float>(slot.left[k]) * kQ15ToFull;
        out.right[k] = static_cast<float>(slot.right[k]) * kQ15ToFull;
    }
}

template <class V>
bool CopyFrom(const SpectrumSlot<V>* ring, int32_t targetMs, SpectrumSnapshot& out) {
    const int found = FindSlot(ring, targetMs);
    if (found < 0) return false;
    Convert(ring[found], out);
    out.count = ring[found].count;
    return true;
}

}  // namespace

void ConfigureSpectrumHistory(bool layer3, SpectrumRing ring) {
    g_spectrum.layer3.store(layer3 ? 1 : 0, std::memory_order_relaxed);
    g_spectrum.ring.store(ring, std::memory_order_relaxed);
}

void ClearSpectrumHistory() {
    for (int i = 0; i < kSpectrumSlots; ++i) {
        ClearSlot(g_spectrum.integerRing[i], 0);
        ClearSlot(g_spectrum.floatRing[i], 0);
    }
    g_spectrum.writeIndex = 0;
}

void OpenSpectrumSlot(int32_t stampMs) {
    const int32_t next = (g_spectrum.writeIndex + 1) % kSpectrumSlots;
    ClearSlot(g_spectrum.integerRing[next], stampMs);
    ClearSlot(g_spectrum.floatRing[next], stampMs);
    g_spectrum.writeIndex = next;
}

void StampFirstSpectrumSlot(int32_t stampMs) {
    g_spectrum.integerRing[0].stamp = stampMs;
    g_spectrum.floatRing[0].stamp = stampMs;
}

bool CopySpectrumSlot(int32_t targetMs, SpectrumSnapshot& out) {
    out.layer3 = g_spectrum.layer3.load(std::memory_order_relaxed) != 0;
    if (g_spectrum.ring.load(std::memory_order_relaxed) == SpectrumRing::Integer)
        return CopyFrom(g_spectrum.integerRing, targetMs, out);
    return CopyFrom(g_spectrum.floatRing, targetMs, out);
}

}  // namespace vexa
