// An MP3 through the playback thread: the length of a VBR file from its Xing
// header, and a seek whose pre-roll refills the reservoir and the overlap so
// that the audio after the seek is exactly what an uninterrupted decode
// gives. Plays in record-only mode into a scratch folder (no sound device).
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "engine/offline_decode.h"
#include "stream/frame_reader.h"
#include "stream/seek_position.h"
#include "support/decode_support.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;

namespace {

// The 16-bit samples of the one recording in folder.
std::vector<int16_t> RecordedSamples(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".wav") continue;
        const std::vector<uint8_t> bytes = vexatest::ReadWholeFile(entry.path().string());
        for (size_t at = 12; at + 8 <= bytes.size();) {
            const uint32_t size = bytes[at + 4] | (bytes[at + 5] << 8) | (bytes[at + 6] << 16) | (uint32_t{bytes[at + 7]} << 24);
            if (std::memcmp(&bytes[at], "data", 4) == 0) {
                std::vector<int16_t> samples((std::min<size_t>(size, bytes.size() - at - 8)) / 2);
                std::memcpy(samples.data(), &bytes[at + 8], samples.size() * 2);
                return samples;
            }
            at += 8 + size + (size & 1);
        }
    }
    return {};
}

// Byte offsets of every frame of a stream of identical-version frames.
std::vector<uint32_t> HeaderOffsets(const std::vector<uint8_t>& stream) {
    std::vector<uint32_t> offsets;
    FrameHeader header{};
    for (uint32_t at = 0; at + 4 <= stream.size();) {
        const uint32_t word = (uint32_t{stream[at]} << 24) | (stream[at + 1] << 16) | (stream[at + 2] << 8) | stream[at + 3];
        const int32_t body = ParseFrameHeader(word, header);
        if (body == 0) break;
        offsets.push_back(at);
        at += static_cast<uint32_t>(body) + 4;
    }
    return offsets;
}

TEST(Layer3Playback, SeekPreRollRefillsTheReservoirAndXingGivesTheLength) {
    const std::string path = vexatest::FixturePath("mp3/mpeg1_44k_joint_vbr.mp3");
    const std::vector<uint8_t> stream = vexatest::ReadWholeFile(path);
    OfflineSettings settings;
    const OfflineResult whole = DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
    ASSERT_EQ(whole.status, 1);
    ASSERT_TRUE(whole.header.xingPresent);
    const std::vector<uint32_t> offsets = HeaderOffsets(stream);  // frame 0 is the Xing frame

    vexatest::ScratchDir scratch;
    VexaEngine_Stop();
    VexaEngine_SetEngine(0);
    VexaEngine_SetQuality(0);
    VexaEngine_SetChannel(0);
    VexaEngine_SetScale(0, settings.outputScale);
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    char recordFolder[256] = {};
    char saveFolder[256] = "save";
    scratch.path().copy(recordFolder, 255);
    ASSERT_EQ(VexaEngine_Play(nullptr, path.c_str(), 7, recordFolder, 1, saveFolder), 1);
    VexaEngine_Pause();
    // VBR: the length comes from the Xing frame count, 1152 samples at 44.1 kHz each.
    EXPECT_EQ(VexaEngine_GetLength(), static_cast<int32_t>(whole.header.xingFrames * 1152.0 / 44100.0 * 1000.0 + 0.5));
    if (VexaEngine_GetMode() != VEXA_MODE_PAUSED) {
        VexaEngine_Stop();
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
        GTEST_SKIP() << "the stream ended before it could be paused for the seek";
    }
    const float percent = 50.0f;
    ASSERT_EQ(VexaEngine_Seek(static_cast<uint32_t>(VexaEngine_GetLength() / 2)), 1);
    const bool ended = vexatest::WaitFor([] { return VexaEngine_GetMode() == VEXA_MODE_ENDED; }, std::chrono::seconds(20));
    VexaEngine_Stop();
    VexaEngine_SetOutputOptions(0, 16, 1, 0);
    ASSERT_TRUE(ended);

    // The seek lands on the first frame at or after the position; after the
    // pre-roll of eight frames, output resumes eight frames later.
    const uint32_t target = SeekBytePosition(static_cast<uint32_t>(stream.size()), whole.header, percent);
    size_t seekFrame = 0;
    while (seekFrame < offsets.size() && offsets[seekFrame] < target) ++seekFrame;
    const size_t firstDelivered = seekFrame - 1 + 8;  // audio frames do not count the Xing frame
    ASSERT_LT(firstDelivered, static_cast<size_t>(whole.framesDecoded));
    const size_t tail = (static_cast<size_t>(whole.framesDecoded) - firstDelivered) * 1152 * 2;
    const std::vector<int16_t> recorded = RecordedSamples(scratch.path());
    const size_t wholeSamples = whole.pcm.size() / 2;
    ASSERT_GE(recorded.size(), tail);
    auto wholeSample = [&](size_t index) {
        const uint8_t* p = &whole.pcm[2 * index];
        return static_cast<int16_t>(p[0] | (p[1] << 8));
    };
    for (size_t i = 0; i < tail; ++i) {
        ASSERT_EQ(recorded[recorded.size() - tail + i], wholeSample(wholeSamples - tail + i))
            << "sample " << i << " of " << tail << " after the seek";
    }
    // The pre-roll frames themselves were not delivered: what precedes the
    // tail in the recording is audio from before the seek, not the last
    // pre-roll frame.
    const size_t frame = 1152 * 2;
    if (recorded.size() >= tail + frame) {
        size_t same = 0;
        for (size_t i = 0; i < frame; ++i)
            same += recorded[recorded.size() - tail - frame + i] == wholeSample(wholeSamples - tail - frame + i);
        EXPECT_LT(same, frame / 2);
    }
}

}  // namespace
