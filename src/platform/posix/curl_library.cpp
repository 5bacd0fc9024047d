#include "platform/posix/curl_library.h"

#include "platform/posix/library_loader.h"

namespace vexa::platform {
namespace {

// Run once, under the function-local static's guard: curl_global_init is
// not thread-safe in every libcurl build.
bool Load(CurlLibrary& curl) {
    LibraryLoader library("libcurl.so.4");
    decltype(&curl_global_init) globalInit = nullptr;
    library.Resolve("curl_global_init", globalInit);
    library.Resolve("curl_easy_init", curl.easyInit);
    library.Resolve("curl_easy_setopt", curl.easySetopt);
    library.Resolve("curl_easy_getinfo", curl.easyGetinfo);
    library.Resolve("curl_easy_pause", curl.easyPause);
    library.Resolve("curl_easy_cleanup", curl.easyCleanup);
    library.Resolve("curl_multi_init", curl.multiInit);
    library.Resolve("curl_multi_add_handle", curl.multiAddHandle);
    library.Resolve("curl_multi_remove_handle", curl.multiRemoveHandle);
    library.Resolve("curl_multi_perform", curl.multiPerform);
    library.Resolve("curl_multi_poll", curl.multiPoll);
    library.Resolve("curl_multi_info_read", curl.multiInfoRead);
    library.Resolve("curl_multi_wakeup", curl.multiWakeup);
    library.Resolve("curl_multi_cleanup", curl.multiCleanup);
    return library.Complete() && globalInit(CURL_GLOBAL_DEFAULT) == CURLE_OK;
}

}  // namespace

const CurlLibrary* Curl() {
    static CurlLibrary curl{};
    static const bool usable = Load(curl);
    return usable ? &curl : nullptr;
}

}  // namespace vexa::platform
