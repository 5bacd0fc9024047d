#include "engine/stream_description.h"

#include <cstring>

#include "engine/engine_record.h"
#include "stream/frame_reader.h"
#include "stream/frame_values.h"

namespace vexa {
namespace {

StreamDescription g_description{};

}  // namespace

void ClearStreamDescription(EngineRecord& engine) {
    platform::LockGuard hold(engine.engineLock);
    g_description = StreamDescription{};
}

void PublishFormat(EngineRecord& engine, const FrameHeader& header) {
    char format[kFormatDescriptionCapacity] = {};
    BuildFormatDescription(header, format, sizeof format);
    platform::LockGuard hold(engine.engineLock);
    std::memcpy(g_description.format, format, sizeof format);
}

void PublishTag(EngineRecord& engine, const Id3v1Tag* tag) {
    platform::LockGuard hold(engine.engineLock);
    g_description.hasTag = tag != nullptr;
    g_description.tag = tag != nullptr ? *tag : Id3v1Tag{};
}

bool CopyStreamDescription(EngineRecord& engine, StreamDescription& copy) {
    platform::LockGuard hold(engine.engineLock);
    const int32_t mode = g_globals.mode;
    if (mode != kModePlaying && mode != kModePaused) return false;
    copy = g_description;
    return true;
}

}  // namespace vexa
