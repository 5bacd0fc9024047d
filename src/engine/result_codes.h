// The engine's names for the modes and failure results of the public
// interface. The values live only in include/vexaengine.h; this header adds
// nothing but the names, so any layer may include it.
#pragma once

#include <cstdint>

#include "vexaengine.h"

namespace vexa {

constexpr int32_t kModeClosed = VEXA_MODE_CLOSED;
constexpr int32_t kModeEnded = VEXA_MODE_ENDED;
constexpr int32_t kModePlaying = VEXA_MODE_PLAYING;
constexpr int32_t kModePaused = VEXA_MODE_PAUSED;
constexpr int32_t kModeConnecting = VEXA_MODE_CONNECTING;

enum ErrorCode : int32_t {
    kErrResources = VEXA_ERR_RESOURCES,
    kErrOutput = VEXA_ERR_OUTPUT,
    kErrStreamSave = VEXA_ERR_STREAM_SAVE,
    kErrInput = VEXA_ERR_INPUT,
    kErrNoFrame = VEXA_ERR_NO_FRAME,
    kErrRecordCancelled = VEXA_ERR_RECORD_CANCELLED,
};
constexpr int32_t kResultConnecting = VEXA_CONNECTING;

}  // namespace vexa
