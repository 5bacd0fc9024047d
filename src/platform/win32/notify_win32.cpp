// The notification through the host window's message queue. lParam carries
// negative error codes, so it is sign-extended into the LPARAM.
#include <windows.h>

#include "platform/notify.h"

namespace vexa::platform {

void PostHostMessage(void* hostWindow, uint32_t message, uint32_t wParam, int32_t lParam) {
    PostMessageA(static_cast<HWND>(hostWindow), message, static_cast<WPARAM>(wParam), static_cast<LPARAM>(lParam));
}

// Windows hosts receive the message; there is no callback.
void SetNotifyCallback(NotifyCallback) {}

}  // namespace vexa::platform
