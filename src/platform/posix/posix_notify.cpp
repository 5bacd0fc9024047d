// The notification through the host's callback, on the posting thread.
#include <atomic>

#include "platform/notify.h"

namespace vexa::platform {
namespace {
std::atomic<NotifyCallback> g_notify{nullptr};
}

void PostHostMessage(void* hostWindow, uint32_t message, uint32_t wParam, int32_t lParam) {
    const NotifyCallback callback = g_notify.load();
    if (callback != nullptr) callback(hostWindow, message, wParam, lParam);
}

void SetNotifyCallback(NotifyCallback callback) { g_notify.store(callback); }

}  // namespace vexa::platform
