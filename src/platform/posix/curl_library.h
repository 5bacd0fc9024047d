// libcurl, loaded when the first HTTP session opens (see library_loader.h).
// Only its header's types and constants are compiled in.
#pragma once

#include <curl/curl.h>

namespace vexa::platform {

// The libcurl functions the HTTP layer calls.
struct CurlLibrary {
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_setopt) easySetopt;
    decltype(&curl_easy_getinfo) easyGetinfo;
    decltype(&curl_easy_pause) easyPause;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_multi_init) multiInit;
    decltype(&curl_multi_add_handle) multiAddHandle;
    decltype(&curl_multi_remove_handle) multiRemoveHandle;
    decltype(&curl_multi_perform) multiPerform;
    decltype(&curl_multi_poll) multiPoll;
    decltype(&curl_multi_info_read) multiInfoRead;
    decltype(&curl_multi_wakeup) multiWakeup;
    decltype(&curl_multi_cleanup) multiCleanup;
};

// libcurl, loaded and initialised by the first call (any thread; the others
// wait for it); nullptr when it is not installed, lacks a function or does
// not initialise. Every call gives the same answer.
const CurlLibrary* Curl();

}  // namespace vexa::platform
