// The exported interface: setters and their results, modes, Play's failures
// and success, run flags set by Pause / Resume / Seek, and Stop.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "engine/engine_record.h"
#include "support/frame_builder.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;
using namespace vexatest;

namespace {

// Plays in record-only mode with automatic names into folder, so no sound
// device is needed.
int32_t PlayFileInto(const std::string& path, const std::string& folder) {
    char recordFolder[256] = {};
    char saveFolder[256] = "save";
    folder.copy(recordFolder, 255);
    return VexaEngine_Play(nullptr, path.c_str(), 7, recordFolder, 1, saveFolder);
}

std::string IsoPath(const char* name) { return SharedPath(std::string("vectors/iso/") + name + ".bit"); }

class EngineApi : public ::testing::Test {
protected:
    void SetUp() override {
        VexaEngine_Stop();
        VexaEngine_SetEngine(0);
        VexaEngine_SetQuality(0);
        VexaEngine_SetChannel(0);
        VexaEngine_SetScale(0, 30000);
        VexaEngine_SetOutputOptions(1, 16, 1, 0);
    }
    void TearDown() override {
        VexaEngine_Stop();
        VexaEngine_SetEffect(0, 0, 0, 0, 0, 0, 0, 0, 0);
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
    }
    int32_t PlayFile(const std::string& path) { return PlayFileInto(path, scratch.path()); }
    ScratchDir scratch;
};

TEST_F(EngineApi, SettersStoreAndReturnTheirDocumentedValues) {
    EXPECT_EQ(VexaEngine_SetQuality(3), 3);
    EXPECT_EQ(g_engine.quality, 0);
    EXPECT_EQ(VexaEngine_SetQuality(-1), -1);
    EXPECT_EQ(g_engine.quality, 0);
    EXPECT_EQ(VexaEngine_SetQuality(2), 2);
    EXPECT_EQ(g_engine.quality, 2);
    EXPECT_EQ(VexaEngine_SetChannel(5), 3);
    EXPECT_EQ(g_engine.channelSelect, 3);
    EXPECT_EQ(VexaEngine_SetChannel(0), -1);
    EXPECT_EQ(g_engine.channelSelect, -1);
    EXPECT_EQ(VexaEngine_Set8bitResolution(9), 9);
    EXPECT_EQ(g_engine.eightBit, 9);
    EXPECT_EQ(VexaEngine_SetEngine(7), 7);
    EXPECT_EQ(VexaEngine_SetScale(1, 25000), 1);
    EXPECT_EQ(VexaEngine_SetOutputOptions(2, 8, -2, 1), -2);
    EXPECT_EQ(g_engine.blockCount, 8);
    EXPECT_EQ(g_engine.threadPriority, -2);
    VexaEngine_Set8bitResolution(0);
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
}

TEST_F(EngineApi, CallsInTheWrongModeReturnZeroAndChangeNothing) {
    ASSERT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    EXPECT_EQ(VexaEngine_Stop(), 0);
    EXPECT_EQ(VexaEngine_Pause(), 0);
    EXPECT_EQ(VexaEngine_Resume(), 0);
    EXPECT_EQ(VexaEngine_Seek(1000), 0);
    EXPECT_EQ(VexaEngine_GetPosition(), 0);
    EXPECT_EQ(VexaEngine_GetLength(), 0);
    EXPECT_EQ(VexaEngine_IsOpen(), 0);
    char text[64] = "unchanged";
    int32_t track = 42;
    int32_t flags[6] = {1, 1, 1, 1, 1, 1};
    EXPECT_EQ(VexaEngine_GetFileInfo(text, sizeof text, &track, 1, flags), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(track, 42) << "the track number is not written when closed";
    EXPECT_EQ(g_engine.paused, 0);
    EXPECT_EQ(g_engine.seekRequest, 0);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
}

TEST_F(EngineApi, PlayFailuresLeaveTheEngineClosed) {
    EXPECT_EQ(PlayFile(scratch.File("missing.mp3")), VEXA_ERR_INPUT);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    EXPECT_EQ(PlayFile(scratch.path()), VEXA_ERR_INPUT) << "a folder is not a file";

    std::vector<uint8_t> random;
    uint32_t seed = 12345;
    for (int i = 0; i < 20000; ++i) {
        seed = seed * 1103515245u + 12345u;
        random.push_back(static_cast<uint8_t>(seed >> 24));
    }
    const std::pair<const char*, std::vector<uint8_t>> noFrames[] = {
        {"random.mp3", random},
        {"empty.mp3", {}},
        {"tag-only.mp3", Id3v1Trailer("TAG")},
        {"short.mp3", {0xFF, 0xFB, 0x90}},
    };
    for (const auto& [name, bytes] : noFrames) {
        SCOPED_TRACE(name);
        WriteWholeFile(scratch.File(name), bytes);
        EXPECT_EQ(PlayFile(scratch.File(name)), VEXA_ERR_NO_FRAME);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
        EXPECT_EQ(VexaEngine_IsOpen(), 0);
    }
}

TEST_F(EngineApi, ResourceFailuresGiveMinus9550) {
    for (platform::Fault fault : {platform::Fault::ThreadStart, platform::Fault::EventCreate,
                                  platform::Fault::LockCreate, platform::Fault::Allocation}) {
        platform::InjectFault(fault, 1);
        EXPECT_EQ(PlayFile(IsoPath("l2-fl10")), VEXA_ERR_RESOURCES);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
        platform::InjectFault(fault, 0);
    }
    // The playback thread is the second thread a Play starts, after the reader.
    platform::InjectFault(platform::Fault::ThreadStart, 1, 1);
    EXPECT_EQ(PlayFile(IsoPath("l2-fl10")), VEXA_ERR_RESOURCES);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    platform::InjectFault(platform::Fault::ThreadStart, 0);
    EXPECT_EQ(PlayFile(IsoPath("l2-fl10")), 1);
}

TEST_F(EngineApi, PlayOpensTheStreamAndStopClosesIt) {
    ASSERT_EQ(PlayFile(IsoPath("l3-compl")), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
    EXPECT_EQ(VexaEngine_IsOpen(), 1);
    EXPECT_EQ(PlayFile(IsoPath("l2-fl10")), 0) << "Play is accepted only while closed";
    EXPECT_EQ(g_globals.notificationId, 7);
    EXPECT_EQ(g_engine.isLayer3, 1);
    EXPECT_EQ(g_engine.sampleRate, 48000);
    EXPECT_EQ(g_engine.channels, 2);
    EXPECT_EQ(g_engine.bytesPerSample, 2);
    EXPECT_DOUBLE_EQ(g_engine.frameMs, 24.0);
    // 41495 bytes of 192-byte frames at 24 ms each.
    EXPECT_EQ(g_engine.frameCount, 41495 / 192);
    EXPECT_EQ(VexaEngine_GetLength(), static_cast<int32_t>(41495 / 192 * 24.0 + 0.5));

    char text[512];
    int32_t track = 0;
    int32_t flags[6] = {1, 1, 1, 1, 1, 1};
    ASSERT_EQ(VexaEngine_GetFileInfo(text, sizeof text, &track, 1, flags), 1);
    EXPECT_STREQ(text, "MPEG-1 Layer III, 48 kHz, 64 kbps, Mono");
    EXPECT_EQ(track, -1);
    ASSERT_EQ(VexaEngine_GetFileInfo(text, 10, &track, 1, flags), 1);
    EXPECT_STREQ(text, "") << "a description that does not fit is left out";

    EXPECT_EQ(VexaEngine_Stop(), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    EXPECT_EQ(VexaEngine_Stop(), 0);
}

TEST_F(EngineApi, PendingSettingsAreCopiedAtPlay) {
    VexaEngine_SetEngine(2);
    VexaEngine_SetScale(0, 12345);
    VexaEngine_SetQuality(1);
    VexaEngine_SetChannel(1);
    VexaEngine_Set8bitResolution(1);
    ASSERT_EQ(PlayFile(IsoPath("l2-fl12")), 1);
    EXPECT_EQ(g_engine.engineKind, 2);
    EXPECT_EQ(g_engine.outputScale, 12345);
    EXPECT_EQ(g_engine.sampleRate, 24000);
    EXPECT_EQ(g_engine.channels, 1);
    EXPECT_EQ(g_engine.bytesPerSample, 1);
    VexaEngine_Stop();
    VexaEngine_SetEngine(-5);
    ASSERT_EQ(PlayFile(IsoPath("l2-fl12")), 1);
    EXPECT_EQ(g_engine.engineKind, 0) << "an engine number outside 0..3 plays with engine 0";
    VexaEngine_Stop();
    VexaEngine_Set8bitResolution(0);
}

TEST_F(EngineApi, LongNamesAndFoldersAreCutTo255Characters) {
    const std::string longName(400, 'a');
    char recordFolder[256];
    char saveFolder[256];
    std::string longFolder(255, 'f');
    std::memcpy(recordFolder, longFolder.c_str(), 256);
    std::memcpy(saveFolder, longFolder.c_str(), 256);
    EXPECT_EQ(VexaEngine_Play(nullptr, longName.c_str(), 0, recordFolder, 0, saveFolder), VEXA_ERR_INPUT);
    EXPECT_EQ(std::strlen(g_engine.sourceName), 255u);
    EXPECT_EQ(std::strlen(g_engine.recordFolder), 255u);
}

TEST_F(EngineApi, PauseResumeAndSeekSetTheRunFlags) {
    ASSERT_EQ(PlayFile(IsoPath("l2-fl16")), 1);
    const double length = g_engine.lengthMs;
    ASSERT_GT(length, 0.0);
    EXPECT_EQ(VexaEngine_Resume(), 0) << "not paused";
    EXPECT_EQ(VexaEngine_Pause(), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PAUSED);
    EXPECT_EQ(g_engine.paused, 1);
    EXPECT_EQ(g_engine.pauseChanged, 1);
    EXPECT_EQ(VexaEngine_Pause(), 0);
    EXPECT_EQ(VexaEngine_Seek(static_cast<uint32_t>(length / 2)), 1) << "a seek while paused resumes";
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
    EXPECT_EQ(g_engine.paused, 0);
    EXPECT_EQ(g_engine.seekRequest, 1);
    EXPECT_NEAR(g_engine.seekPercent, 50.0f, 0.1f);

    const std::pair<uint32_t, float> seeks[] = {{0, 0.0f}, {static_cast<uint32_t>(length * 2), 99.0f},
                                                {static_cast<uint32_t>(length), 99.0f}};
    for (const auto& [ms, percent] : seeks) {
        EXPECT_EQ(VexaEngine_Seek(ms), 1);
        EXPECT_FLOAT_EQ(g_engine.seekPercent, percent) << ms;
    }
    EXPECT_EQ(VexaEngine_Pause(), 1);
    EXPECT_EQ(VexaEngine_Resume(), 1);
    EXPECT_EQ(g_engine.paused, 0);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
}

TEST_F(EngineApi, EndedStreamReports525UntilStop) {
    ASSERT_EQ(PlayFile(IsoPath("l2-fl16")), 1);
    {
        platform::LockGuard hold(g_engine.engineLock);
        g_engine.endReached = 1;  // what the playback thread does at the end
    }
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_ENDED);
    EXPECT_EQ(VexaEngine_GetPosition(), 0);
    EXPECT_EQ(VexaEngine_GetLength(), 0);
    EXPECT_EQ(VexaEngine_Pause(), 0);
    EXPECT_EQ(VexaEngine_Resume(), 0);
    EXPECT_EQ(VexaEngine_Seek(10), 0);
    EXPECT_EQ(VexaEngine_IsOpen(), 1);
    EXPECT_EQ(VexaEngine_Stop(), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED) << "after Stop the engine is closed, not ended";
    EXPECT_EQ(PlayFile(IsoPath("l2-fl16")), 1) << "and plays again";
}

TEST_F(EngineApi, FileInfoCarriesTheTagWhilePlayingOrPaused) {
    setenv("LC_ALL", "en_US.UTF-8", 1);
    std::vector<uint8_t> bytes = ReadWholeFile(IsoPath("l2-fl13"));
    Append(bytes, Id3v1Trailer("TAG", "Tone", 9, 17));
    WriteWholeFile(scratch.File("tagged.mp2"), bytes);
    ASSERT_EQ(PlayFile(scratch.File("tagged.mp2")), 1);
    EXPECT_EQ(g_engine.hasId3v1, 1);
    char text[512];
    int32_t track = 0;
    const int32_t flags[6] = {1, 0, 0, 0, 0, 1};
    ASSERT_EQ(VexaEngine_GetFileInfo(text, sizeof text, &track, 1, const_cast<int32_t*>(flags)), 1);
    const std::string expected = "MPEG-1 Layer II, 32 kHz, 32 kbps, Mono        Title : Tone, Genre : Rock";
    EXPECT_EQ(std::string(text), expected);
    EXPECT_EQ(track, 9);
    ASSERT_EQ(VexaEngine_Pause(), 1);
    ASSERT_EQ(VexaEngine_GetFileInfo(text, sizeof text, &track, 1, const_cast<int32_t*>(flags)), 1);
    EXPECT_EQ(std::string(text), expected) << "paused gives the same text";
    ASSERT_EQ(VexaEngine_GetFileInfo(text, sizeof text, &track, 0, const_cast<int32_t*>(flags)), 1);
    EXPECT_STREQ(text, "Title : Tone, Genre : Rock");
    VexaEngine_Stop();
    EXPECT_EQ(VexaEngine_GetFileInfo(text, sizeof text, &track, 1, const_cast<int32_t*>(flags)), 0);
    unsetenv("LC_ALL");
}

TEST_F(EngineApi, EffectChangesRebuildTheWindowsOnThePlaybackThread) {
    VexaEngine_SetEffect(0, 0, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(g_engine.windowRebuildPending, 0) << "closed: nothing to rebuild";
    ASSERT_EQ(PlayFile(IsoPath("l2-fl16")), 1);
    ASSERT_EQ(VexaEngine_Pause(), 1);
    VexaEngine_SetEffect(0, 0, 0, 0, 0, 0, 0, 0, 0);
    // The paused thread still passes the top of its loop every 100 ms.
    for (int waited = 0; waited < 2000 && g_engine.windowRebuildPending != 0; waited += 10) platform::SleepMs(10);
    EXPECT_EQ(g_engine.windowRebuildPending, 0);
    // Once the thread has played the stream out, the host rebuilds them itself.
    ASSERT_EQ(VexaEngine_Resume(), 1);
    for (int waited = 0; waited < 5000 && !g_engine.endReached; waited += 10) platform::SleepMs(10);
    VexaEngine_SetEffect(1, 0, 50, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(g_engine.windowRebuildPending, 0) << "a request no thread will take";
}

TEST_F(EngineApi, AnAddressWhoseConnectThreadCannotStartLeavesTheEngineClosed) {
    platform::InjectFault(platform::Fault::ThreadStart, 1, 1);  // the reader starts, the connect thread not
    EXPECT_EQ(PlayFile("http://127.0.0.1:1/stream.mp3"), VEXA_ERR_RESOURCES);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
}

}  // namespace
