// Helpers shared by the test programs: paths to the shared conformance
// material, whole-file reads, scratch files, and the exported interface as
// the end-to-end tests drive it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vexatest {

// A path below the shared material folder (conformance vectors, tables).
std::string SharedPath(const std::string& relative);
// A path below the repository's tests/fixtures.
std::string FixturePath(const std::string& relative);
// The conformance vector names (without extension) whose name starts with prefix.
std::vector<std::string> IsoVectors(const std::string& prefix);

std::vector<uint8_t> ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::vector<uint8_t>& bytes);
// size bytes in a pattern that differs at nearby offsets and holds no frame sync.
std::vector<uint8_t> CountingBytes(size_t size);

// A fresh empty folder for one test, removed with the object.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::string& path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    // Writes bytes to the file name in the folder; its path.
    std::string Write(const std::string& name, const std::vector<uint8_t>& bytes) const;

private:
    std::string path_;
};

// Stops any stream and puts every setting back to its load-time value but
// the output mode (1: record-only, no sound device needed); automatic
// recording names count from 01 again.
void ResetEngine(int32_t recordMode);
// Play of source with folder (created if missing) as its record folder.
int32_t PlayInto(const std::string& source, const std::string& folder, int32_t autoName = 1,
                 void* window = nullptr, int32_t id = 0);
// Waits until the playback thread has carried out the last seek; false after 3 s.
bool WaitForSeekDone();
// The bytes of the first WAV recording in folder; empty when there is none.
std::vector<uint8_t> RecordingIn(const std::string& folder);
// pcm to the open output in the decoder's 128-byte chunks, then (if flush) the last partial block.
void WriteToOutput(const std::vector<uint8_t>& pcm, bool flush = true);

}  // namespace vexatest
