/*
 * VexaEngine: MPEG-1/2/2.5 Layer I/II/III playback engine.
 *
 * One engine per process. Every function is called from the host's thread(s);
 * none of them blocks for long except VexaEngine_Stop (it waits for the
 * engine's threads) and VexaEngine_Play of a local file (it opens the file and
 * reads the first frame).
 *
 * Results: 1 on success (9550 for an address that is still connecting), 0 when
 * the engine is not in a mode that allows the call, or one of the negative
 * VEXA_ERR_* codes. No function throws.
 */
#ifndef VEXAENGINE_H
#define VEXAENGINE_H

#include <stdint.h>

#include "vexaengine_version.h"

#if defined(_WIN32)
#  define VEXA_CALL __stdcall
#  if defined(VEXA_BUILDING_ENGINE)
#    define VEXA_API __declspec(dllexport)
#  else
#    define VEXA_API __declspec(dllimport)
#  endif
#else
#  define VEXA_CALL
#  define VEXA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Modes reported by VexaEngine_GetMode. */
enum {
    VEXA_MODE_CLOSED = 524,
    VEXA_MODE_ENDED = 525,
    VEXA_MODE_PLAYING = 526,
    VEXA_MODE_PAUSED = 529,
    VEXA_MODE_CONNECTING = 530
};

/* Failure results (and payloads of failure notifications). */
enum {
    VEXA_ERR_RESOURCES = -9550,      /* memory, thread, lock; or any failure after a stream connected */
    VEXA_ERR_OUTPUT = -9551,         /* wave device or recording file could not be opened */
    VEXA_ERR_STREAM_SAVE = -9552,    /* file for saving an HTTP stream could not be created */
    VEXA_ERR_INPUT = -9553,          /* file or address could not be opened */
    VEXA_ERR_NO_FRAME = -9554,       /* no valid MPEG audio frame */
    VEXA_ERR_RECORD_CANCELLED = -9555 /* save dialog cancelled while recording only */
};

/* Result of VexaEngine_Play while an HTTP address connects in the background. */
#define VEXA_CONNECTING 9550

/* Notification message posted to the host window for HTTP streams:
 * wParam = ((id & 0xFFFF) << 16) | kind, kind 1 = mode change (lParam = mode),
 * kind 2 = failure (lParam = error code). */
#define VEXA_NOTIFY_MESSAGE 0x83DE
#define VEXA_NOTIFY_MODE 1
#define VEXA_NOTIFY_FAILURE 2

/* Starts playing a local file or an address containing "://". recordFolder and
 * streamSaveFolder are 256-byte buffers that receive the folder chosen in a
 * save dialog. Accepted only while closed. */
VEXA_API int32_t VEXA_CALL VexaEngine_Play(void *hostWindow, const char *sourceName, int32_t notificationId,
                                           char *recordFolder, int32_t recordAutoName, char *streamSaveFolder);
VEXA_API int32_t VEXA_CALL VexaEngine_Stop(void);
VEXA_API int32_t VEXA_CALL VexaEngine_Pause(void);
VEXA_API int32_t VEXA_CALL VexaEngine_Resume(void);
VEXA_API int32_t VEXA_CALL VexaEngine_Seek(uint32_t positionMs);
VEXA_API int32_t VEXA_CALL VexaEngine_GetMode(void);
VEXA_API int32_t VEXA_CALL VexaEngine_IsOpen(void);
VEXA_API int32_t VEXA_CALL VexaEngine_GetPosition(void);
VEXA_API int32_t VEXA_CALL VexaEngine_GetLength(void);
VEXA_API int32_t VEXA_CALL VexaEngine_GetFileInfo(char *text, int32_t textSize, int32_t *trackNumber,
                                                  int32_t wantFormat, int32_t *fieldFlags);
VEXA_API int32_t VEXA_CALL VexaEngine_GetSpectrum(int32_t *levels, int32_t separateChannels);
VEXA_API int32_t VEXA_CALL VexaEngine_SetQuality(int32_t quality);
VEXA_API int32_t VEXA_CALL VexaEngine_SetEngine(int32_t engine);
VEXA_API int32_t VEXA_CALL VexaEngine_SetScale(int32_t levelScanRequest, int32_t outputScale);
VEXA_API int32_t VEXA_CALL VexaEngine_Set8bitResolution(int32_t flag);
VEXA_API int32_t VEXA_CALL VexaEngine_SetChannel(int32_t mixToMono);
VEXA_API int32_t VEXA_CALL VexaEngine_SetOutputOptions(int32_t recordMode, int32_t blockCount,
                                                       int32_t threadPriority, int32_t saveStream);
VEXA_API void VEXA_CALL VexaEngine_SetEqualizer(const int32_t *bands);
VEXA_API void VEXA_CALL VexaEngine_SetEffect(int32_t reverbOn, int32_t reverbType, int32_t reverbLevel,
                                             int32_t chorusOn, int32_t chorusLevel, int32_t wideOn,
                                             int32_t wideAmount, int32_t presetOn, int32_t presetNumber);

#if !defined(_WIN32)
/*
 * POSIX host extensions. Where the Windows build posts a window message or
 * shows a dialog, the POSIX build calls back into the host instead.
 */

/* Called (from an engine thread) instead of posting the notification message.
 * message is VEXA_NOTIFY_MESSAGE; hostWindow is Play's first argument. */
typedef void (*VexaNotifyCallback)(void *hostWindow, uint32_t message, uint32_t wParam, int32_t lParam);
VEXA_API void VexaEnginePosix_SetNotifyCallback(VexaNotifyCallback callback);

/* Asks the host for a file name to save to. path is a buffer of pathSize bytes
 * holding the suggested name; folder (256 bytes) the initial folder. Return 1
 * after writing the chosen path (and optionally its folder), 0 to cancel. With
 * no callback registered the dialog counts as cancelled. */
typedef int32_t (*VexaSaveDialogCallback)(void *hostWindow, const char *filter, const char *defaultExtension,
                                          char *folder, char *path, int32_t pathSize);
VEXA_API void VexaEnginePosix_SetSaveDialogCallback(VexaSaveDialogCallback callback);

/* Asks the host for proxy credentials when a proxy answers an address with
 * 407 (proxy authentication required). Called on the engine's connect thread
 * with the address; user and password are buffers of userSize and
 * passwordSize bytes. Return 1 after writing both to send the request again
 * (a proxy that refuses them asks again), 0 to cancel: the connection then
 * fails with VEXA_ERR_NO_FRAME, as the refused answer carries no audio. With
 * no callback registered every request is cancelled. The proxy itself comes
 * from the usual environment variables (http_proxy, https_proxy, no_proxy). */
typedef int32_t (*VexaProxyCredentialsCallback)(void *hostWindow, const char *url, char *user, int32_t userSize,
                                                char *password, int32_t passwordSize);
VEXA_API void VexaEnginePosix_SetProxyCredentialsCallback(VexaProxyCredentialsCallback callback);

/* Names the ALSA device used for playback. NULL or empty: the "default"
 * device, or the silent device when there is no sound device; "null": always
 * the silent device (plays nothing, in real time); any other name: that ALSA
 * device, and Play fails with VEXA_ERR_OUTPUT when it cannot be opened. */
VEXA_API void VexaEnginePosix_SetWaveDevice(const char *alsaDeviceName);

/* 1 when the device opened by the last Play is the silent one (no sound). */
VEXA_API int32_t VexaEnginePosix_WaveDeviceIsSilent(void);
#endif

#ifdef __cplusplus
}
#endif

#endif /* VEXAENGINE_H */
