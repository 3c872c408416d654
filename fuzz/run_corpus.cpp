// SPDX-License-Identifier: MIT
//
// The plain main of a fuzz target: runs it over the files of a folder, and over every beginning of each, since most
// faults of readers are about missing bytes. The files of its subfolder "found", which fuzz/run fills, are only run
// whole: they are many.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

// libFuzzer's, for mutators, which are not called here.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* /*data*/, std::size_t size, std::size_t /*most*/) { return size; }

namespace {

constexpr std::size_t longestBeginning = 1024;

std::vector<std::uint8_t> contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void runBeginnings(const std::vector<std::uint8_t>& seed) {
    for (std::size_t size = 0; size < std::min(seed.size(), longestBeginning); ++size) {
        const std::vector<std::uint8_t> beginning(seed.begin(), seed.begin() + static_cast<std::ptrdiff_t>(size));
        LLVMFuzzerTestOneInput(beginning.data(), size); // a copy of exactly that size, so that sanitizers see its end
    }
}

int runFolder(const std::filesystem::path& folder, bool beginnings) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        const std::vector<std::uint8_t> seed = contentOf(entry.path());
        if (beginnings) runBeginnings(seed);
        LLVMFuzzerTestOneInput(seed.data(), seed.size());
        ++count;
    }
    return count;
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: %s FOLDER [whole]\n", argv[0]);
        return 2;
    }
    const std::filesystem::path found = std::filesystem::path(argv[1]) / "found";
    int count = runFolder(argv[1], argc == 2);
    if (std::filesystem::exists(found)) count += runFolder(found, false);
    std::printf("%d seeds\n", count);
    return count > 0 ? 0 : 1; // without a seed nothing was tested
}
