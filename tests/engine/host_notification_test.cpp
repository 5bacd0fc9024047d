// The notification message: the POSIX host's callback receives exactly what
// Windows would post, wParam packing the id's low word and the kind.
#include <gtest/gtest.h>

#include <vector>

#include "engine/engine_record.h"
#include "engine/host_notification.h"
#include "vexaengine.h"

using namespace vexa;

namespace {

struct Received {
    void* window;
    uint32_t message;
    uint32_t wParam;
    int32_t lParam;
};
std::vector<Received> g_received;

void Record(void* window, uint32_t message, uint32_t wParam, int32_t lParam) {
    g_received.push_back({window, message, wParam, lParam});
}

TEST(HostNotification, TheHostsCallbackReceivesModeChangesAndFailures) {
    g_received.clear();
    int window = 0;
    g_engine.hostWindow = &window;
    g_globals.notificationId = 0x10042;
    VexaEnginePosix_SetNotifyCallback(Record);
    PostModeChange(VEXA_MODE_PLAYING);
    PostFailure(VEXA_ERR_NO_FRAME);
    VexaEnginePosix_SetNotifyCallback(nullptr);
    PostFailure(VEXA_ERR_INPUT);  // no callback: nothing arrives
    g_engine.hostWindow = nullptr;
    g_globals.notificationId = 0;

    ASSERT_EQ(g_received.size(), 2u);
    EXPECT_EQ(g_received[0].window, &window);
    EXPECT_EQ(g_received[0].message, static_cast<uint32_t>(VEXA_NOTIFY_MESSAGE));
    EXPECT_EQ(g_received[0].wParam, 0x00420001u);
    EXPECT_EQ(g_received[0].lParam, VEXA_MODE_PLAYING);
    EXPECT_EQ(g_received[1].wParam, 0x00420002u);
    EXPECT_EQ(g_received[1].lParam, VEXA_ERR_NO_FRAME);
}

}  // namespace
