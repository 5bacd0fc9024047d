// A whole decimal number from the command line, within [low, high].
#pragma once

#include <cstdlib>

namespace vexaplay {

inline bool ParseNumber(const char* text, int low, int high, int* value) {
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || number < low || number > high) return false;
    *value = static_cast<int>(number);
    return true;
}

}  // namespace vexaplay
