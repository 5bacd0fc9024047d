// A Windows host for the engine DLL, run under Windows or Wine
// (run_wine_tests.sh): it loads the library with LoadLibraryA, finds the
// exports by their undecorated names, calls them through stdcall pointers
// and checks end-to-end behaviour the way a real host sees it. On i686 every
// call goes through a caller that measures the stack pointer around the
// call, so an export that pops the wrong number of bytes fails the run.
// One PASS/FAIL line per check, then "N passed, N failed"; exit code 1 when
// anything failed.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "windows/host.h"

namespace vexahost {

static int g_passed = 0, g_failed = 0;

bool Check(bool ok, const char* name, const char* detailFormat, ...) {
    char detail[512] = "";
    if (!ok && detailFormat != nullptr) {
        va_list args;
        va_start(args, detailFormat);
        std::vsnprintf(detail, sizeof detail, detailFormat, args);
        va_end(args);
    }
    ++(ok ? g_passed : g_failed);
    std::printf("%s %s%s%s\n", ok ? "PASS" : "FAIL", name, detail[0] ? ": " : "", detail);
    std::fflush(stdout);
    return ok;
}

bool CheckEqual(int64_t actual, int64_t expected, const char* name) {
    return Check(actual == expected, name, "got %lld, expected %lld", static_cast<long long>(actual),
                 static_cast<long long>(expected));
}

const char* const kExportNames[kExportCount] = {
    "Play",        "Stop",      "Pause",       "Resume",      "Seek",       "GetMode",   "IsOpen",
    "GetPosition", "GetLength", "GetFileInfo", "GetSpectrum", "SetQuality", "SetEngine", "SetScale",
    "Set8bitResolution", "SetChannel", "SetOutputOptions", "SetEqualizer", "SetEffect",
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
#endif

}  // namespace

bool Engine::Load(const char* path) {
    module_ = LoadLibraryA(path);
    if (module_ == nullptr) return false;
    for (int i = 0; i < kExportCount; ++i) {
        const std::string name = std::string("VexaEngine_") + kExportNames[i];
        functions_[i] = reinterpret_cast<void*>(GetProcAddress(module_, name.c_str()));
    }
    return true;
}

void Engine::Unload() {
    if (module_ != nullptr) FreeLibrary(module_);
    module_ = nullptr;
}

int32_t Engine::CallWords(Export e, const uintptr_t (&words)[9], uint32_t count) {
    void* fn = functions_[e];
    if (fn == nullptr) {
        ++missingCalls_;
        return INT32_MIN;
    }
    ++calls_;
#if defined(__i386__)
    uint32_t args[9];
    for (uint32_t i = 0; i < 9; ++i) args[i] = static_cast<uint32_t>(words[i]);
    int32_t delta = 0;
    const uint32_t result = CallMeasuringStack(fn, args, count, &delta);
    if (delta != 0) {
        ++unbalancedCalls_;
        std::printf("note: VexaEngine_%s moved the stack by %d bytes\n", kExportNames[e], static_cast<int>(delta));
    }
    return static_cast<int32_t>(result);
#else
    // One calling convention on x86_64, and the caller removes what it
    // passed: every export can take nine words and use its own.
    static_cast<void>(count);
    using Function = intptr_t (*)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t,
                                  uintptr_t, uintptr_t);
    const auto call = reinterpret_cast<Function>(fn);
    return static_cast<int32_t>(call(words[0], words[1], words[2], words[3], words[4], words[5], words[6], words[7],
                                     words[8]));
#endif
}

}  // namespace vexahost

using namespace vexahost;

namespace {

bool ParseOptions(int argc, char** argv, HostOptions& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--sound") {
            options.sound = true;
            continue;
        }
        if (i + 1 == argc) return false;
        const char* value = argv[++i];
        if (option == "--dll") options.dllPath = value;
        else if (option == "--work") options.workDir = value;
        else if (option == "--vectors") options.vectorsDir = value;
        else if (option == "--language") options.language = std::atoi(value);
        else return false;
    }
    return !options.dllPath.empty() && !options.workDir.empty();
}

// Every export resolves by its undecorated name, and only by that.
void CheckExports(Engine& engine) {
    int missing = 0;
    for (int i = 0; i < kExportCount; ++i) {
        if (engine.Has(static_cast<Export>(i))) continue;
        std::printf("note: VexaEngine_%s not found\n", kExportNames[i]);
        ++missing;
    }
    CheckEqual(missing, 0, "exports: all nineteen names resolve undecorated");
#if defined(__i386__)
    // A host written for the library looks the names up without decoration;
    // the decorated forms must not be there to be found by mistake.
    Check(GetProcAddress(engine.module(), "VexaEngine_Play@24") == nullptr &&
              GetProcAddress(engine.module(), "_VexaEngine_Play@24") == nullptr,
          "exports: no decorated stdcall names");
#endif
}

}  // namespace

int main(int argc, char** argv) {
    HostOptions options;
    if (!ParseOptions(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: %s --dll PATH --work DIR [--vectors DIR] [--sound] [--language ID]\n"
                     "  --work      an empty folder for recordings and scratch files\n"
                     "  --vectors   the conformance vectors (*.bit): enables the record-only scenarios\n"
                     "  --sound     a wave device is available: enables the playback scenarios\n"
                     "  --language  the interface language the run must have (e.g. 1031); no recordings\n",
                     argv[0]);
        return 2;
    }
    Engine engine;
    if (Check(engine.Load(options.dllPath.c_str()), "load: LoadLibraryA", "error %lu", GetLastError())) {
        CheckExports(engine);
        RunIdleCalls(engine);
        RunStringResourceChecks(engine, options.language);
        if (!options.vectorsDir.empty() && options.language == 0) RunRecordChecks(engine, options);
        if (options.sound) RunSoundChecks(engine, options);
        if (options.language == 0) RunHttpChecks(engine, options);
        RestoreDefaults(engine);
        engine.Call(Stop);
        CheckEqual(engine.missingCalls(), 0, "calls: every call reached an export");
#if defined(__i386__)
        Check(engine.unbalancedCalls() == 0, "stdcall: every call left the stack balanced", "%d of %d calls did not",
              engine.unbalancedCalls(), engine.calls());
#endif
        engine.Unload();
    }
    std::printf("%d passed, %d failed\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
