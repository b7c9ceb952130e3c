// Files for the tests of whole decoders.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace qorac::test {

inline std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The files with the given ending in a folder of the conformance streams, sorted; none when
// QORAC_VECTORS is not set.
inline std::vector<std::filesystem::path> conformanceStreams(const std::string& folder,
                                                             const std::string& ending) {
    std::vector<std::filesystem::path> streams;
    const char* root = std::getenv("QORAC_VECTORS");
    if (root == nullptr || !std::filesystem::is_directory(std::filesystem::path(root) / folder))
        return streams;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(root) / folder))
        if (entry.path().extension() == ending) streams.push_back(entry.path());
    std::sort(streams.begin(), streams.end());
    return streams;
}

}  // namespace qorac::test
