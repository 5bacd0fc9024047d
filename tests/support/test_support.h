// Helpers shared by the test programs: paths to the shared conformance
// material, whole-file reads and scratch files.
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

// A fresh empty folder for one test, removed with the object.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::string& path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace vexatest
