// The playback loop is not built yet: the thread holds the stream open until
// it is asked to stop, checking every 10 ms so Stop returns promptly.
#include "engine/engine_record.h"
#include "engine/playback_thread.h"

namespace vexa {

uint32_t PlaybackThread(void* engineRecord) {
    EngineRecord& engine = *static_cast<EngineRecord*>(engineRecord);
    while (!engine.stopRequest) platform::SleepMs(10);
    return 0;
}

}  // namespace vexa
