// Pass/fail reporting of the Windows host: one line per check.
#pragma once

#include <cstdint>

namespace vexahost {

// Prints "PASS name" or "FAIL name: detail" and counts the outcome.
bool Check(bool ok, const char* name, const char* detailFormat = nullptr, ...)
    __attribute__((format(printf, 3, 4)));
bool CheckEqual(int64_t actual, int64_t expected, const char* name);
int PassedCount();
int FailedCount();

}  // namespace vexahost
