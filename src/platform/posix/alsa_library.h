// ALSA, loaded when the first sound device opens (see library_loader.h):
// record-only decoding never opens one. Only its header's types and
// constants are compiled in.
#pragma once

#include <alsa/asoundlib.h>

namespace vexa::platform {

// The ALSA functions the sink calls.
struct AlsaLibrary {
    decltype(&snd_pcm_open) pcmOpen;
    decltype(&snd_pcm_set_params) pcmSetParams;
    decltype(&snd_pcm_hw_params_sizeof) hwParamsSizeof;
    decltype(&snd_pcm_hw_params_current) hwParamsCurrent;
    decltype(&snd_pcm_hw_params_can_pause) hwParamsCanPause;
    decltype(&snd_pcm_writei) pcmWritei;
    decltype(&snd_pcm_recover) pcmRecover;
    decltype(&snd_pcm_state) pcmState;
    decltype(&snd_pcm_delay) pcmDelay;
    decltype(&snd_pcm_pause) pcmPause;
    decltype(&snd_pcm_drop) pcmDrop;
    decltype(&snd_pcm_prepare) pcmPrepare;
    decltype(&snd_pcm_start) pcmStart;
    decltype(&snd_pcm_close) pcmClose;
};

// ALSA, loaded by the first call (any thread; the others wait for it), with
// its own messages silenced; nullptr when it is not installed or lacks a
// function. Every call gives the same answer.
const AlsaLibrary* Alsa();

}  // namespace vexa::platform
