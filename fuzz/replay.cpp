// Runs a fuzz target without a fuzzer: on each file of a folder, and on a fixed number of changed
// copies of each, which are the same in every run.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/random.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;
using qorac::test::Random;

Bytes changed(Bytes bytes, Random& random) {
    const auto place = [&] {
        return static_cast<std::size_t>(
            random.integer(0, static_cast<std::int64_t>(bytes.size()) - 1));
    };
    for (auto count = random.integer(1, 8); count > 0 && !bytes.empty(); --count) {
        if (random.chance(0.1))
            bytes.resize(place());
        else
            bytes[place()] = static_cast<std::uint8_t>(random.integer(0, 255));
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s folder changed-copies\n", argv[0]);
        return 2;
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1]))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "%s is empty\n", argv[1]);
        return 1;
    }
    Random random(1);
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        const Bytes bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        for (int i = std::atoi(argv[2]); i > 0; --i) {
            const Bytes copy = changed(bytes, random);
            LLVMFuzzerTestOneInput(copy.data(), copy.size());
        }
    }
    std::printf("%zu files\n", files.size());
    return 0;
}
