#include "engine/offline_decode.h"

#include <cstring>

#include "decoder/decoder.h"
#include "engine/engine_record.h"
#include "engine/stream_open.h"
#include "stream/frame_reader.h"

namespace vexa {
namespace {

std::vector<uint8_t>* g_capture = nullptr;

void CapturePcm(const uint8_t* pcm, int32_t bytes) { g_capture->insert(g_capture->end(), pcm, pcm + bytes); }

void ApplySettings(EngineRecord& engine, const OfflineSettings& settings, uint32_t size) {
    engine.engineKind = settings.engineKind;
    engine.quality = settings.quality >= 0 && settings.quality <= 2 ? settings.quality : 0;
    engine.channelSelect = settings.channelSelect;
    engine.eightBit = settings.eightBit;
    engine.outputScale = settings.outputScale;
    engine.levelScanRequested = 0;
    engine.levelScanPending = 0;
    engine.isHttp = 0;
    engine.dataSize = size;
}

}  // namespace

int32_t OpenOfflineStream(MemorySource& source, const OfflineSettings& settings) {
    ApplySettings(g_engine, settings, source.size());
    return PrepareStream(g_engine, source, g_header);
}

OfflineResult DecodeToMemory(const uint8_t* data, uint32_t size, const OfflineSettings& settings) {
    OfflineResult result;
    const EngineRecord& engine = g_engine;
    MemorySource source(data, size);
    result.status = OpenOfflineStream(source, settings);
    if (result.status < 1) return result;
    std::memcpy(&result.header, &g_header, sizeof g_header);
    result.sampleRate = engine.sampleRate;
    result.channels = engine.channels;
    result.lengthMs = engine.lengthMs;
    g_capture = &result.pcm;
    SetPcmSink(CapturePcm);
    do {
        DecodeFrame(g_header, 1);
        ++result.framesDecoded;
        if (settings.maxFrames >= 0 && result.framesDecoded > settings.maxFrames) break;
    } while (ReadNextFrame(source, g_header));
    SetPcmSink(nullptr);
    g_capture = nullptr;
    return result;
}

}  // namespace vexa
