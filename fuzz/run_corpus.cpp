// SPDX-License-Identifier: MIT
//
// The plain main of a fuzz target: runs it over the files of a folder, and over every beginning of each, since most
// faults of readers are about missing bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t longestBeginning = 1024;

void run(const std::filesystem::path& seed) {
    std::ifstream file(seed, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    for (std::size_t size = 0; size <= std::min(bytes.size(), longestBeginning); ++size) {
        const std::vector<std::uint8_t> beginning(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        LLVMFuzzerTestOneInput(beginning.data(), size); // a copy of exactly that size, so that sanitizers see its end
    }
    const std::vector<std::uint8_t> whole(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(whole.data(), whole.size());
}

} // namespace

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            run(entry.path());
            ++count;
        }
    }
    std::printf("%d seeds\n", count);
    return count > 0 ? 0 : 1; // without a seed nothing was tested
}
