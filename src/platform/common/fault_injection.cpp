// Shared by both platform implementations: test-only failure injection.
#include "platform/platform.h"

#include <atomic>

namespace vexa::platform {
namespace {
std::atomic<int> g_pendingFaults[static_cast<int>(Fault::kCount)];
}

void InjectFault(Fault fault, int count) { g_pendingFaults[static_cast<int>(fault)].store(count); }

bool TakeFault(Fault fault) {
    std::atomic<int>& pending = g_pendingFaults[static_cast<int>(fault)];
    int left = pending.load();
    while (left > 0) {
        if (pending.compare_exchange_weak(left, left - 1)) return true;
    }
    return false;
}

}  // namespace vexa::platform
