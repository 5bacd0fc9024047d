// Writes, through the Linux library, the WAVs the Windows host's record-only
// runs are compared with: each input is played in record-only mode with
// automatic names into the folder, so the files are named 01-<name>.wav,
// 02-... in argument order, exactly as the host's are.
//
// usage: record_reference FOLDER (ENGINE QUALITY MONO EIGHTBIT INPUT)...
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "vexaengine.h"

namespace {

constexpr int kTimeoutMs = 60000;
constexpr int kWordsPerRecording = 5;

bool RecordOne(const char* folder, const char* input) {
    char recordFolder[256] = {};
    char saveFolder[256] = {};
    std::strncpy(recordFolder, folder, sizeof recordFolder - 1);
    const int32_t result = VexaEngine_Play(nullptr, input, 0, recordFolder, 1, saveFolder);
    if (result != 1) {
        std::fprintf(stderr, "record_reference: %s: Play returned %d\n", input, result);
        return false;
    }
    int waited = 0;
    while (VexaEngine_GetMode() != VEXA_MODE_ENDED && waited < kTimeoutMs) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        waited += 20;
    }
    const bool ended = VexaEngine_GetMode() == VEXA_MODE_ENDED;
    VexaEngine_Stop();
    if (!ended) std::fprintf(stderr, "record_reference: %s: did not reach the end\n", input);
    return ended;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || (argc - 2) % kWordsPerRecording != 0) {
        std::fprintf(stderr, "usage: record_reference FOLDER (ENGINE QUALITY MONO EIGHTBIT INPUT)...\n");
        return 2;
    }
    // Every other setter keeps its load-time default, as in the host.
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    bool ok = true;
    for (int i = 2; i < argc; i += kWordsPerRecording) {
        VexaEngine_SetEngine(std::atoi(argv[i]));
        VexaEngine_SetQuality(std::atoi(argv[i + 1]));
        VexaEngine_SetChannel(std::atoi(argv[i + 2]));
        VexaEngine_Set8bitResolution(std::atoi(argv[i + 3]));
        ok = RecordOne(argv[1], argv[i + 4]) && ok;
    }
    return ok ? 0 : 1;
}
