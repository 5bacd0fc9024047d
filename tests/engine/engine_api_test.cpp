// The exported interface without a sound device: setters and their results,
// the idle results of calls in the wrong mode, Play's failures and success,
// Pause and Resume, file information, and Stop.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>

#include "engine/engine_record.h"
#include "support/frame_builder.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;
using namespace vexatest;

namespace {

std::string IsoPath(const char* name) { return SharedPath(std::string("vectors/iso/") + name + ".bit"); }

class EngineApi : public ::testing::Test {
protected:
    void SetUp() override { ResetEngine(1); }  // record-only: no sound device needed
    void TearDown() override { ResetEngine(1); }
    int32_t PlayFile(const std::string& path) { return PlayInto(path, scratch.path(), 1, nullptr, 7); }
    // GetFileInfo's result, text and track number (42 when not written) for a buffer of size bytes.
    using FileInfo = std::tuple<int32_t, std::string, int32_t>;
    static FileInfo GetFileInfo(int32_t size, int32_t description, std::array<int32_t, 6> flags = {1, 1, 1, 1, 1, 1}) {
        char text[512] = "unchanged";
        int32_t track = 42;
        const int32_t result = VexaEngine_GetFileInfo(text, size, &track, description, flags.data());
        return {result, text, track};
    }
    ScratchDir scratch;
};

// Each setter returns its result; what it accepts is stored, what it
// refuses leaves the stored value alone. In order: the rows build on each other.
TEST_F(EngineApi, SettersReturnTheirResultAndStoreWhatTheyAccept) {
    const struct {
        int32_t (*set)();
        int32_t result;
        const std::atomic<int32_t>* field;  // nullptr: nothing stored to look at
        int32_t stored;
    } cases[] = {
        {[] { return VexaEngine_SetQuality(3); }, 3, &g_engine.quality, 0},
        {[] { return VexaEngine_SetQuality(-1); }, -1, &g_engine.quality, 0},
        {[] { return VexaEngine_SetQuality(2); }, 2, &g_engine.quality, 2},
        {[] { return VexaEngine_SetChannel(5); }, 3, &g_engine.channelSelect, 3},
        {[] { return VexaEngine_SetChannel(0); }, -1, &g_engine.channelSelect, -1},
        {[] { return VexaEngine_Set8bitResolution(9); }, 9, &g_engine.eightBit, 9},
        {[] { return VexaEngine_SetEngine(7); }, 7, nullptr, 0},
        {[] { return VexaEngine_SetScale(1, 25000); }, 1, nullptr, 0},
        {[] { return VexaEngine_SetOutputOptions(2, 8, -2, 1); }, -2, &g_engine.blockCount, 8},
        {[] { return VexaEngine_SetOutputOptions(2, 8, -2, 1); }, -2, &g_engine.threadPriority, -2},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].set(), cases[i].result) << "row " << i;
        EXPECT_TRUE(cases[i].field == nullptr || cases[i].field->load() == cases[i].stored) << "row " << i;
    }
}

// Closed and ended: the transport calls and queries give their idle results
// and change nothing; an ended stream is still open until Stop.
TEST_F(EngineApi, CallsInTheWrongModeGiveIdleResultsAndChangeNothing) {
    for (const bool ended : {false, true}) {
        SCOPED_TRACE(ended ? "ended" : "closed");
        if (ended) {
            ASSERT_EQ(PlayFile(IsoPath("l2-fl16")), 1);
            platform::LockGuard hold(g_engine.engineLock);
            g_engine.endReached = 1;  // what the playback thread does at the end
        }
        EXPECT_EQ(VexaEngine_GetMode(), ended ? VEXA_MODE_ENDED : VEXA_MODE_CLOSED);
        EXPECT_EQ(VexaEngine_Pause(), 0);
        EXPECT_EQ(VexaEngine_Resume(), 0);
        EXPECT_EQ(VexaEngine_Seek(1000), 0);
        EXPECT_EQ(VexaEngine_GetPosition(), 0);
        EXPECT_EQ(VexaEngine_GetLength(), 0);
        EXPECT_EQ(VexaEngine_IsOpen(), ended ? 1 : 0);
        EXPECT_EQ(g_engine.paused, 0);
        EXPECT_EQ(g_engine.seekRequest, 0);
        EXPECT_EQ(VexaEngine_Stop(), ended ? 1 : 0);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED) << "after Stop the engine is closed, not ended";
    }
    EXPECT_EQ(GetFileInfo(64, 1), FileInfo(0, "", 42)) << "no text, and the track number is not written when closed";
    EXPECT_EQ(PlayFile(IsoPath("l2-fl16")), 1) << "and plays again";
}

// Every failure leaves the engine closed, and the next Play works.
TEST_F(EngineApi, PlayFailuresLeaveTheEngineClosed) {
    std::vector<uint8_t> random(20000);
    uint32_t seed = 12345;
    for (uint8_t& byte : random) byte = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);
    const auto fault = [](platform::Fault f, int32_t skip = 0) { return [=] { platform::InjectFault(f, 1, skip); }; };
    const struct {
        std::string source;
        std::function<void()> arrange;
        int32_t result;
    } cases[] = {
        {scratch.File("missing.mp3"), [] {}, VEXA_ERR_INPUT},
        {scratch.path(), [] {}, VEXA_ERR_INPUT},  // a folder is not a file
        {scratch.Write("random.mp3", random), [] {}, VEXA_ERR_NO_FRAME},
        {scratch.Write("empty.mp3", {}), [] {}, VEXA_ERR_NO_FRAME},
        {scratch.Write("tag-only.mp3", Id3v1Trailer("TAG")), [] {}, VEXA_ERR_NO_FRAME},
        {scratch.Write("short.mp3", {0xFF, 0xFB, 0x90}), [] {}, VEXA_ERR_NO_FRAME},
        {IsoPath("l2-fl10"), fault(platform::Fault::ThreadStart), VEXA_ERR_RESOURCES},
        {IsoPath("l2-fl10"), fault(platform::Fault::ThreadStart, 1), VEXA_ERR_RESOURCES},  // the playback thread
        {IsoPath("l2-fl10"), fault(platform::Fault::EventCreate), VEXA_ERR_RESOURCES},
        {IsoPath("l2-fl10"), fault(platform::Fault::LockCreate), VEXA_ERR_RESOURCES},
        {IsoPath("l2-fl10"), fault(platform::Fault::Allocation), VEXA_ERR_RESOURCES},
        // The reader starts, the connect thread does not.
        {"http://127.0.0.1:1/stream.mp3", fault(platform::Fault::ThreadStart, 1), VEXA_ERR_RESOURCES},
    };
    for (const auto& c : cases) {
        c.arrange();
        EXPECT_EQ(PlayFile(c.source), c.result) << c.source;
        for (platform::Fault f : {platform::Fault::ThreadStart, platform::Fault::EventCreate,
                                  platform::Fault::LockCreate, platform::Fault::Allocation})
            platform::InjectFault(f, 0);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED) << c.source;
        EXPECT_EQ(VexaEngine_IsOpen(), 0) << c.source;
    }
    EXPECT_EQ(PlayFile(IsoPath("l2-fl10")), 1);
}

// Pause and Resume succeed only when they change the mode. (A seek's target
// and a seek while paused are followed on the device, in playback_test.cpp.)
TEST_F(EngineApi, PlayOpensTheStreamPauseAndResumeSwitchAndStopClosesIt) {
    ASSERT_EQ(PlayFile(IsoPath("l3-compl")), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
    EXPECT_EQ(VexaEngine_IsOpen(), 1);
    EXPECT_EQ(PlayFile(IsoPath("l2-fl10")), 0) << "Play is accepted only while closed";
    EXPECT_EQ(VexaEngine_Resume(), 0) << "not paused";
    EXPECT_EQ(VexaEngine_Pause(), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PAUSED);
    EXPECT_EQ(VexaEngine_Pause(), 0);
    EXPECT_EQ(VexaEngine_Resume(), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
    EXPECT_EQ(g_globals.notificationId, 7);
    EXPECT_EQ(g_engine.sampleRate, 48000);
    EXPECT_EQ(g_engine.channels, 2);
    // 41495 bytes of 192-byte frames at 24 ms each.
    EXPECT_EQ(VexaEngine_GetLength(), static_cast<int32_t>(41495 / 192 * 24.0 + 0.5));
    EXPECT_EQ(GetFileInfo(512, 1), FileInfo(1, "MPEG-1 Layer III, 48 kHz, 64 kbps, Mono", -1));
    EXPECT_EQ(std::get<1>(GetFileInfo(10, 1)), "") << "a description that does not fit is left out";
    EXPECT_EQ(VexaEngine_Stop(), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    EXPECT_EQ(VexaEngine_Stop(), 0);
}

TEST_F(EngineApi, PendingSettingsAreCopiedAtPlay) {
    for (const auto& [engine, expectedEngine] : {std::pair{2, 2}, {-5, 0}}) {  // outside 0..3 plays with engine 0
        VexaEngine_SetEngine(engine);
        VexaEngine_SetScale(0, 12345);
        VexaEngine_SetQuality(1);
        VexaEngine_SetChannel(1);
        VexaEngine_Set8bitResolution(1);
        ASSERT_EQ(PlayFile(IsoPath("l2-fl12")), 1);
        EXPECT_EQ(g_engine.engineKind, expectedEngine);
        EXPECT_EQ(g_engine.outputScale, 12345);
        EXPECT_EQ(g_engine.sampleRate, 24000);
        EXPECT_EQ(g_engine.channels, 1);
        EXPECT_EQ(g_engine.bytesPerSample, 1);
        VexaEngine_Stop();
    }
}

TEST_F(EngineApi, LongNamesAndFoldersAreCutTo255Characters) {
    const std::string longName(400, 'a');
    char folder[256];
    std::memcpy(folder, std::string(255, 'f').c_str(), 256);
    EXPECT_EQ(VexaEngine_Play(nullptr, longName.c_str(), 0, folder, 0, folder), VEXA_ERR_INPUT);
    EXPECT_EQ(std::strlen(g_engine.sourceName), 255u);
    EXPECT_EQ(std::strlen(g_engine.recordFolder), 255u);
}

TEST_F(EngineApi, FileInfoCarriesTheTagWhilePlayingOrPaused) {
    setenv("LC_ALL", "en_US.UTF-8", 1);
    std::vector<uint8_t> bytes = ReadWholeFile(IsoPath("l2-fl13"));
    Append(bytes, Id3v1Trailer("TAG", "Tone", 9, 17));
    ASSERT_EQ(PlayFile(scratch.Write("tagged.mp2", bytes)), 1);
    const std::array<int32_t, 6> flags = {1, 0, 0, 0, 0, 1};  // title and genre
    for (const bool paused : {false, true}) {
        ASSERT_EQ(paused ? VexaEngine_Pause() : 1, 1);
        EXPECT_EQ(GetFileInfo(512, 1, flags),
                  FileInfo(1, "MPEG-1 Layer II, 32 kHz, 32 kbps, Mono        Title : Tone, Genre : Rock", 9));
    }
    EXPECT_EQ(GetFileInfo(512, 0, flags), FileInfo(1, "Title : Tone, Genre : Rock", 9));
    unsetenv("LC_ALL");
}

}  // namespace
