#include "platform/posix/alsa_library.h"

#include "platform/posix/library_loader.h"

namespace vexa::platform {
namespace {

// ALSA prints its own complaints (no card, unknown device) to stderr; the
// engine reports failures through its results, and hosts decide what to show.
void QuietAlsaMessage(const char*, int, const char*, int, const char*, ...) {}

// Run once, under the function-local static's guard.
bool Load(AlsaLibrary& alsa) {
    LibraryLoader library("libasound.so.2");
    decltype(&snd_lib_error_set_handler) setErrorHandler = nullptr;
    library.Resolve("snd_lib_error_set_handler", setErrorHandler);
    library.Resolve("snd_pcm_open", alsa.pcmOpen);
    library.Resolve("snd_pcm_set_params", alsa.pcmSetParams);
    library.Resolve("snd_pcm_hw_params_sizeof", alsa.hwParamsSizeof);
    library.Resolve("snd_pcm_hw_params_current", alsa.hwParamsCurrent);
    library.Resolve("snd_pcm_hw_params_can_pause", alsa.hwParamsCanPause);
    library.Resolve("snd_pcm_writei", alsa.pcmWritei);
    library.Resolve("snd_pcm_recover", alsa.pcmRecover);
    library.Resolve("snd_pcm_state", alsa.pcmState);
    library.Resolve("snd_pcm_delay", alsa.pcmDelay);
    library.Resolve("snd_pcm_pause", alsa.pcmPause);
    library.Resolve("snd_pcm_drop", alsa.pcmDrop);
    library.Resolve("snd_pcm_prepare", alsa.pcmPrepare);
    library.Resolve("snd_pcm_start", alsa.pcmStart);
    library.Resolve("snd_pcm_close", alsa.pcmClose);
    if (!library.Complete()) return false;
    setErrorHandler(QuietAlsaMessage);
    return true;
}

}  // namespace

const AlsaLibrary* Alsa() {
    static AlsaLibrary alsa{};
    static const bool usable = Load(alsa);
    return usable ? &alsa : nullptr;
}

}  // namespace vexa::platform
