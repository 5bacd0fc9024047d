// Opens a shared library on first use and fills a table of its functions.
// libcurl and ALSA are loaded this way instead of linked: a host that only
// decodes to files never maps them, nor the TLS, Kerberos and other
// libraries they pull in (megabytes of resident memory in every process).
#pragma once

#include <dlfcn.h>

namespace vexa::platform {

class LibraryLoader {
public:
    // soname: the versioned name of the ABI the headers describe; the bare
    // .so name comes only with the development package.
    explicit LibraryLoader(const char* soname) : handle_(dlopen(soname, RTLD_NOW | RTLD_LOCAL)) {}
    // The library stays loaded for the life of the process: its functions
    // stay in the table, and libraries with TLS or atexit state do not
    // unload safely.
    ~LibraryLoader() = default;
    LibraryLoader(const LibraryLoader&) = delete;
    LibraryLoader& operator=(const LibraryLoader&) = delete;

    template <typename Function>
    void Resolve(const char* name, Function& slot) {
        slot = handle_ == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(handle_, name));
        complete_ = complete_ && slot != nullptr;
    }
    // The library was found and had every function asked for.
    bool Complete() const { return handle_ != nullptr && complete_; }

private:
    void* handle_;
    bool complete_ = true;
};

}  // namespace vexa::platform
