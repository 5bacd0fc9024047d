// A Windows host for the engine DLL, run under Windows or Wine: it loads the
// library with LoadLibraryA, finds the exports by their undecorated names,
// calls them through stdcall pointers and checks end-to-end behaviour the way
// a real host sees it. On i686 every call goes through a caller that measures
// the stack pointer around the call, so an export that pops the wrong number
// of bytes fails the run.
//
// usage: vexahost.exe --dll PATH --work DIR [--vectors DIR] [--sound] [--language ID]
//   --work     an empty folder for recordings and scratch files
//   --vectors  the folder of the ISO conformance vectors (*.bit): enables the
//              record-only decoding and file-information scenarios
//   --sound    a wave device is available: enables the playback scenarios
//   --language the user interface language the run must have (a Windows
//              language id such as 1031); leaves out the recordings
//
// One PASS/FAIL line per check, then "N passed, N failed"; exit code 1 when
// anything failed.
#include <windows.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "windows/host_checks.h"
#include "windows/host_engine.h"

namespace vexahost {

// ---- Checks ------------------------------------------------------------------

namespace {
int g_passed = 0;
int g_failed = 0;
}  // namespace

bool Check(bool ok, const char* name, const char* detailFormat, ...) {
    char detail[512] = "";
    if (!ok && detailFormat != nullptr) {
        va_list args;
        va_start(args, detailFormat);
        std::vsnprintf(detail, sizeof detail, detailFormat, args);
        va_end(args);
    }
    if (ok) {
        ++g_passed;
        std::printf("PASS %s\n", name);
    } else {
        ++g_failed;
        std::printf("FAIL %s%s%s\n", name, detail[0] ? ": " : "", detail);
    }
    std::fflush(stdout);
    return ok;
}

bool CheckEqual(int64_t actual, int64_t expected, const char* name) {
    return Check(actual == expected, name, "got %lld, expected %lld", static_cast<long long>(actual),
                 static_cast<long long>(expected));
}

int FailedCount() { return g_failed; }
int PassedCount() { return g_passed; }

// ---- Engine --------------------------------------------------------------------

const char* const kExportNames[kExportCount] = {
    "VexaEngine_Play",         "VexaEngine_Stop",         "VexaEngine_Pause",
    "VexaEngine_Resume",       "VexaEngine_Seek",         "VexaEngine_GetMode",
    "VexaEngine_IsOpen",       "VexaEngine_GetPosition",  "VexaEngine_GetLength",
    "VexaEngine_GetFileInfo",  "VexaEngine_GetSpectrum",  "VexaEngine_SetQuality",
    "VexaEngine_SetEngine",    "VexaEngine_SetScale",     "VexaEngine_Set8bitResolution",
    "VexaEngine_SetChannel",   "VexaEngine_SetOutputOptions", "VexaEngine_SetEqualizer",
    "VexaEngine_SetEffect",
};

namespace {

#if defined(__i386__)
// Pushes count 32-bit words right to left, calls fn as a stdcall caller does
// (expecting the callee to pop them), and reports how far the stack pointer
// ended up from where it was before the pushes: 0 for a correct stdcall
// callee, -4 * count for a cdecl one. The stack pointer is restored either way.
uint32_t CallMeasuringStack(void* fn, const uint32_t* args, uint32_t count, int32_t* stackDelta) {
    uint32_t result = 0;
    int32_t delta = 0;
    asm volatile(
        "movl %%esp, %%edi\n\t"
        "1:\n\t"
        "testl %%ecx, %%ecx\n\t"
        "jz 2f\n\t"
        "pushl -4(%%esi,%%ecx,4)\n\t"
        "decl %%ecx\n\t"
        "jmp 1b\n"
        "2:\n\t"
        "call *%%ebx\n\t"
        "movl %%esp, %%edx\n\t"
        "subl %%edi, %%edx\n\t"
        "movl %%edi, %%esp\n\t"
        : "=a"(result), "=d"(delta), "+c"(count)
        : "b"(fn), "S"(args)
        : "edi", "memory", "cc");
    *stackDelta = delta;
    return result;
}
#else
template <size_t... I>
intptr_t CallWithWords(void* fn, const uintptr_t* args, std::index_sequence<I...>) {
    using Function = intptr_t (*)(decltype(static_cast<void>(I), uintptr_t{})...);
    return reinterpret_cast<Function>(fn)(args[I]...);
}

template <size_t N>
intptr_t CallWithCount(void* fn, const uintptr_t* args) {
    return CallWithWords(fn, args, std::make_index_sequence<N>{});
}
#endif

}  // namespace

bool Engine::Load(const char* path) {
    module_ = LoadLibraryA(path);
    if (module_ == nullptr) return false;
    for (int i = 0; i < kExportCount; ++i) {
        functions_[i] = reinterpret_cast<void*>(GetProcAddress(module_, kExportNames[i]));
    }
    return true;
}

void Engine::Unload() {
    if (module_ != nullptr) FreeLibrary(module_);
    module_ = nullptr;
}

bool Engine::Has(Export e) const { return functions_[e] != nullptr; }

int32_t Engine::CallWords(Export e, const uintptr_t* words, size_t count) {
    void* fn = functions_[e];
    if (fn == nullptr) {
        ++missingCalls_;
        return INT32_MIN;
    }
    ++calls_;
#if defined(__i386__)
    uint32_t args[16] = {};
    for (size_t i = 0; i < count && i < 16; ++i) args[i] = static_cast<uint32_t>(words[i]);
    int32_t delta = 0;
    const uint32_t result = CallMeasuringStack(fn, args, static_cast<uint32_t>(count), &delta);
    if (delta != 0) {
        ++unbalancedCalls_;
        std::printf("note: %s moved the stack by %d bytes\n", kExportNames[e], static_cast<int>(delta));
    }
    return static_cast<int32_t>(result);
#else
    intptr_t result = 0;
    switch (count) {
        case 0: result = CallWithCount<0>(fn, words); break;
        case 1: result = CallWithCount<1>(fn, words); break;
        case 2: result = CallWithCount<2>(fn, words); break;
        case 4: result = CallWithCount<4>(fn, words); break;
        case 5: result = CallWithCount<5>(fn, words); break;
        case 6: result = CallWithCount<6>(fn, words); break;
        case 9: result = CallWithCount<9>(fn, words); break;
        default: std::printf("note: no caller for %zu arguments\n", count); return INT32_MIN;
    }
    return static_cast<int32_t>(result);
#endif
}

}  // namespace vexahost
