// HTTP streams are not connected on POSIX yet: no request handle ever exists,
// so a read fails.
#include "platform/http.h"

namespace vexa::platform {

bool HttpRead(void*, void*, uint32_t, uint32_t* got) {
    *got = 0;
    return false;
}

}  // namespace vexa::platform
