// The wave output: collects PCM into a pool of blocks, runs full blocks
// through the effect chain and the recorder, queues them on the wave device
// and paces the decoder by waiting for the oldest block.
//
// Threads: the playback thread drives it; the stream open opens it;
// Output_GetPosition runs on the host's thread.
#pragma once

#include <cstdint>

namespace vexa {

struct EngineRecord;

int32_t Output_Open(EngineRecord& engine);
void Output_Write(const uint8_t* pcm, int32_t bytes);
void Output_Flush();
int32_t Output_IsPlaying();
void Output_Reset();
void Output_Pause();
void Output_Restart();
int32_t Output_GetPosition(const EngineRecord& engine);
void Output_Close();

}  // namespace vexa
