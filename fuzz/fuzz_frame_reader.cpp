// Any byte string through the frame reader: synchronisation, header parsing,
// the Xing / VBRI first frame, the frame count and the format description.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "stream/frame_count.h"
#include "stream/frame_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vexa;
    std::memset(&g_header, 0, sizeof g_header);
    ResetFrameReader(true);
    MemorySource source(data, static_cast<uint32_t>(size));
    for (int frames = 0; frames < 2000 && ReadNextFrame(source, g_header); ++frames) {
        char text[512];
        BuildFormatDescription(g_header, text, sizeof text);
        (void)CountFrames(static_cast<uint32_t>(size), g_header);
        if (g_header.vbriPresent) {
            for (int i = 0; i < g_header.vbriEntriesHeld; ++i) (void)VbriEntry(g_header, i);
        }
    }
    return 0;
}
