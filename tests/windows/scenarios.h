// The scenarios the Windows host runs against the loaded DLL.
#pragma once

#include <string>

#include "windows/host_engine.h"

namespace vexahost {

struct HostOptions {
    std::string dllPath;
    std::string workDir;     // Windows path of an empty scratch folder
    std::string vectorsDir;  // empty: no decoding scenarios
    bool sound = false;      // a wave device is available
    int language = 0;        // nonzero: the user interface language the run must have
};

// Every export resolves by its undecorated name, and only by that.
void RunExportChecks(Engine& engine);
// The setters' results through stdcall pointers.
void RunSetterChecks(Engine& engine);
// The string table in every language, through the resource functions and LoadStringA.
void RunStringResourceChecks(Engine& engine, int expectedLanguage);
// Record-only decoding of conformance vectors into automatically named WAVs.
void RunRecordChecks(Engine& engine, const HostOptions& options);
// A smoke test of playback on the wave device.
void RunSoundChecks(Engine& engine, const HostOptions& options);

// HTTP streams against the loopback servers named by the environment.
void RunHttpChecks(Engine& engine, const HostOptions& options);

// Shared helpers.
std::string JoinPath(const std::string& folder, const std::string& name);
int32_t PlayFile(Engine& engine, const std::string& path, const std::string& recordFolder, int32_t autoName);
// Polls GetMode until it returns mode or timeoutMs passes; true when it did.
bool WaitForMode(Engine& engine, int32_t mode, uint32_t timeoutMs);
// The text of string id as LoadStringA should give it for language (the
// English (United States) text where the language has none), in ANSI.
std::string ExpectedAnsiText(int id, int language);
// Puts every setter back to its load-time default.
void RestoreDefaults(Engine& engine);

}  // namespace vexahost
