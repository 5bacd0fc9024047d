#include "engine/connect_thread.h"

#include "engine/engine_lifecycle.h"
#include "engine/host_notification.h"
#include "engine/prefetch_source.h"
#include "engine/stream_description.h"
#include "engine/stream_open.h"
#include "output/wave_record.h"
#include "platform/http.h"
#include "resources/dialog_filters.h"
#include "stream/frame_reader.h"

namespace vexa {
namespace {

constexpr int32_t kPreBufferPiece = 1024;  // bytes per pre-buffer read; also the least a stream must give
constexpr uint32_t kDiscardPiece = 512;    // bytes per read of a refused response's body
constexpr uint32_t kProxyAuthRequired = 407;
constexpr uint32_t kStopSeen = 0;
constexpr uint32_t kHandedOver = 1;

// Ends a connection attempt, on the connect thread: a failure is posted; a
// good connection opens the stream and starts the playback thread.
void StreamConnected(EngineRecord& engine, int32_t result) {
    if (result < 1) {
        PostFailure(result);
        return;
    }
    PrefetchSource source(engine);
    if (OpenStream(engine, source) < 1) {
        PostFailure(kErrResources);
        return;
    }
    PublishFormat(engine, g_header);
    if (StartPlaybackThread(engine) != 1) {
        PostFailure(kErrResources);
        return;
    }
    g_globals.mode = kModePlaying;
    PostModeChange(kModePlaying);
}

uint32_t Fail(EngineRecord& engine, int32_t code) {
    StreamConnected(engine, code);
    return kConnectFailed;
}

enum class Step { Continue, Stopped, Failed };

// Reads a refused response to its end so the request can be sent again.
Step DiscardBody(EngineRecord& engine, platform::HttpRequest* request) {
    uint8_t piece[kDiscardPiece];
    uint32_t got = 0;
    do {
        if (!platform::HttpRead(request, piece, sizeof piece, &got)) return Step::Failed;
        if (engine.stopRequest) return Step::Stopped;
    } while (got > 0);
    return Step::Continue;
}

// While a proxy answers 407, shows the credentials dialog and sends the
// request again when the user gave them. The first pass does not send.
Step AuthenticateToProxy(EngineRecord& engine, platform::HttpRequest* request) {
    for (bool firstPass = true;; firstPass = false) {
        if (!firstPass && !platform::HttpResend(request)) return Step::Failed;
        bool isHttp = false;
        if (!platform::HttpQueryIsHttp(request, &isHttp)) return Step::Failed;
        if (!isHttp) return Step::Continue;
        uint32_t status = 0;
        if (!platform::HttpQueryStatus(request, &status)) return Step::Failed;
        if (status != kProxyAuthRequired) return Step::Continue;
        const Step discarded = DiscardBody(engine, request);
        if (discarded != Step::Continue) return discarded;
        if (!platform::HttpAskProxyCredentials(request, engine.hostWindow)) return Step::Continue;
    }
}

// Fills the prefetch buffer from its start in pieces of 1024 bytes until the
// data ends or one more piece would not fit. true when it ended that way
// (complete) with at least one piece; a failed read leaves it incomplete.
bool PreBuffer(platform::HttpRequest* request) {
    // The reader thread touches the buffer only after the stream open's
    // first read, made on this thread: no lock is needed here.
    PrefetchState& state = *g_prefetch;
    state.readOffset = 0;
    state.available = 0;
    int32_t available = 0;
    uint32_t got = 0;
    bool complete = false;
    bool ok = platform::HttpRead(request, state.buffer, kPreBufferPiece, &got);
    while (ok) {
        if (got == 0) {
            complete = true;
            break;
        }
        available += static_cast<int32_t>(got);
        state.available = available;
        if (available + kPreBufferPiece > kPrefetchBytes) {
            complete = true;
            break;
        }
        ok = platform::HttpRead(request, state.buffer + available, kPreBufferPiece, &got);
    }
    return complete && available >= kPreBufferPiece;
}

uint32_t Connect(EngineRecord& engine) {
    auto* session = platform::HttpOpenSession(&engine.stopRequest);
    engine.netSession = session;
    if (session == nullptr) return Fail(engine, kErrResources);
    if (engine.stopRequest) return kStopSeen;
    platform::HttpRequest* request = platform::HttpOpenUrl(session, engine.sourceName);
    engine.netUrl = request;
    if (request == nullptr) return Fail(engine, kErrInput);
    if (engine.stopRequest) return kStopSeen;
    const Step authenticated = AuthenticateToProxy(engine, request);
    if (authenticated == Step::Stopped) return kStopSeen;
    if (authenticated == Step::Failed) return Fail(engine, kErrInput);
    uint32_t length = 0;
    engine.dataSize = platform::HttpContentLength(request, &length) ? length : 0;
    if (engine.stopRequest) return kStopSeen;
    if (!PreBuffer(request)) return Fail(engine, kErrNoFrame);
    StreamConnected(engine, 1);
    return kHandedOver;
}

}  // namespace

uint32_t ConnectThread(void* engineRecord) { return Connect(*static_cast<EngineRecord*>(engineRecord)); }

int32_t SetUpStreamSaving(EngineRecord& engine) {
    if (!engine.isHttp || !engine.saveStream) return 1;
    char path[kTextCapacity] = {};
    if (!Record_SaveDialog(path, engine.sourceName, engine.hostWindow, engine.streamSaveFolder, kMp3FilterId, "mp3"))
        return 1;
    platform::File* file = platform::FileCreate(path);
    if (file == nullptr) return kErrStreamSave;
    const PrefetchState& state = *g_prefetch;
    platform::FileWrite(file, state.buffer + state.readOffset, static_cast<uint32_t>(state.available.load()));
    engine.saveFile = file;
    return 1;
}

void* CloseNetSession(EngineRecord& engine) {
    void* session = engine.netSession.load();
    platform::HttpCloseSession(static_cast<platform::HttpSession*>(session));
    return session;
}

void ReleaseNetSession(EngineRecord& engine, void* closedSession) {
    engine.netUrl = nullptr;
    auto* session = static_cast<platform::HttpSession*>(engine.netSession.exchange(nullptr));
    // The connect thread may have made its session just after the close
    // looked (it then saw the stop and ended).
    if (session != closedSession) platform::HttpCloseSession(session);
    platform::HttpReleaseSession(session);
}

}  // namespace vexa
