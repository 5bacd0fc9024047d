#include "engine/host_notification.h"

#include "engine/engine_record.h"
#include "platform/notify.h"

namespace vexa {

void PostModeChange(int32_t mode) {
    platform::PostHostMessage(g_engine.hostWindow, kNotifyMessage,
                              NotificationWParam(g_globals.notificationId, kNotifyModeChange), mode);
}

void PostFailure(int32_t errorCode) {
    platform::PostHostMessage(g_engine.hostWindow, kNotifyMessage,
                              NotificationWParam(g_globals.notificationId, kNotifyFailure), errorCode);
}

}  // namespace vexa
