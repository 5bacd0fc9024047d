// HTTP streams through WinINet: the system's proxy settings, every stream
// downloaded afresh without filling the cache, and the system's own dialog
// when a proxy asks for credentials. The session and request are the WinINet
// handles themselves.
#include <windows.h>
#include <wininet.h>

#include "platform/http.h"

namespace vexa::platform {
namespace {

constexpr const char* kAgent = "TarvoAudio";
constexpr DWORD kAccessPreconfig = 0;              // INTERNET_OPEN_TYPE_PRECONFIG
constexpr DWORD kSessionFlags = 0x00400000;        // INTERNET_FLAG_KEEP_CONNECTION
constexpr DWORD kUrlFlags = 0x84400000;            // RELOAD | NO_CACHE_WRITE | KEEP_CONNECTION
constexpr DWORD kOptionHandleType = 9;             // INTERNET_OPTION_HANDLE_TYPE
constexpr DWORD kHandleHttpRequest = 13;
constexpr DWORD kHandleHttpConnection = 4;
constexpr DWORD kQueryStatusNumber = 0x20000013;   // HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER
constexpr DWORD kErrorIncorrectPassword = 12014;   // ERROR_INTERNET_INCORRECT_PASSWORD
constexpr DWORD kDialogFlags = 7;                  // filter for errors, change options, generate data
constexpr DWORD kForceRetry = 12032;               // ERROR_INTERNET_FORCE_RETRY

HINTERNET Handle(void* handle) { return static_cast<HINTERNET>(handle); }

}  // namespace

HttpSession* HttpOpenSession(const std::atomic<int32_t>*) {
    return reinterpret_cast<HttpSession*>(InternetOpenA(kAgent, kAccessPreconfig, nullptr, nullptr, kSessionFlags));
}

HttpRequest* HttpOpenUrl(HttpSession* session, const char* url) {
    if (session == nullptr) return nullptr;
    return reinterpret_cast<HttpRequest*>(InternetOpenUrlA(Handle(session), url, nullptr, 0, kUrlFlags, 0));
}

bool HttpResend(HttpRequest* request) { return HttpSendRequestA(Handle(request), nullptr, 0, nullptr, 0) != FALSE; }

bool HttpQueryIsHttp(HttpRequest* request, bool* isHttp) {
    DWORD type = 0;
    DWORD size = sizeof type;
    if (!InternetQueryOptionA(Handle(request), kOptionHandleType, &type, &size)) return false;
    *isHttp = type == kHandleHttpRequest || type == kHandleHttpConnection;
    return true;
}

bool HttpQueryStatus(HttpRequest* request, uint32_t* status) {
    DWORD code = 0;
    DWORD size = sizeof code;
    if (!HttpQueryInfoA(Handle(request), kQueryStatusNumber, &code, &size, nullptr)) return false;
    *status = code;
    return true;
}

bool HttpRead(HttpRequest* request, void* destination, uint32_t count, uint32_t* got) {
    *got = 0;
    if (request == nullptr) return false;
    DWORD read = 0;
    if (!InternetReadFile(Handle(request), destination, count, &read)) return false;
    *got = read;
    return true;
}

bool HttpAskProxyCredentials(HttpRequest* request, void*) {
    return InternetErrorDlg(GetDesktopWindow(), Handle(request), kErrorIncorrectPassword, kDialogFlags, nullptr) ==
           kForceRetry;
}

bool HttpContentLength(HttpRequest* request, uint32_t* length) {
    const DWORD end = InternetSetFilePointer(Handle(request), 0, nullptr, FILE_END, 0);
    if (end == static_cast<DWORD>(-1)) return false;
    InternetSetFilePointer(Handle(request), 0, nullptr, FILE_BEGIN, 0);
    *length = end;
    return true;
}

// Closing the session also ends its request and any call blocked in it.
void HttpCloseSession(HttpSession* session) {
    if (session != nullptr) InternetCloseHandle(Handle(session));
}

// WinINet freed everything when the session was closed.
void HttpReleaseSession(HttpSession*) {}

// Windows shows the system's credentials dialog; there is no callback.
void SetProxyCredentialsCallback(ProxyCredentialsCallback) {}

}  // namespace vexa::platform
