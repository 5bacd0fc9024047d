#include "engine/engine_record.h"

#include <cstring>

namespace vexa {

EngineRecord g_engine;
EngineGlobals g_globals;

void ResetEngineRecordToDefaults(EngineRecord& engine) {
    engine.sampleRate = 0;
    engine.channels = 0;
    engine.bytesPerSample = 0;
    engine.outputScale = kDefaultOutputScale;
    engine.levelScanRequested = 0;
    engine.levelScanPending = 0;
    engine.hostWindow = nullptr;
    std::memset(engine.sourceName, 0, sizeof engine.sourceName);
    std::memset(engine.recordFolder, 0, sizeof engine.recordFolder);
    std::memset(engine.streamSaveFolder, 0, sizeof engine.streamSaveFolder);
    engine.recordAutoName = 0;
    engine.fileHandle = nullptr;
    engine.dataSize = 0;
    engine.channelSelect = -1;
    engine.quality = 0;
    engine.eightBit = 0;
    engine.stopRequest = 0;
    engine.endReached = 0;
    engine.paused = 0;
    engine.pauseChanged = 0;
    engine.frameMs = 0.0;
    engine.frameCount = 0;
    engine.lengthMs = 0.0;
    engine.seekRequest = 0;
    engine.seekPercent = 0.0f;
    engine.seekBaseMs = 0;
    engine.decodePosMs = 0;
    EffectSettings& effects = engine.effects;
    for (std::atomic<int32_t>* setting : {&effects.reverbOn, &effects.reverbType, &effects.reverbLevel, &effects.chorusOn,
                                          &effects.chorusLevel, &effects.wideOn, &effects.wideAmount, &effects.presetOn,
                                          &effects.presetNumber})
        *setting = 0;
    engine.windowRebuildPending = 0;
    engine.isLayer3 = 0;
    engine.hasId3v1 = 0;
    engine.recordMode = 0;
    engine.blockCount = 16;
    engine.threadPriority = 1;
    engine.engineKind = 0;
    engine.isHttp = 0;
    engine.netSession = nullptr;
    engine.netUrl = nullptr;
    engine.saveStream = 0;
    engine.saveFile = nullptr;
}

void CopyText(char* destination, const char* source) {
    if (source == nullptr) {
        destination[0] = '\0';
        return;
    }
    int32_t length = 0;
    while (length < kTextCapacity - 1 && source[length] != '\0') ++length;
    std::memmove(destination, source, static_cast<size_t>(length));
    destination[length] = '\0';
}

}  // namespace vexa
