// HTTP access for streamed sources. The Windows build uses WinINet; the POSIX
// build libcurl. Handles are opaque; the engine record stores them as void*.
#pragma once

#include <cstdint>

namespace vexa::platform {

// Reads up to count bytes of the response body; *got receives how many
// arrived (0 at the end of the body). false on failure.
bool HttpRead(void* request, void* destination, uint32_t count, uint32_t* got);

}  // namespace vexa::platform
