// The POSIX host extensions of the public interface: where the Windows build
// shows a dialog or picks the system's wave mapper, the host says what to do.
#include "platform/dialogs.h"
#include "platform/http.h"
#include "platform/notify.h"
#include "platform/wave_device.h"
#include "vexaengine.h"

extern "C" {

VEXA_API void VexaEnginePosix_SetNotifyCallback(VexaNotifyCallback callback) {
    vexa::platform::SetNotifyCallback(callback);
}

VEXA_API void VexaEnginePosix_SetSaveDialogCallback(VexaSaveDialogCallback callback) {
    vexa::platform::SetSaveDialogCallback(callback);
}

VEXA_API void VexaEnginePosix_SetProxyCredentialsCallback(VexaProxyCredentialsCallback callback) {
    vexa::platform::SetProxyCredentialsCallback(callback);
}

VEXA_API void VexaEnginePosix_SetWaveDevice(const char* alsaDeviceName) {
    vexa::platform::WaveSetDeviceName(alsaDeviceName);
}

VEXA_API int32_t VexaEnginePosix_WaveDeviceIsSilent(void) { return vexa::platform::WaveLastOpenWasSilent(); }

}  // extern "C"
