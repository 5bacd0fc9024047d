#include "support/test_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "engine/engine_record.h"
#include "output/wave_output.h"
#include "output/wave_record.h"
#include "support/decode_support.h"
#include "vexaengine.h"

namespace vexatest {

std::string SharedPath(const std::string& relative) { return std::string(VEXA_SHARED_DIR) + "/" + relative; }

std::string FixturePath(const std::string& relative) { return std::string(VEXA_FIXTURE_DIR) + "/" + relative; }

std::vector<std::string> IsoVectors(const std::string& prefix) {
    std::vector<std::string> names;
    // Test discovery runs at build time: without the shared material the
    // build goes on, with one name whose test fails saying what is missing.
    std::error_code missing;
    if (!std::filesystem::is_directory(SharedPath("vectors/iso"), missing)) return {prefix + "shared_material_missing"};
    for (const auto& entry : std::filesystem::directory_iterator(SharedPath("vectors/iso"))) {
        const std::string name = entry.path().stem().string();
        if (entry.path().extension() == ".bit" && name.rfind(prefix, 0) == 0) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        const bool shared = path.rfind(VEXA_SHARED_DIR, 0) == 0;
        throw std::runtime_error("cannot read " + path +
                                 (shared ? " (the shared material is missing: set VEXA_SHARED_DIR)" : ""));
    }
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteWholeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<uint8_t> CountingBytes(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return bytes;
}

ScratchDir::ScratchDir() {
    std::random_device entropy;
    // The dot gives the folder what looks like an extension, so that code
    // which looks for a file's extension beyond its name is caught.
    path_ = (std::filesystem::temp_directory_path() / ("vexatest-" + std::to_string(entropy()) + ".d")).string();
    std::filesystem::create_directories(path_);
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ScratchDir::Write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    WriteWholeFile(File(name), bytes);
    return File(name);
}

void ResetEngine(int32_t recordMode) {
    VexaEngine_Stop();
    VexaEngine_SetEngine(0);
    VexaEngine_SetQuality(0);
    VexaEngine_SetChannel(0);
    VexaEngine_Set8bitResolution(0);
    VexaEngine_SetScale(0, 30000);
    int32_t flat[20] = {};
    VexaEngine_SetEqualizer(flat);
    VexaEngine_SetEffect(0, 0, 0, 0, 0, 0, 0, 0, 0);
    VexaEngine_SetOutputOptions(recordMode, 16, 1, 0);
    vexa::SetRecordCounter(1);
}

int32_t PlayInto(const std::string& source, const std::string& folder, int32_t autoName, void* window, int32_t id) {
    std::filesystem::create_directories(folder);
    char recordFolder[256] = {};
    char saveFolder[256] = {};
    folder.copy(recordFolder, sizeof recordFolder - 1);
    return VexaEngine_Play(window, source.c_str(), id, recordFolder, autoName, saveFolder);
}

// The thread clears the request first and finishes the seek under the
// engine lock: once the lock can be had, the seek is complete.
bool WaitForSeekDone() {
    if (!WaitFor([] { return vexa::g_engine.seekRequest.load() == 0; }, std::chrono::milliseconds(3000))) return false;
    vexa::platform::LockGuard hold(vexa::g_engine.engineLock);
    return true;
}

std::vector<uint8_t> RecordingIn(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".wav") return ReadWholeFile(entry.path().string());
    return {};
}

void WriteToOutput(const std::vector<uint8_t>& pcm, bool flush) {
    for (size_t at = 0; at < pcm.size(); at += 128)
        vexa::Output_Write(pcm.data() + at, static_cast<int32_t>(std::min<size_t>(128, pcm.size() - at)));
    if (flush) vexa::Output_Flush();
}

}  // namespace vexatest
