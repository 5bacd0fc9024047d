// The spectrum: slots filled by offline decoding (opened as playback opens
// them) read as levels; then the export while a stream plays: after a seek,
// and against what the sound server's sink plays. (Calls beside playback
// from another thread are in the engine's call storm.)
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "decoder/decoder.h"
#include "dsp/dsp_test_support.h"
#include "dsp/spectrum_history.h"
#include "dsp/spectrum_levels.h"
#include "support/decode_support.h"
#include "engine/engine_record.h"
#include "engine/offline_decode.h"
#include "stream/frame_reader.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;

namespace {

using Clock = std::chrono::steady_clock;

// Decodes a whole stream (at most 10 s: the history's length), opening a
// slot after every 50 ms of decoded audio as the playback thread does.
void DecodeIntoHistory(const std::vector<uint8_t>& stream, int32_t engine) {
    MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
    ASSERT_EQ(OpenOfflineStream(source, vexatest::Settings(engine)), 1);
    ClearSpectrumHistory();
    float decodedMs = 0.0f, lastStampMs = 0.0f;
    do {
        DecodeFrame(g_header, 1);
        decodedMs += static_cast<float>(g_engine.frameMs);
        if (decodedMs > lastStampMs + 50.0f) {
            OpenSpectrumSlot(static_cast<int32_t>(decodedMs + 0.5f));
            lastStampMs = decodedMs;
        }
    } while (ReadNextFrame(source, g_header));
}

std::vector<int32_t> LevelsAt(int32_t targetMs, bool separate) {
    SpectrumSnapshot slot;
    std::vector<int32_t> bands(kSpectrumBands, -999);
    if (CopySpectrumSlot(targetMs, slot) && slot.count > 0) SpectrumLevels(slot, separate, bands.data());
    return bands;
}

// 1 kHz lies in sub-band 1 (689-1378 Hz) and in line band 9 (919-1225 Hz);
// the separate view shows line bands in pairs. The Layer I stream carries
// noise in sub-band 1 only. The first loud slot sets the display factor so
// that the loudest band shows 24 (23 by rounding); the passage 30 dB quieter
// later shows less, on the same scale. The integer engine is left out of
// the encoded tones: it decodes them (finely quantised) to near silence.
TEST(Spectrum, AToneShowsInItsBandAtTheTopOfTheScaleAndAQuieterPassageBelow) {
    struct Case {
        const char* name;
        std::vector<uint8_t> stream;
        int both, separate;
        bool quietPassage;
        std::vector<int32_t> engines;
    } const cases[] = {
        {"Layer I", dsptest::Layer1Noise(3, 1, 2, 60), 1, 1, false, {0, 2, 3}},
        {"Layer II", dsptest::Fixture("tone.mp2"), 1, 1, true, {0, 3}},
        {"Layer III", dsptest::Fixture("tone.mp3"), 9, 4, true, {0, 3}},
    };
    for (const Case& c : cases) {
        for (int32_t engine : c.engines) {
            const std::string label = std::string(c.name) + ", engine " + std::to_string(engine);
            DecodeIntoHistory(c.stream, engine);
            for (bool separate : {false, true}) {
                ResetSpectrumDisplayFactor();
                const int band = separate ? c.separate : c.both;
                const std::vector<int32_t> loud = LevelsAt(400, separate);
                EXPECT_EQ(*std::max_element(loud.begin(), loud.end()), loud[band]) << label;
                EXPECT_GE(loud[band], 23) << label;
                if (!c.quietPassage) continue;
                const std::vector<int32_t> quiet = LevelsAt(1000, separate);
                EXPECT_EQ(*std::max_element(quiet.begin(), quiet.end()), quiet[band]) << label;
                EXPECT_LE(quiet[band], loud[band] - 3) << label;
            }
        }
    }
}

// A stereo stream with silence on the right (plain stereo, so no channel
// mixing hides it): the separate view shows 0 on its right half. A mono
// stream fills both halves alike; in the sub-band view the first band of
// each half differs (only the left one has no weight).
TEST(Spectrum, LeftOnlyStereoAndMonoInTheSeparateView) {
    struct Case {
        const char* name;
        std::vector<uint8_t> stream;
        bool rightSilent;
        int firstEqual;  // mono: the halves are equal from this band on
    } const cases[] = {
        {"Layer I left only", dsptest::Layer1Noise(0, 0, 32, 40), true, 0},
        {"Layer III left only", dsptest::Fixture("left_only.mp3"), true, 0},
        {"Layer II mono", dsptest::Fixture("tone.mp2"), false, 1},
        {"Layer III mono", dsptest::Fixture("tone.mp3"), false, 0},
    };
    for (const Case& c : cases) {
        DecodeIntoHistory(c.stream, 0);
        ResetSpectrumDisplayFactor();
        const std::vector<int32_t> bands = LevelsAt(400, true);
        for (int i = c.rightSilent ? 0 : c.firstEqual; i < 10; ++i)
            EXPECT_EQ(bands[10 + i], c.rightSilent ? 0 : bands[i]) << c.name << " band " << i;
        EXPECT_GT(*std::max_element(bands.begin(), bands.begin() + 10), 0) << c.name;
    }
}

// ---- Through the export, while a stream plays -----------------------------

class SpectrumPlayback : public ::testing::Test {
protected:
    void SetUp() override {
        vexatest::ResetEngine(0);
        VexaEnginePosix_SetWaveDevice("null");
    }
    void TearDown() override {
        VexaEngine_Stop();
        VexaEnginePosix_SetWaveDevice(nullptr);
    }
    int32_t Play(const std::vector<uint8_t>& stream) {
        const std::string path = scratch.File("stream.mp2");
        vexatest::WriteWholeFile(path, stream);
        return vexatest::PlayInto(path, scratch.path(), 0);
    }
    static int32_t Spectrum() {
        int32_t bands[kSpectrumBands];
        return VexaEngine_GetSpectrum(bands, 0);
    }
    vexatest::ScratchDir scratch;
};

TEST_F(SpectrumPlayback, AfterASeekNothingShowsUntilAnOlderSlotExists) {
    std::vector<uint8_t> stream;
    for (int i = 0; i < 8; ++i) vexatest::Append(stream, dsptest::Fixture("noise.mp2"));
    ASSERT_EQ(Play(stream), 1);
    ASSERT_TRUE(vexatest::WaitFor([] { return Spectrum() == 1; }, std::chrono::seconds(2)));
    ASSERT_EQ(VexaEngine_Seek(5000), 1);
    ASSERT_TRUE(vexatest::WaitForSeekDone());
    const auto deadline = Clock::now() + std::chrono::seconds(3);
    const int32_t base = g_engine.seekBaseMs;
    // Until 100 ms have been heard, the target lies before every slot.
    for (int32_t position = VexaEngine_GetPosition(); position < base + 90 && Clock::now() < deadline;
         position = VexaEngine_GetPosition())
        EXPECT_EQ(Spectrum(), 0) << "at " << position << " ms, seek base " << base;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(Spectrum(), 1);
    ASSERT_EQ(VexaEngine_Pause(), 1);
    EXPECT_EQ(Spectrum(), 0) << "paused";
}

// What the spectrum shows lags what is heard by 50 to 100 ms by design: a
// tone that starts after 1 s of silence must show within 200 ms of the
// moment the sink's monitor hears it.
TEST_F(SpectrumPlayback, AToneShowsWithin200MsOfWhenTheSinkPlaysIt) {
    ASSERT_EQ(vexatest::StartSoundServer(), "");
    VexaEnginePosix_SetWaveDevice(vexatest::kTestSinkDevice);
    vexatest::SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    // About 1 s of Layer II frames with nothing allocated, then the tone.
    const vexatest::HeaderFields silent{.layer = 2, .bitrateIndex = 4, .mode = 3};  // 64 kbit/s mono, as the tone
    std::vector<uint8_t> stream;
    for (int i = 0; i < 40; ++i) vexatest::Append(stream, vexatest::Frame(silent, 0));
    vexatest::Append(stream, dsptest::Fixture("tone.mp2"));
    ASSERT_EQ(Play(stream), 1);
    size_t shownAt = 0;  // captured samples when the tone first showed
    const auto start = Clock::now();
    for (int32_t bands[kSpectrumBands]; shownAt == 0 && Clock::now() - start < std::chrono::seconds(4);) {
        if (VexaEngine_GetSpectrum(bands, 0) == 1 && bands[1] >= 20) shownAt = capture.SampleCount();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    capture.Stop();
    ASSERT_GT(shownAt, 0u) << "the tone never showed";
    const std::vector<int16_t> heard = capture.Samples();
    const auto onset = std::find_if(heard.begin(), heard.end(), [](int16_t s) { return s > 2000 || s < -2000; });
    ASSERT_NE(onset, heard.end()) << "the monitor heard no tone";
    const double lagMs = (static_cast<double>(shownAt) - static_cast<double>(onset - heard.begin())) * 1000.0 /
                         (vexatest::kSinkRate * vexatest::kSinkChannels);
    std::printf("spectrum shows the tone %.0f ms after the monitor hears it\n", lagMs);
    EXPECT_GE(lagMs, -200.0);
    EXPECT_LE(lagMs, 200.0);
}

}  // namespace
