// Recording: the WAV file's exact layout and contents, automatic names, the
// save dialog through the host callback, and the failures of Output_Open.
#include <algorithm>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "engine/engine_output.h"
#include "engine/engine_record.h"
#include "output/wave_output.h"
#include "output/wave_record.h"
#include "platform/platform.h"
#include "platform/wave_device.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;
using namespace vexatest;

namespace {

uint32_t Word(const std::vector<uint8_t>& bytes, size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}
uint16_t Half(const std::vector<uint8_t>& bytes, size_t at) { return static_cast<uint16_t>(Word(bytes, at)); }
std::string Text(const std::vector<uint8_t>& bytes, size_t at) {
    return std::string(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at) + 4);
}

// What the host's dialog callback saw and answers.
struct DialogScript {
    int calls = 0;
    std::string filter, extension, folder, suggested;
    std::string answer;  // empty: cancel
} g_dialog;

int32_t ScriptedDialog(void*, const char* filter, const char* extension, char* folder, char* path, int32_t size) {
    g_dialog = {g_dialog.calls + 1, filter, extension, folder, path, g_dialog.answer};
    if (g_dialog.answer.empty()) return 0;
    std::strncpy(path, g_dialog.answer.c_str(), static_cast<size_t>(size) - 1);
    return 1;
}

class Recording : public ::testing::Test {
protected:
    void SetUp() override {
        g_dialog = DialogScript{};
        platform::WaveSetDeviceName("null");
        VexaEnginePosix_SetSaveDialogCallback(nullptr);
        ResetEngineRecordToDefaults(engine);
        engine.sampleRate = 22050;
        engine.channels = 2;
        engine.bytesPerSample = 2;
        engine.blockCount = 4;
        engine.recordMode = 1;
        engine.recordAutoName = 1;
        CopyText(engine.recordFolder, scratch.path().c_str());
        CopyText(engine.sourceName, "/music/song.mp3");
        SetRecordCounter(1);
    }
    void TearDown() override {
        Output_Close();
        VexaEnginePosix_SetSaveDialogCallback(nullptr);
        platform::WaveSetDeviceName(nullptr);
    }
    // Records pcm and closes the output.
    void Record(const std::vector<uint8_t>& pcm) {
        ASSERT_EQ(OpenEngineOutput(engine), 1);
        WriteToOutput(pcm);
        Output_Close();
    }
    EngineRecord engine{};
    ScratchDir scratch;
};

// The header, field by field, and every byte written in order: 16-bit
// stereo with full blocks and a partial one, and 8-bit mono of odd length
// (a full block of 4408 bytes and one more), padded to an even size.
TEST_F(Recording, TheWaveFileHasTheExactLayoutAndHoldsEveryByteWritten) {
    const struct {
        int32_t channels, bytesPerSample;
        size_t bytes;
        uint32_t rate, bytesPerSecond;
        uint16_t align, bits;
    } cases[] = {{2, 2, 3 * 17640 + 1000, 22050, 88200, 4, 16}, {1, 1, 4409, 22050, 22050, 1, 8}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bits);
        engine.channels = c.channels;
        engine.bytesPerSample = c.bytesPerSample;
        SetRecordCounter(1);
        const std::vector<uint8_t> pcm = CountingBytes(c.bytes);
        Record(pcm);
        const std::vector<uint8_t> file = ReadWholeFile(scratch.File("01-song.wav"));
        ASSERT_EQ(file.size(), 46 + pcm.size() + pcm.size() % 2);
        EXPECT_EQ(Text(file, 0) + Text(file, 8) + Text(file, 12) + Text(file, 38), "RIFFWAVEfmt data");
        EXPECT_EQ(Word(file, 4), file.size() - 8);
        EXPECT_EQ(Word(file, 16), 18u);
        EXPECT_EQ(Half(file, 20), 1);  // PCM
        EXPECT_EQ(Half(file, 22), c.channels);
        EXPECT_EQ(Word(file, 24), c.rate);
        EXPECT_EQ(Word(file, 28), c.bytesPerSecond);
        EXPECT_EQ(Half(file, 32), c.align);
        EXPECT_EQ(Half(file, 34), c.bits);
        EXPECT_EQ(Half(file, 36), 0);  // extra size
        EXPECT_EQ(Word(file, 42), pcm.size());
        EXPECT_TRUE(std::equal(pcm.begin(), pcm.end(), file.begin() + 46));
        EXPECT_EQ(RecordCounter(), 2);
        std::remove(scratch.File("01-song.wav").c_str());
    }
}

// A file that cannot be created is reported and takes no number.
TEST_F(Recording, AutomaticNamesCountUpSkipExistingFilesAndAlwaysEndInWav) {
    WriteWholeFile(scratch.File("03-song.wav"), {1, 2, 3});
    const struct {
        const char *source, *expected, *folderEnd = "";
    } cases[] = {
        {"/music/song.mp3", "01-song.wav"},
        {"/music/song.mp3", "02-song.wav"},
        {"/music/song.mp3", "04-song.wav"},  // 03- belongs to someone else
        {"http://radio.example/live/stream", "05-stream.wav"},
        {"http://radio.example/live/", "06-.wav"},
        {"/music.d/track", "07-track.wav"},  // the dot of the folder is not an extension
        {"relative.name.mp2", "08-relative.name.wav"},
        {"/music/song.mp3", "09-song.wav", "/"},  // a folder ending in the separator gets no second one
    };
    for (const auto& c : cases) {
        CopyText(engine.sourceName, c.source);
        CopyText(engine.recordFolder, (scratch.path() + c.folderEnd).c_str());
        ASSERT_EQ(OpenEngineOutput(engine), 1) << c.source;
        Output_Close();
        EXPECT_TRUE(platform::FileExists(scratch.File(c.expected).c_str())) << c.source << " -> " << c.expected;
    }
    EXPECT_EQ(ReadWholeFile(scratch.File("03-song.wav")), (std::vector<uint8_t>{1, 2, 3}));
    CopyText(engine.recordFolder, scratch.File("missing/folder").c_str());
    EXPECT_EQ(OpenEngineOutput(engine), kErrStreamSave);
    EXPECT_EQ(RecordCounter(), 10);
}

// The dialog suggests the source's name with the new extension; a cancel
// keeps its folder. With no folder the recorder asks it for the file, and
// the chosen folder is where the next dialog starts.
TEST_F(Recording, TheDialogSuggestsTheSourceNameAndNamesTheFileWhenThereIsNoFolder) {
    VexaEnginePosix_SetSaveDialogCallback(ScriptedDialog);
    for (const auto& [source, suggested] : {std::pair{"/music/song.mp3", "song.wav"},
                                            {"http://host.example/a/stream", "streamwav"},
                                            {"http://host.example/a/", "wav"},
                                            {"plain", "plainwav"}}) {
        char path[256] = {};
        char folder[256] = "/start";
        EXPECT_EQ(Record_SaveDialog(path, source, nullptr, folder, 2211, "wav"), 0);  // cancelled
        EXPECT_EQ(g_dialog.suggested, suggested) << source;
        EXPECT_EQ(g_dialog.folder, "/start");
        EXPECT_STREQ(folder, "/start") << "a cancelled dialog keeps the folder";
    }
    engine.recordFolder[0] = '\0';
    g_dialog = DialogScript{};
    g_dialog.answer = scratch.File("chosen.wav");
    Record(CountingBytes(1000));
    EXPECT_EQ(g_dialog.calls, 1);
    EXPECT_EQ(g_dialog.filter, "Windows Sounds (*.wav)|*.wav||");
    EXPECT_EQ(g_dialog.extension, "wav");
    EXPECT_EQ(g_dialog.suggested, "song.wav");
    EXPECT_EQ(ReadWholeFile(scratch.File("chosen.wav")).size(), 46u + 1000u);
    EXPECT_EQ(std::string(engine.recordFolder), scratch.path() + "/");
    // A chosen file that cannot be created is an output failure.
    engine.recordAutoName = 0;
    g_dialog.answer = scratch.File("no/such/dir/x.wav");
    EXPECT_EQ(OpenEngineOutput(engine), kErrStreamSave);
}

}  // namespace
