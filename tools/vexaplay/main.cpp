// vexaplay: a terminal player hosting the engine library.
//
//   vexaplay [options] FILE|ADDRESS
//
// Plays FILE (or an HTTP ADDRESS, see address_playback.cpp) showing
// position, length and format, with a live spectrum under them on a terminal
// that has room (else on one line). Keys: space pause/resume, left/right seek
// 10 s back/forward, s spectrum of both channels or each, e next equalizer
// curve, q quit, and the effect keys of effect_keys.h. With
// --wav DIR it records FILE to a WAV file in DIR instead, as fast as it
// decodes, showing the progress.
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "address_playback.h"
#include "effect_keys.h"
#include "parse_number.h"
#include "equalizer_presets.h"
#include "spectrum_view.h"
#include "vexaengine.h"

namespace {

enum ExitCode {
    kExitOk = 0,
    kExitUsage = 2,
    kExitInput = 3,
    kExitNoFrame = 4,
    kExitOutput = 5,
    kExitResources = 6,
    kExitCancelled = 7,
    kExitStreamSave = 8,
    kExitOther = 9,
    kExitInterrupted = 130,
};
// ParseOptions' result when the command line asked for information only.
constexpr int kExitDone = -1;

struct Options {
    int engine = 0;
    int quality = 0;
    bool mono = false;
    bool eightBit = false;
    bool levelScan = false;
    int scale = 30000;
    const char* wavFolder = nullptr;
    const char* saveFolder = nullptr;
    const char* device = nullptr;
    const char* file = nullptr;
    vexaplay::EffectChoice effects;
    bool hasEqualizerCurve = false;
    vexaplay::EqualizerCurve equalizerCurve{};
};

std::atomic<bool> g_interrupted{false};
bool g_rawTerminal = false;
termios g_savedTerminal{};

void RestoreTerminal() {
    if (g_rawTerminal) {
        tcsetattr(STDIN_FILENO, TCSANOW, &g_savedTerminal);
        g_rawTerminal = false;
    }
}

void OnSignal(int) { g_interrupted = true; }

void InstallSignalHandlers() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(signal, &action, nullptr);
}

// Keys arrive one by one, without echo; output processing stays as it was.
void EnterRawTerminal() {
    if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &g_savedTerminal) != 0) return;
    termios raw = g_savedTerminal;
    raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0) {
        g_rawTerminal = true;
        std::atexit(RestoreTerminal);
    }
}

enum class Key { None, PauseResume, Back, Forward, Quit, SpectrumChannels, NextEqualizerCurve, Other };

// Waits up to timeoutMs for a key; other: the character of any other key.
Key ReadKey(int timeoutMs, char* other = nullptr) {
    if (!g_rawTerminal) {
        poll(nullptr, 0, timeoutMs);
        return Key::None;
    }
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, timeoutMs) <= 0) return Key::None;
    char bytes[8] = {};
    const ssize_t n = read(STDIN_FILENO, bytes, sizeof bytes);
    if (n <= 0) return Key::None;
    if (bytes[0] == ' ') return Key::PauseResume;
    if (bytes[0] == 'q' || bytes[0] == 'Q') return Key::Quit;
    if (bytes[0] == 's' || bytes[0] == 'S') return Key::SpectrumChannels;
    if (bytes[0] == 'e' || bytes[0] == 'E') return Key::NextEqualizerCurve;
    if (n >= 3 && bytes[0] == '\x1b' && bytes[1] == '[') {
        if (bytes[2] == 'C') return Key::Forward;
        if (bytes[2] == 'D') return Key::Back;
    }
    if (n == 1 && other != nullptr) {
        *other = bytes[0];
        return Key::Other;
    }
    return Key::None;
}

const char* DescribeFailure(int32_t code) {
    switch (code) {
        case VEXA_ERR_RESOURCES: return "the engine could not get memory or threads";
        case VEXA_ERR_OUTPUT: return "the sound device or the recording file could not be opened";
        case VEXA_ERR_STREAM_SAVE: return "the stream's save file could not be created";
        case VEXA_ERR_INPUT: return "the file could not be opened";
        case VEXA_ERR_NO_FRAME: return "no MPEG audio frame was found in it";
        case VEXA_ERR_RECORD_CANCELLED: return "recording was cancelled";
        default: return "the engine refused to play it";
    }
}

int ExitCodeFor(int32_t code) {
    switch (code) {
        case VEXA_ERR_RESOURCES: return kExitResources;
        case VEXA_ERR_OUTPUT: return kExitOutput;
        case VEXA_ERR_STREAM_SAVE: return kExitStreamSave;
        case VEXA_ERR_INPUT: return kExitInput;
        case VEXA_ERR_NO_FRAME: return kExitNoFrame;
        case VEXA_ERR_RECORD_CANCELLED: return kExitCancelled;
        default: return kExitOther;
    }
}

// The summary goes to stdout when asked for (--help), to stderr after a
// usage error.
int Usage(const char* message) {
    if (message != nullptr) std::fprintf(stderr, "vexaplay: %s\n", message);
    std::fprintf(message != nullptr ? stderr : stdout,
                 "usage: vexaplay [options] FILE|ADDRESS\n"
                 "  ADDRESS         an HTTP stream, e.g. http://host:8000/live.mp3; proxies come from\n"
                 "                  http_proxy/no_proxy, and a proxy's credentials are asked for here\n"
                 "  --engine N      numeric engine: 0 single, 1 double, 2 fixed point, 3 mixed (default 0)\n"
                 "  --quality N     0 full, 1 half, 2 quarter sample rate (default 0)\n"
                 "  --mono          mix both channels to one\n"
                 "  --8bit          8-bit output samples\n"
                 "  --level-scan    measure the loudness first and lower the output scale\n"
                 "  --scale N       output scale (default 30000)\n"
                 "  --wav DIR       record to a WAV file in DIR instead of playing\n"
                 "  --save DIR      save an HTTP stream, as received, to an .mp3 file in DIR\n"
                 "  --device NAME   ALSA device (\"null\": silent; default: the system's)\n"
                 "  --eq V0,...,V19 equalizer curve: 20 bands in dB (-12..12), lowest first\n"
                 "%s"
                 "  -h, --help      print this summary and exit\n"
                 "  --version       print the version and exit\n"
                 "keys while playing: space pause/resume, left/right seek -/+10 s (streams: resume), q quit,\n"
                 "  s spectrum of both channels / left and right, e next equalizer curve\n"
                 "  (custom, flat, bass, treble, loudness, voice)\n"
                 "%s"
                 "exit codes: 0 done, 2 usage, 3 cannot open, 4 no MPEG audio, 5 no sound device or\n"
                 "            recording file, 6 no resources, 7 recording cancelled, 9 other,\n"
                 "            130 interrupted\n",
                 vexaplay::kEffectOptionsHelp, vexaplay::kEffectKeysHelp);
    return kExitUsage;
}

// 0 to go on and play; kExitDone after --help or --version; else the exit
// code of a usage error.
int ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        std::string effectError;
        const vexaplay::OptionResult effect = vexaplay::ParseEffectOption(argc, argv, i, options.effects, effectError);
        if (effect == vexaplay::OptionResult::Invalid) return Usage(effectError.c_str());
        if (effect == vexaplay::OptionResult::Taken) continue;
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--engine" && hasValue) {
            if (!vexaplay::ParseNumber(argv[++i], 0, 3, &options.engine)) return Usage("--engine takes 0 to 3");
        } else if (arg == "--quality" && hasValue) {
            if (!vexaplay::ParseNumber(argv[++i], 0, 2, &options.quality)) return Usage("--quality takes 0 to 2");
        } else if (arg == "--scale" && hasValue) {
            if (!vexaplay::ParseNumber(argv[++i], 1, 1000000, &options.scale)) return Usage("--scale takes 1 to 1000000");
        } else if (arg == "--wav" && hasValue) {
            options.wavFolder = argv[++i];
        } else if (arg == "--save" && hasValue) {
            options.saveFolder = argv[++i];
        } else if (arg == "--device" && hasValue) {
            options.device = argv[++i];
        } else if (arg == "--eq" && hasValue) {
            std::string error;
            if (!vexaplay::ParseEqualizerCurve(argv[++i], options.equalizerCurve, error)) return Usage(error.c_str());
            options.hasEqualizerCurve = true;
        } else if (arg == "--mono") {
            options.mono = true;
        } else if (arg == "--8bit") {
            options.eightBit = true;
        } else if (arg == "--level-scan") {
            options.levelScan = true;
        } else if (arg == "-h" || arg == "--help") {
            Usage(nullptr);
            return kExitDone;
        } else if (arg == "--version") {
            std::printf("vexaplay %s\n", VEXA_VERSION_STRING);
            return kExitDone;
        } else if (!arg.empty() && arg[0] == '-' && arg != "-") {
            return Usage(("unknown option or missing value: " + arg).c_str());
        } else if (options.file == nullptr) {
            options.file = argv[i];
        } else {
            return Usage("only one FILE");
        }
    }
    return options.file == nullptr ? Usage("no FILE given") : 0;
}

void ApplySettings(const Options& options) {
    VexaEngine_SetEngine(options.engine);
    VexaEngine_SetQuality(options.quality);
    VexaEngine_SetChannel(options.mono ? 1 : 0);
    VexaEngine_Set8bitResolution(options.eightBit ? 1 : 0);
    VexaEngine_SetScale(options.levelScan ? 1 : 0, options.scale);
    VexaEngine_SetOutputOptions(options.wavFolder != nullptr ? 1 : 0, 16, 1, options.saveFolder != nullptr ? 1 : 0);
    VexaEnginePosix_SetWaveDevice(options.device);
    vexaplay::ApplyEffects(options.effects);
}

std::string Clock(int32_t ms) {
    const int32_t seconds = ms / 1000;
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d", seconds / 60, seconds % 60);
    return text;
}

// The engine's file-info line for the given fields, without the spaces it
// puts between the description and the tag.
std::string FileInfo(bool wantFormat, const int32_t (&fields)[6]) {
    char info[1024] = {};
    int32_t track = -1;
    VexaEngine_GetFileInfo(info, sizeof info, &track, wantFormat ? 1 : 0, const_cast<int32_t*>(fields));
    std::string text = info;
    const size_t end = text.find_last_not_of(' ');
    return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

std::string FormatLine() { return FileInfo(true, {0, 0, 0, 0, 0, 0}); }

// Title, artist, album, year and genre of an ID3v1 tag, with their labels.
std::string TagLine() { return FileInfo(false, {1, 1, 1, 1, 0, 1}); }

void ShowLine(const std::string& line) {
    std::printf("\r%-78.78s", line.c_str());
    std::fflush(stdout);
}

int RecordToWav(const Options& options) {
    int32_t mode = VexaEngine_GetMode();
    while (mode == VEXA_MODE_PLAYING && !g_interrupted) {
        const int32_t length = VexaEngine_GetLength();
        const int32_t position = VexaEngine_GetPosition();
        const int percent = length > 0 ? static_cast<int>(100LL * position / length) : 0;
        ShowLine("recording " + Clock(position) + " / " + Clock(length) + "  " + std::to_string(percent) + " %");
        ReadKey(100);
        mode = VexaEngine_GetMode();
    }
    VexaEngine_Stop();  // finishes the WAV file
    std::printf("\n");
    if (g_interrupted) {
        std::fprintf(stderr, "vexaplay: interrupted; the WAV file in %s holds what was recorded\n", options.wavFolder);
        return kExitInterrupted;
    }
    std::printf("WAV file written in %s\n", options.wavFolder);
    return kExitOk;
}

int PlayInteractively(const std::string& format, vexaplay::EqualizerPresets& equalizer,
                      vexaplay::EffectChoice& effects) {
    EnterRawTerminal();
    vexaplay::SpectrumView view;
    bool quit = false;
    while (!quit && !g_interrupted) {
        const int32_t mode = VexaEngine_GetMode();
        if (mode == VEXA_MODE_ENDED || mode == VEXA_MODE_CLOSED) break;
        const int32_t position = VexaEngine_GetPosition();
        const int32_t length = VexaEngine_GetLength();
        const std::string active = vexaplay::DescribeEffects(effects);
        view.Draw(Clock(position) + " / " + Clock(length) + (mode == VEXA_MODE_PAUSED ? "  [paused]  " : "  ") +
                      (active.empty() ? "" : "[" + active + "]  ") + format,
                  equalizer.CurrentName());
        char other = 0;
        switch (ReadKey(100, &other)) {
            case Key::PauseResume:
                if (mode == VEXA_MODE_PAUSED) {
                    VexaEngine_Resume();
                } else {
                    VexaEngine_Pause();
                }
                break;
            case Key::Back:
                VexaEngine_Seek(static_cast<uint32_t>(position > 10000 ? position - 10000 : 0));
                break;
            case Key::Forward:
                VexaEngine_Seek(static_cast<uint32_t>(position + 10000));
                break;
            case Key::Quit:
                quit = true;
                break;
            case Key::Other:
                vexaplay::HandleEffectKey(other, effects);
                break;
            case Key::SpectrumChannels:
                view.ToggleChannels();
                break;
            case Key::NextEqualizerCurve:
                equalizer.Next();
                break;
            case Key::None:
                break;
        }
    }
    VexaEngine_Stop();
    RestoreTerminal();
    view.Finish();
    return g_interrupted ? kExitInterrupted : kExitOk;
}

// Waits while an address connects; 1 when it plays, else the exit code.
int ConnectToAddress(const char* address) {
    EnterRawTerminal();
    const vexaplay::Terminal terminal{[](int waitMs) { return ReadKey(waitMs) == Key::Quit; }, RestoreTerminal,
                                      EnterRawTerminal, &g_interrupted};
    const int32_t outcome = vexaplay::AwaitConnection(address, terminal);
    if (outcome == 1) return 1;
    vexaplay::CancelCredentialsRequest();
    VexaEngine_Stop();
    RestoreTerminal();
    if (outcome != 0) return ExitCodeFor(outcome);
    return g_interrupted ? kExitInterrupted : kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (const int parsed = ParseOptions(argc, argv, options)) return parsed == kExitDone ? kExitOk : parsed;
    InstallSignalHandlers();
    ApplySettings(options);
    vexaplay::EqualizerPresets equalizer(options.hasEqualizerCurve ? &options.equalizerCurve : nullptr);
    equalizer.Apply();
    char recordFolder[256] = "";
    char saveFolder[256] = "";
    if (options.wavFolder != nullptr) {
        if (std::strlen(options.wavFolder) > 200) return Usage("the --wav folder name is too long");
        std::snprintf(recordFolder, sizeof recordFolder, "%s", options.wavFolder);
    }
    if (vexaplay::IsAddress(options.file)) vexaplay::PrepareAddressPlayback(options.saveFolder);
    const int32_t result = VexaEngine_Play(nullptr, options.file, 0, recordFolder, 1, saveFolder);
    if (result == VEXA_CONNECTING) {
        const int connected = ConnectToAddress(options.file);
        if (connected != 1) return connected;
    } else if (result != 1) {
        std::fprintf(stderr, "vexaplay: %s: %s (%d)\n", options.file, DescribeFailure(result), result);
        if (result == VEXA_ERR_OUTPUT && options.wavFolder != nullptr)
            std::fprintf(stderr, "vexaplay: is %s an existing, writable folder?\n", options.wavFolder);
        return ExitCodeFor(result);
    }
    const std::string format = FormatLine();
    std::printf("%s\n%s\n", options.file, format.c_str());
    const std::string tag = TagLine();
    if (!tag.empty()) std::printf("%s\n", tag.c_str());
    if (options.wavFolder != nullptr) return RecordToWav(options);
    const bool silentChosen = options.device != nullptr && std::strcmp(options.device, "null") == 0;
    if (VexaEnginePosix_WaveDeviceIsSilent() && !silentChosen)
        std::printf("no sound device was found: playing silently, in real time\n");
    return PlayInteractively(format, equalizer, options.effects);
}
