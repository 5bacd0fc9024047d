// The Windows host: the engine DLL as a host sees it (loaded at run time,
// exports found by their undecorated names, called through the standard
// calling convention with 32-bit or, on x86_64, register-sized argument
// words), one PASS/FAIL line per check, and the scenarios run against it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>

namespace vexahost {

// Prints "PASS name" or "FAIL name: detail" and counts the outcome.
bool Check(bool ok, const char* name, const char* detailFormat = nullptr, ...)
    __attribute__((format(printf, 3, 4)));
bool CheckEqual(int64_t actual, int64_t expected, const char* name);

enum Export {
    Play, Stop, Pause, Resume, Seek, GetMode, IsOpen, GetPosition, GetLength, GetFileInfo, GetSpectrum,
    SetQuality, SetEngine, SetScale, Set8bitResolution, SetChannel, SetOutputOptions, SetEqualizer, SetEffect,
    kExportCount
};
// Their names without the "VexaEngine_" every export's name starts with.
extern const char* const kExportNames[kExportCount];

class Engine {
public:
    bool Load(const char* path);
    void Unload();
    HMODULE module() const { return module_; }
    bool Has(Export e) const { return functions_[e] != nullptr; }

    // Calls an export with the given arguments (integers and pointers, at most 9).
    template <typename... Args>
    int32_t Call(Export e, Args... args) {
        const uintptr_t words[9] = {Word(args)...};
        return CallWords(e, words, sizeof...(Args));
    }

    int calls() const { return calls_; }
    int unbalancedCalls() const { return unbalancedCalls_; }
    int missingCalls() const { return missingCalls_; }

private:
    template <typename T>
    static uintptr_t Word(T value) {
        if constexpr (std::is_null_pointer_v<T>) {
            return 0;
        } else if constexpr (std::is_pointer_v<T>) {
            return reinterpret_cast<uintptr_t>(value);
        } else {
            return static_cast<uintptr_t>(static_cast<uint32_t>(value));
        }
    }
    int32_t CallWords(Export e, const uintptr_t (&words)[9], uint32_t count);

    HMODULE module_ = nullptr;
    void* functions_[kExportCount] = {};
    int calls_ = 0;
    int unbalancedCalls_ = 0;
    int missingCalls_ = 0;
};

struct HostOptions {
    std::string dllPath;
    std::string workDir;     // Windows path of an empty scratch folder
    std::string vectorsDir;  // empty: no decoding scenarios
    bool sound = false;      // a wave device is available
    int language = 0;        // nonzero: the user interface language the run must have
};

// The exports no scenario calls, once each (for the stack balance check).
void RunIdleCalls(Engine& engine);
// The string table in the interface language, through LoadStringA.
void RunStringResourceChecks(Engine& engine, int expectedLanguage);
// Record-only decoding of conformance vectors into automatically named WAVs.
void RunRecordChecks(Engine& engine, const HostOptions& options);
// A smoke test of playback on the wave device.
void RunSoundChecks(Engine& engine, const HostOptions& options);
// HTTP streams against the loopback servers named by the environment.
void RunHttpChecks(Engine& engine, const HostOptions& options);

// Shared helpers.
std::string JoinPath(const std::string& folder, const std::string& name);
std::string ReadFileBytes(const std::string& path);  // empty when missing
// Play with a record folder (copied into the 256-byte buffer Play takes).
int32_t PlayFile(Engine& engine, const std::string& path, const std::string& recordFolder, int32_t autoName,
                 HWND window = nullptr, int32_t id = 7);
// Polls condition every 20 ms until it holds or timeoutMs passes; true when it held.
bool WaitUntil(const std::function<bool()>& condition, uint32_t timeoutMs);
inline bool WaitForMode(Engine& engine, int32_t mode, uint32_t timeoutMs) {
    return WaitUntil([&] { return engine.Call(GetMode) == mode; }, timeoutMs);
}
// Puts every setter back to its load-time default.
void RestoreDefaults(Engine& engine);

}  // namespace vexahost
