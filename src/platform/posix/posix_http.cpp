// HTTP streams through libcurl's multi interface (libcurl is loaded by the
// first session, see curl_library.h). Each call runs the
// transfer in polls of at most kPollMs, so a stop (the cancel flag) or a
// closed session ends any wait promptly, even on a server that never answers.
// The body arrives through curl's write callback into a small queue that
// HttpRead drains; the transfer is paused while the queue is full, so memory
// stays bounded whatever the server sends.
//
// Threads: one thread at a time calls into a request (the connect thread,
// then the reader thread, handed over through the prefetch events); only
// HttpCloseSession comes from another thread, and it only sets a flag and
// wakes the poll.
#include <strings.h>

#include <atomic>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/http.h"
#include "platform/platform.h"
#include "platform/posix/curl_library.h"

namespace vexa::platform {

struct HttpSession {
    const CurlLibrary* curl = nullptr;  // nullptr: libcurl is not installed
    const std::atomic<int32_t>* cancel = nullptr;
    std::atomic<int32_t> closed{0};
    CURLM* multi = nullptr;
    HttpRequest* request = nullptr;
};

struct HttpRequest {
    HttpSession* session = nullptr;
    CURL* easy = nullptr;
    std::string url;
    std::vector<uint8_t> body;  // received, not yet read, from bodyOffset on
    size_t bodyOffset = 0;
    bool paused = false;
    bool done = false;
    CURLcode result = CURLE_OK;
    bool headersDone = false;
    bool sawLocation = false;
    long statusLine = 0;
    std::string user;
    std::string password;
    int credentialAsks = 0;
};

namespace {

constexpr int kPollMs = 50;
// Unread body bytes above which the transfer pauses (about 4 s of 128 kbit/s).
constexpr size_t kMaxQueuedBytes = 65536;
constexpr long kMaxRedirects = 8;
constexpr long kConnectTimeoutS = 30;
// A server silent for this long has failed, as a stalled connection would
// time out on Windows; a slow trickle keeps the stream alive.
constexpr long kStallTimeoutS = 60;
// A host that keeps giving wrong credentials is not asked forever.
constexpr int kMaxCredentialAsks = 16;
constexpr const char* kAgent = "TarvoAudio";

std::atomic<ProxyCredentialsCallback> g_proxyCredentials{nullptr};

bool Cancelled(const HttpSession& session) {
    return session.closed.load() != 0 || (session.cancel != nullptr && session.cancel->load() != 0);
}

size_t OnBody(char* data, size_t size, size_t count, void* user) {
    auto& request = *static_cast<HttpRequest*>(user);
    const size_t bytes = size * count;
    if (request.body.size() - request.bodyOffset >= kMaxQueuedBytes) {
        request.paused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    request.headersDone = true;
    request.body.insert(request.body.end(), data, data + bytes);
    return bytes;
}

bool IsRedirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Marks the end of the headers of the response the caller will see: not an
// interim response, and not a redirect that curl goes on to follow.
size_t OnHeader(char* data, size_t size, size_t count, void* user) {
    auto& request = *static_cast<HttpRequest*>(user);
    const size_t bytes = size * count;
    const std::string line(data, bytes);
    if (line.rfind("HTTP/", 0) == 0) {
        const size_t space = line.find(' ');
        request.statusLine = space == std::string::npos ? 0 : std::strtol(line.c_str() + space + 1, nullptr, 10);
        request.sawLocation = false;
    } else if (strncasecmp(line.c_str(), "Location:", 9) == 0) {
        request.sawLocation = true;
    } else if (line == "\r\n" || line == "\n") {
        const bool interim = request.statusLine >= 100 && request.statusLine < 200;
        if (!interim && !(IsRedirect(request.statusLine) && request.sawLocation)) request.headersDone = true;
    }
    return bytes;
}

bool ConfigureEasy(HttpRequest& request) {
    const CurlLibrary& curl = *request.session->curl;
    CURL* easy = request.easy;
    bool ok = curl.easySetopt(easy, CURLOPT_URL, request.url.c_str()) == CURLE_OK;
    ok = ok && curl.easySetopt(easy, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK;
    ok = ok && curl.easySetopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https") == CURLE_OK;
    curl.easySetopt(easy, CURLOPT_USERAGENT, kAgent);
    curl.easySetopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl.easySetopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl.easySetopt(easy, CURLOPT_MAXREDIRS, kMaxRedirects);
    curl.easySetopt(easy, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutS);
    curl.easySetopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl.easySetopt(easy, CURLOPT_LOW_SPEED_TIME, kStallTimeoutS);
    curl.easySetopt(easy, CURLOPT_WRITEFUNCTION, OnBody);
    curl.easySetopt(easy, CURLOPT_WRITEDATA, &request);
    curl.easySetopt(easy, CURLOPT_HEADERFUNCTION, OnHeader);
    curl.easySetopt(easy, CURLOPT_HEADERDATA, &request);
    // Basic is sent with the first request; a method that needs a probe
    // would show its own 407 as the answer.
    curl.easySetopt(easy, CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC));
    return ok;
}

void ResetTransferState(HttpRequest& request) {
    request.body.clear();
    request.bodyOffset = 0;
    request.paused = false;
    request.done = false;
    request.result = CURLE_OK;
    request.headersDone = false;
    request.sawLocation = false;
    request.statusLine = 0;
}

bool StartTransfer(HttpRequest& request) {
    ResetTransferState(request);
    return request.session->curl->multiAddHandle(request.session->multi, request.easy) == CURLM_OK;
}

void CollectCompletion(HttpRequest& request) {
    int queued = 0;
    while (CURLMsg* message = request.session->curl->multiInfoRead(request.session->multi, &queued)) {
        if (message->msg == CURLMSG_DONE && message->easy_handle == request.easy) {
            request.done = true;
            request.result = message->data.result;
        }
    }
}

// Runs the transfer until ready() holds or it has ended; false when the
// session was cancelled or closed first.
template <typename Ready>
bool RunUntil(HttpRequest& request, Ready ready) {
    const CurlLibrary& curl = *request.session->curl;
    CURLM* multi = request.session->multi;
    for (;;) {
        if (ready() || request.done) return true;
        if (Cancelled(*request.session)) return false;
        int running = 0;
        if (curl.multiPerform(multi, &running) != CURLM_OK) {
            request.done = true;
            request.result = CURLE_RECV_ERROR;
            return true;
        }
        CollectCompletion(request);
        if (ready() || request.done) return true;
        curl.multiPoll(multi, nullptr, 0, kPollMs, nullptr);
    }
}

// Waits for the headers of the final response. A transfer that ended
// without any (an empty answer) counts only when it ended well.
bool AwaitHeaders(HttpRequest& request) {
    if (!RunUntil(request, [&] { return request.headersDone; })) return false;
    return request.headersDone || (request.done && request.result == CURLE_OK);
}

void FreeRequest(HttpRequest* request) {
    if (request == nullptr) return;
    if (request->easy != nullptr) {
        const CurlLibrary& curl = *request->session->curl;
        curl.multiRemoveHandle(request->session->multi, request->easy);
        curl.easyCleanup(request->easy);
    }
    delete request;
}

}  // namespace

// Without libcurl the session still opens, and its request fails to open as
// an unreachable server's would: the host sees the same failure.
HttpSession* HttpOpenSession(const std::atomic<int32_t>* cancel) {
    auto* session = new (std::nothrow) HttpSession;
    if (session == nullptr) return nullptr;
    session->cancel = cancel;
    session->curl = TakeFault(Fault::HttpLibrary) ? nullptr : Curl();
    if (session->curl == nullptr) return session;
    session->multi = session->curl->multiInit();
    if (session->multi == nullptr) {
        delete session;
        return nullptr;
    }
    return session;
}

HttpRequest* HttpOpenUrl(HttpSession* session, const char* url) {
    if (session == nullptr || session->curl == nullptr || url == nullptr || session->request != nullptr) return nullptr;
    auto* request = new (std::nothrow) HttpRequest;
    if (request == nullptr) return nullptr;
    request->session = session;
    request->url = url;
    request->easy = session->curl->easyInit();
    if (request->easy == nullptr || !ConfigureEasy(*request) || !StartTransfer(*request) ||
        !AwaitHeaders(*request)) {
        FreeRequest(request);
        return nullptr;
    }
    session->request = request;
    return request;
}

bool HttpResend(HttpRequest* request) {
    if (request == nullptr) return false;
    const CurlLibrary& curl = *request->session->curl;
    curl.multiRemoveHandle(request->session->multi, request->easy);
    curl.easySetopt(request->easy, CURLOPT_PROXYUSERNAME, request->user.c_str());
    curl.easySetopt(request->easy, CURLOPT_PROXYPASSWORD, request->password.c_str());
    return StartTransfer(*request) && AwaitHeaders(*request);
}

bool HttpQueryIsHttp(HttpRequest* request, bool* isHttp) {
    if (request == nullptr) return false;
    const char* scheme = nullptr;
    if (request->session->curl->easyGetinfo(request->easy, CURLINFO_SCHEME, &scheme) != CURLE_OK || scheme == nullptr) return false;
    *isHttp = strcasecmp(scheme, "http") == 0 || strcasecmp(scheme, "https") == 0;
    return true;
}

bool HttpQueryStatus(HttpRequest* request, uint32_t* status) {
    if (request == nullptr) return false;
    long code = 0;
    if (request->session->curl->easyGetinfo(request->easy, CURLINFO_RESPONSE_CODE, &code) != CURLE_OK || code <= 0) return false;
    *status = static_cast<uint32_t>(code);
    return true;
}

bool HttpRead(HttpRequest* request, void* destination, uint32_t count, uint32_t* got) {
    *got = 0;
    if (request == nullptr) return false;
    if (request->bodyOffset == request->body.size()) {
        request->body.clear();
        request->bodyOffset = 0;
        if (request->paused) {
            request->paused = false;
            request->session->curl->easyPause(request->easy, CURLPAUSE_CONT);
        }
        if (!RunUntil(*request, [&] { return !request->body.empty(); })) return false;
    }
    const size_t queued = request->body.size() - request->bodyOffset;
    if (queued == 0) return request->result == CURLE_OK;  // the end, or how the transfer failed
    const size_t bytes = queued < count ? queued : count;
    std::memcpy(destination, request->body.data() + request->bodyOffset, bytes);
    request->bodyOffset += bytes;
    *got = static_cast<uint32_t>(bytes);
    return true;
}

bool HttpAskProxyCredentials(HttpRequest* request, void* owner) {
    const ProxyCredentialsCallback callback = g_proxyCredentials;
    if (request == nullptr || callback == nullptr || ++request->credentialAsks > kMaxCredentialAsks) return false;
    char user[256] = {};
    char password[256] = {};
    if (callback(owner, request->url.c_str(), user, sizeof user, password, sizeof password) != 1) return false;
    user[sizeof user - 1] = '\0';
    password[sizeof password - 1] = '\0';
    request->user = user;
    request->password = password;
    return true;
}

bool HttpContentLength(HttpRequest* request, uint32_t* length) {
    if (request == nullptr) return false;
    curl_off_t bytes = -1;
    if (request->session->curl->easyGetinfo(request->easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &bytes) != CURLE_OK) return false;
    if (bytes < 0 || bytes > static_cast<curl_off_t>(UINT32_MAX)) return false;
    *length = static_cast<uint32_t>(bytes);
    return true;
}

void HttpCloseSession(HttpSession* session) {
    if (session == nullptr) return;
    session->closed = 1;
    if (session->multi != nullptr) session->curl->multiWakeup(session->multi);
}

void HttpReleaseSession(HttpSession* session) {
    if (session == nullptr) return;
    FreeRequest(session->request);
    if (session->multi != nullptr) session->curl->multiCleanup(session->multi);
    delete session;
}

void SetProxyCredentialsCallback(ProxyCredentialsCallback callback) { g_proxyCredentials = callback; }

}  // namespace vexa::platform
