#include "platform/posix/wave_block.h"

#include <algorithm>
#include <new>

#include "platform/platform.h"
#include "platform/wave_device.h"

namespace vexa::platform {

WaveBlock* WaveBlockCreate(uint32_t capacity) {
    if (TakeFault(Fault::Allocation)) return nullptr;
    auto* block = new (std::nothrow) WaveBlock;
    if (block == nullptr) return nullptr;
    // Not cleared: only the bytes written into a block are ever played or
    // recorded, and blocks a recording never uses then cost no memory.
    block->data = new (std::nothrow) uint8_t[capacity == 0 ? 1 : capacity];
    if (block->data == nullptr) {
        delete block;
        return nullptr;
    }
    block->capacity = capacity;
    return block;
}

void WaveBlockFree(WaveBlock* block) {
    if (block == nullptr) return;
    delete[] block->data;
    delete block;
}

uint8_t* WaveBlockData(WaveBlock* block) { return block->data; }
void WaveBlockSetLength(WaveBlock* block, uint32_t bytes) { block->length = std::min(bytes, block->capacity); }
uint32_t WaveBlockLength(const WaveBlock* block) { return block->length; }
uint32_t WaveBlockQueued(const WaveBlock* block) { return block->queued; }
void WaveBlockSetQueued(WaveBlock* block, uint32_t queued) { block->queued = queued; }
bool WaveBlockDone(const WaveBlock* block) { return block->done.load(std::memory_order_acquire); }

}  // namespace vexa::platform
