// Entry of the Windows host: parses the options, loads the DLL and runs the
// scenarios in order; see host.cpp for the usage.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "windows/host_checks.h"
#include "windows/host_engine.h"
#include "windows/scenarios.h"

using namespace vexahost;

namespace {

bool ParseOptions(int argc, char** argv, HostOptions& options) {
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(argv[i], "--dll") == 0 && hasValue) {
            options.dllPath = argv[++i];
        } else if (std::strcmp(argv[i], "--work") == 0 && hasValue) {
            options.workDir = argv[++i];
        } else if (std::strcmp(argv[i], "--vectors") == 0 && hasValue) {
            options.vectorsDir = argv[++i];
        } else if (std::strcmp(argv[i], "--language") == 0 && hasValue) {
            options.language = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--sound") == 0) {
            options.sound = true;
        } else {
            return false;
        }
    }
    return !options.dllPath.empty() && !options.workDir.empty();
}

}  // namespace

int main(int argc, char** argv) {
    HostOptions options;
    if (!ParseOptions(argc, argv, options)) {
        std::fprintf(stderr, "usage: %s --dll PATH --work DIR [--vectors DIR] [--sound]\n", argv[0]);
        return 2;
    }
    Engine engine;
    if (!Check(engine.Load(options.dllPath.c_str()), "load: LoadLibraryA", "error %lu", GetLastError())) {
        std::printf("%d passed, %d failed\n", PassedCount(), FailedCount());
        return 1;
    }
    RunExportChecks(engine);
    RunSetterChecks(engine);
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
    std::printf("%d passed, %d failed\n", PassedCount(), FailedCount());
    return FailedCount() == 0 ? 0 : 1;
}
