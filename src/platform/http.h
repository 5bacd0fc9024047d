// HTTP access for streamed sources: one session per stream, one request in
// it. The engine's connect thread drives the calls in order; this layer only
// hides which library carries them out.
//   Win32: WinINet. The session is InternetOpenA("TarvoAudio",
//          INTERNET_OPEN_TYPE_PRECONFIG, KEEP_CONNECTION), the request
//          InternetOpenUrlA with RELOAD | NO_CACHE_WRITE | KEEP_CONNECTION;
//          closing the session ends the request and any call blocked in it.
//   POSIX: libcurl, driven through its multi interface so that no call
//          blocks for more than one short poll: every call fails soon after
//          the session's cancel flag is set or the session is closed.
//          Proxies come from the usual environment variables; redirects are
//          followed; a proxy's 407 asks the host's credentials callback.
//          libcurl is loaded by the first session, so hosts that never
//          stream never map it; without it, every URL fails to open.
//
// Threads: the connect thread opens, queries and pre-buffers; the reader
// thread reads; the host's thread (cleanup) closes and releases.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexa::platform {

struct HttpSession;
struct HttpRequest;

// nullptr when no session can be had. cancel (may be nullptr) is watched by
// the POSIX transfers: once nonzero, blocked calls fail. Win32 ignores it.
HttpSession* HttpOpenSession(const std::atomic<int32_t>* cancel);
// Opens url and waits for the response's headers; nullptr on failure
// (unresolvable name, refused connection, malformed address, cancel,
// libcurl not installed).
HttpRequest* HttpOpenUrl(HttpSession* session, const char* url);
// Sends the request again (after the host gave proxy credentials).
bool HttpResend(HttpRequest* request);
// *isHttp: the request is an HTTP one (other schemes skip the status check).
bool HttpQueryIsHttp(HttpRequest* request, bool* isHttp);
// The numeric status code of the response.
bool HttpQueryStatus(HttpRequest* request, uint32_t* status);
// Reads up to count bytes of the response body; *got receives how many
// arrived (0 at the end of the body). false on failure.
bool HttpRead(HttpRequest* request, void* destination, uint32_t count, uint32_t* got);
// Asks the user for proxy credentials; true when the request is to be sent
// again with them, false when the user cancelled. owner: the host window
// (Win32 shows the system dialog on the desktop window instead).
bool HttpAskProxyCredentials(HttpRequest* request, void* owner);
// The length the server stated for the body; false when it stated none.
// The read position stays at the start of the body.
bool HttpContentLength(HttpRequest* request, uint32_t* length);
// Ends the session and its request: blocked calls return with a failure.
// Threads may still be inside a call afterwards; nothing is freed yet.
void HttpCloseSession(HttpSession* session);
// Frees what a closed session still holds. Call once no thread can be
// inside or enter a call on the session or its request.
void HttpReleaseSession(HttpSession* session);

// POSIX only: the host's callback for proxy credentials (identical to
// VexaProxyCredentialsCallback of the public header; nullptr: cancelled).
using ProxyCredentialsCallback = int32_t (*)(void* hostWindow, const char* url, char* user, int32_t userSize,
                                             char* password, int32_t passwordSize);
void SetProxyCredentialsCallback(ProxyCredentialsCallback callback);

}  // namespace vexa::platform
