// The notification message to the host window: a mode change or a failure,
// tagged with the notification id Play was given. Posted only for HTTP
// streams, from the connect thread.
#pragma once

#include <cstdint>

#include "vexaengine.h"

namespace vexa {

constexpr uint32_t kNotifyMessage = VEXA_NOTIFY_MESSAGE;  // WM_APP + 990
constexpr uint32_t kNotifyModeChange = VEXA_NOTIFY_MODE;
constexpr uint32_t kNotifyFailure = VEXA_NOTIFY_FAILURE;

// wParam: the low 16 bits of the id in the high word, the kind in the low word.
constexpr uint32_t NotificationWParam(int32_t notificationId, uint32_t kind) {
    return (static_cast<uint32_t>(notificationId) & 0xFFFFu) << 16 | kind;
}

// lParam = the new mode.
void PostModeChange(int32_t mode);
// lParam = the (negative) error code.
void PostFailure(int32_t errorCode);

}  // namespace vexa
