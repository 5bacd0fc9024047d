#include "support/test_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

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

ScratchDir::ScratchDir() {
    std::random_device entropy;
    path_ = (std::filesystem::temp_directory_path() / ("vexatest-" + std::to_string(entropy()))).string();
    std::filesystem::create_directories(path_);
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace vexatest
