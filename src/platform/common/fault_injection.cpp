// Shared by both platform implementations: test-only failure injection.
#include "platform/platform.h"

#include <atomic>

namespace vexa::platform {
namespace {
std::atomic<int> g_pendingFaults[static_cast<int>(Fault::kCount)];
std::atomic<int> g_pendingSuccesses[static_cast<int>(Fault::kCount)];

// Consumes one unit of a counter when it is positive.
bool TakeOne(std::atomic<int>& pending) {
    int left = pending.load();
    while (left > 0) {
        if (pending.compare_exchange_weak(left, left - 1)) return true;
    }
    return false;
}
}  // namespace

void InjectFault(Fault fault, int count, int skip) {
    g_pendingSuccesses[static_cast<int>(fault)].store(skip);
    g_pendingFaults[static_cast<int>(fault)].store(count);
}

bool TakeFault(Fault fault) {
    if (g_pendingFaults[static_cast<int>(fault)].load() <= 0) return false;
    if (TakeOne(g_pendingSuccesses[static_cast<int>(fault)])) return false;
    return TakeOne(g_pendingFaults[static_cast<int>(fault)]);
}

}  // namespace vexa::platform
