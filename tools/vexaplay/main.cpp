// vexaplay: a terminal player hosting the engine library.
#include <cstdio>
#include <cstring>

#include "vexaengine.h"

namespace {

const char* DescribeFailure(int32_t code) {
    switch (code) {
        case VEXA_ERR_RESOURCES: return "the engine could not get memory or threads";
        case VEXA_ERR_OUTPUT: return "the sound device or the recording file could not be opened";
        case VEXA_ERR_STREAM_SAVE: return "the stream's save file could not be created";
        case VEXA_ERR_INPUT: return "the file could not be opened";
        case VEXA_ERR_NO_FRAME: return "no MPEG audio frame was found";
        case VEXA_ERR_RECORD_CANCELLED: return "recording was cancelled";
        default: return "unknown failure";
    }
}

int Usage() {
    std::fprintf(stderr, "usage: vexaplay FILE\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return Usage();
    char recordFolder[256] = "";
    char saveFolder[256] = "";
    const int32_t result = VexaEngine_Play(nullptr, argv[1], 0, recordFolder, 0, saveFolder);
    if (result != 1) {
        std::fprintf(stderr, "vexaplay: %s: %s (%d)\n", argv[1], DescribeFailure(result), result);
        return 1;
    }
    char info[512];
    int32_t track = -1;
    int32_t fields[6] = {1, 1, 1, 1, 1, 1};
    VexaEngine_GetFileInfo(info, sizeof info, &track, 1, fields);
    std::printf("%s\n%s\nlength %d ms\n", argv[1], info, VexaEngine_GetLength());
    std::printf("(this build reads the stream's format only; decoding and sound output are not built yet)\n");
    VexaEngine_Stop();
    return 0;
}
