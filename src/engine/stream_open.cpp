#include "engine/stream_open.h"

#include <cstring>

#include "decoder/decoder.h"
#include "engine/connect_thread.h"
#include "dsp/spectrum_history.h"
#include "engine/engine_output.h"
#include "output/wave_output.h"
#include "stream/frame_count.h"
#include "stream/frame_reader.h"

namespace vexa {
namespace {

void ClearHeaderRecord(const EngineRecord& engine, FrameHeader& header) {
    std::memset(&header, 0, sizeof header);
    header.channelSelect = engine.channelSelect;
    header.quality = engine.quality;
    header.subbandCount = 32 >> engine.quality;
    header.lineCount = 576 >> engine.quality;
}

void RecordStreamFormat(EngineRecord& engine, const FrameHeader& header) {
    engine.isLayer3 = header.layer == 3 ? 1 : 0;
    engine.sampleRate = OutputSampleRate(header);
    engine.channels = engine.channelSelect < 0 ? 2 : 1;
    engine.bytesPerSample = engine.eightBit ? 1 : 2;
    engine.frameMs = FrameDurationMs(header);
    engine.frameCount = CountFrames(engine.dataSize, header);
    engine.lengthMs = engine.frameCount * engine.frameMs;
    engine.seekBaseMs = 0;
    engine.decodePosMs = 0;
}

}  // namespace

int32_t PrepareStream(EngineRecord& engine, ByteSource& source, FrameHeader& header) {
    // An engine number outside 0..3 would select no decoder and play
    // silence; the stream plays with the single-precision engine instead.
    if (engine.engineKind < kEngineSingle || engine.engineKind > kEngineMixed) engine.engineKind = kEngineSingle;
    ClearHeaderRecord(engine, header);
    BuildDctTables();
    if (!engine.isHttp && engine.levelScanRequested) {
        engine.levelScanPending = 1;
        engine.outputScale = kLevelScanStartScale;
    }
    BuildWindowTables(engine.outputScale);
    ResetFrameReader(true);
    ResetDecoderState();
    if (!ReadNextFrame(source, header)) return kErrNoFrame;
    ConfigureSynthesis({engine.engineKind, engine.quality, engine.eightBit, engine.channelSelect});
    BuildLayer12Tables();
    SetUpLayer3Tables();
    SelectFrameDecoder(header.layer, engine.engineKind);
    RecordStreamFormat(engine, header);
    return 1;
}

int32_t OpenStream(EngineRecord& engine, ByteSource& source) {
    if (SetUpStreamSaving(engine) != 1) {
        Output_Close();
        return kErrStreamSave;
    }
    const int32_t prepared = PrepareStream(engine, source, g_header);
    if (prepared < 1) {
        Output_Close();
        return prepared;
    }
    SetPcmSink(Output_Write);
    if (OpenEngineOutput(engine) < 1) {
        Output_Close();
        return kErrOutput;
    }
    {
        // A host thread may be reading the history of the previous stream.
        platform::LockGuard hold(engine.engineLock);
        ClearSpectrumHistory();
    }
    return 1;
}

}  // namespace vexa
