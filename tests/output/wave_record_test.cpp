// Recording: the WAV file's exact layout and contents, automatic names, the
// save dialog through the host callback, and the failures of Output_Open.
#include <algorithm>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "engine/engine_output.h"
#include "engine/engine_record.h"
#include "output/wave_output.h"
#include "output/wave_record.h"
#include "platform/dialogs.h"
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
uint16_t Half(const std::vector<uint8_t>& bytes, size_t at) {
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
}
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
    ++g_dialog.calls;
    g_dialog.filter = filter;
    g_dialog.extension = extension;
    g_dialog.folder = folder;
    g_dialog.suggested = path;
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
    // Records pcm in 128-byte chunks and closes the output.
    void Record(const std::vector<uint8_t>& pcm) {
        ASSERT_EQ(OpenEngineOutput(engine), 1);
        for (size_t at = 0; at < pcm.size(); at += 128) {
            const size_t n = std::min<size_t>(128, pcm.size() - at);
            Output_Write(pcm.data() + at, static_cast<int32_t>(n));
        }
        Output_Flush();
        Output_Close();
    }
    EngineRecord engine{};
    ScratchDir scratch;
};

std::vector<uint8_t> Ramp(size_t bytes) {
    std::vector<uint8_t> pcm(bytes);
    for (size_t i = 0; i < bytes; ++i) pcm[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return pcm;
}

TEST_F(Recording, TheWaveFileHasTheExactLayoutAndHoldsEveryByteWritten) {
    // Several full blocks (17640 bytes at 22050 Hz stereo 16-bit) and a
    // partial one.
    const std::vector<uint8_t> pcm = Ramp(3 * 17640 + 1000);
    Record(pcm);
    const std::vector<uint8_t> file = ReadWholeFile(scratch.File("01-song.wav"));
    ASSERT_EQ(file.size(), 46 + pcm.size());
    EXPECT_EQ(Text(file, 0), "RIFF");
    EXPECT_EQ(Word(file, 4), file.size() - 8);
    EXPECT_EQ(Text(file, 8), "WAVE");
    EXPECT_EQ(Text(file, 12), "fmt ");
    EXPECT_EQ(Word(file, 16), 18u);
    EXPECT_EQ(Half(file, 20), 1);          // PCM
    EXPECT_EQ(Half(file, 22), 2);          // channels
    EXPECT_EQ(Word(file, 24), 22050u);     // rate
    EXPECT_EQ(Word(file, 28), 88200u);     // bytes per second
    EXPECT_EQ(Half(file, 32), 4);          // block align
    EXPECT_EQ(Half(file, 34), 16);         // bits
    EXPECT_EQ(Half(file, 36), 0);          // extra size
    EXPECT_EQ(Text(file, 38), "data");
    EXPECT_EQ(Word(file, 42), pcm.size());
    EXPECT_TRUE(std::equal(pcm.begin(), pcm.end(), file.begin() + 46));
    EXPECT_EQ(RecordCounter(), 2);
}

TEST_F(Recording, AnEightBitMonoFileOfOddLengthIsPaddedAndSaysEightBits) {
    engine.channels = 1;
    engine.bytesPerSample = 1;
    const std::vector<uint8_t> odd = Ramp(4409);  // a full block of 4408 bytes and one more
    Record(odd);
    const std::vector<uint8_t> file = ReadWholeFile(scratch.File("01-song.wav"));
    ASSERT_EQ(file.size(), 46 + odd.size() + 1);  // pad byte
    EXPECT_EQ(Word(file, 16), 18u);
    EXPECT_EQ(Half(file, 22), 1);
    EXPECT_EQ(Half(file, 32), 1);
    EXPECT_EQ(Half(file, 34), 8);
    EXPECT_EQ(Word(file, 42), odd.size());
    EXPECT_EQ(Word(file, 4), file.size() - 8);
    EXPECT_TRUE(std::equal(odd.begin(), odd.end(), file.begin() + 46));
}

TEST_F(Recording, RecordOnlyOpensNoDeviceAndReportsTheDecodePosition) {
    ASSERT_EQ(OpenEngineOutput(engine), 1);
    EXPECT_EQ(g_waveOutput.device.load(), nullptr);
    EXPECT_NE(g_waveOutput.recordFile, nullptr);
    engine.decodePosMs = 4321;
    EXPECT_EQ(Output_GetPosition(), 4321);
    const std::vector<uint8_t> pcm = Ramp(3 * 17640);
    for (size_t at = 0; at < pcm.size(); at += 128)
        Output_Write(pcm.data() + at, static_cast<int32_t>(std::min<size_t>(128, pcm.size() - at)));
    EXPECT_EQ(Output_IsPlaying(), 0);
}

TEST_F(Recording, AutomaticNamesCountUpSkipExistingFilesAndAlwaysEndInWav) {
    struct Case {
        const char* source;
        const char* expected;
    };
    WriteWholeFile(scratch.File("03-song.wav"), {1, 2, 3});
    const std::vector<Case> cases = {
        {"/music/song.mp3", "01-song.wav"},
        {"/music/song.mp3", "02-song.wav"},
        {"/music/song.mp3", "04-song.wav"},  // 03- belongs to someone else
        {"http://radio.example/live/stream", "05-stream.wav"},
        {"http://radio.example/live/", "06-.wav"},
        {"/music.d/track", "07-track.wav"},  // the dot of the folder is not an extension
        {"relative.name.mp2", "08-relative.name.wav"},
    };
    for (const Case& c : cases) {
        CopyText(engine.sourceName, c.source);
        ASSERT_EQ(OpenEngineOutput(engine), 1) << c.source;
        Output_Close();
        EXPECT_TRUE(platform::FileExists(scratch.File(c.expected).c_str())) << c.source << " -> " << c.expected;
    }
    EXPECT_EQ(ReadWholeFile(scratch.File("03-song.wav")), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(RecordCounter(), 9);
}

TEST_F(Recording, AFolderEndingInTheSeparatorGetsNoSecondOne) {
    CopyText(engine.recordFolder, (scratch.path() + "/").c_str());
    ASSERT_EQ(OpenEngineOutput(engine), 1);
    Output_Close();
    EXPECT_TRUE(platform::FileExists(scratch.File("01-song.wav").c_str()));
}

TEST_F(Recording, AFileThatCannotBeCreatedIsReportedAndUsesNoNumber) {
    CopyText(engine.recordFolder, scratch.File("missing/folder").c_str());
    EXPECT_EQ(OpenEngineOutput(engine), kErrStreamSave);
    Output_Close();
    EXPECT_EQ(RecordCounter(), 1);
}

TEST_F(Recording, WithoutADialogCallbackRecordOnlyIsCancelledAndPlayAndRecordJustPlays) {
    engine.recordAutoName = 0;
    EXPECT_EQ(OpenEngineOutput(engine), kErrRecordCancelled);
    Output_Close();
    engine.recordMode = 2;
    ASSERT_EQ(OpenEngineOutput(engine), 1);
    EXPECT_EQ(g_waveOutput.recordFile, nullptr);
    EXPECT_NE(g_waveOutput.device.load(), nullptr);
}

TEST_F(Recording, AnEmptyFolderFallsBackToTheDialogWhichNamesTheFile) {
    engine.recordFolder[0] = '\0';
    VexaEnginePosix_SetSaveDialogCallback(ScriptedDialog);
    g_dialog.answer = scratch.File("chosen.wav");
    Record(Ramp(1000));
    EXPECT_EQ(g_dialog.calls, 1);
    EXPECT_EQ(g_dialog.filter, "Windows Sounds (*.wav)|*.wav||");
    EXPECT_EQ(g_dialog.extension, "wav");
    EXPECT_EQ(g_dialog.suggested, "song.wav");
    EXPECT_EQ(ReadWholeFile(scratch.File("chosen.wav")).size(), 46u + 1000u);
    // The chosen folder is where the next dialog starts.
    EXPECT_EQ(std::string(engine.recordFolder), scratch.path() + "/");
}

TEST_F(Recording, TheDialogSuggestsTheSourceNameWithTheNewExtension) {
    struct Case {
        const char* source;
        const char* suggested;
    };
    VexaEnginePosix_SetSaveDialogCallback(ScriptedDialog);
    for (const Case& c : {Case{"/music/song.mp3", "song.wav"}, Case{"http://host.example/a/stream", "streamwav"},
                          Case{"http://host.example/a/", "wav"}, Case{"plain", "plainwav"}}) {
        char path[256] = {};
        char folder[256] = "/start";
        EXPECT_EQ(Record_SaveDialog(path, c.source, nullptr, folder, 2211, "wav"), 0);  // cancelled
        EXPECT_EQ(g_dialog.suggested, c.suggested) << c.source;
        EXPECT_EQ(g_dialog.folder, "/start");
        EXPECT_STREQ(folder, "/start") << "a cancelled dialog keeps the folder";
    }
    char path[256] = {};
    char folder[256] = "";
    EXPECT_EQ(Record_SaveDialog(path, "x", nullptr, folder, 2212, "mp3"), 0);
    EXPECT_EQ(g_dialog.filter, "MPEG Layer3 Sounds (*.mp3)|*.mp3||");
}

TEST_F(Recording, AChosenFileThatCannotBeCreatedIsAnOutputFailure) {
    engine.recordAutoName = 0;
    VexaEnginePosix_SetSaveDialogCallback(ScriptedDialog);
    g_dialog.answer = scratch.File("no/such/dir/x.wav");
    EXPECT_EQ(OpenEngineOutput(engine), kErrStreamSave);
}

TEST(RecordNames, BaseNameAndExtensionFollowTheirTextRules) {
    struct Case {
        const char* path;
        const char* baseName;
        const char* withWav;
    };
    const std::vector<Case> cases = {
        {"/d/song.mp3", "song.mp3", "/d/song.wav"},
        {"song.mp3", "song.mp3", "song.wav"},
        {"http://h.example/x/y.mp3", "y.mp3", "http://h.example/x/y.wav"},
        {"http://h.example/x/", "", "http://h.wav"},  // even inside the host name
        {"/d.e/noext", "noext", "/d.wav"},  // the last dot of the whole path
        {"noext", "noext", "noextwav"},
    };
    for (const Case& c : cases) {
        char base[256] = {};
        Record_AppendBaseName(base, c.path);
        EXPECT_STREQ(base, c.baseName) << c.path;
        char path[256] = {};
        std::strcpy(path, c.path);
        Record_ReplaceExtension(path, "wav");
        EXPECT_STREQ(path, c.withWav) << c.path;
    }
}

}  // namespace
