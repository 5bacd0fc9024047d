// The engine DLL as a host sees it: loaded at run time, exports found by
// their undecorated names and called through the standard calling
// convention with 32-bit (on x86_64: register-sized) argument words.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vexahost {

enum Export {
    Play, Stop, Pause, Resume, Seek, GetMode, IsOpen, GetPosition, GetLength, GetFileInfo, GetSpectrum,
    SetQuality, SetEngine, SetScale, Set8bitResolution, SetChannel, SetOutputOptions, SetEqualizer, SetEffect,
    kExportCount
};
extern const char* const kExportNames[kExportCount];

class Engine {
public:
    bool Load(const char* path);
    void Unload();
    HMODULE module() const { return module_; }
    bool Has(Export e) const;

    // Calls an export with the given arguments (integers and pointers).
    template <typename... Args>
    int32_t Call(Export e, Args... args) {
        const uintptr_t words[sizeof...(Args) + 1] = {Word(args)..., 0};
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
    int32_t CallWords(Export e, const uintptr_t* words, size_t count);

    HMODULE module_ = nullptr;
    void* functions_[kExportCount] = {};
    int calls_ = 0;
    int unbalancedCalls_ = 0;
    int missingCalls_ = 0;
};

}  // namespace vexahost
