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

OfflineResult DecodeToMemory(const uint8_t* data, uint32_t size, const OfflineSettings& settings) {
    OfflineResult result;
    EngineRecord& engine = g_engine;
    ApplySettings(engine, settings, size);
    MemorySource source(data, size);
    result.status = PrepareStream(engine, source, g_header);
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
