// Reading an HTTP response body through WinINet; the request handle is the
// one the connect thread opened with InternetOpenUrlA.
#include <windows.h>
#include <wininet.h>

#include "platform/http.h"

namespace vexa::platform {

bool HttpRead(void* request, void* destination, uint32_t count, uint32_t* got) {
    *got = 0;
    if (request == nullptr) return false;
    DWORD read = 0;
    if (!InternetReadFile(static_cast<HINTERNET>(request), destination, count, &read)) return false;
    *got = read;
    return true;
}

}  // namespace vexa::platform
