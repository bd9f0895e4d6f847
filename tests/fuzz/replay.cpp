// SPDX-License-Identifier: Apache-2.0
// Feeds the files of directories to a target, without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

unsigned long replay(const std::filesystem::path& directory) {
    unsigned long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator{directory}) {
        std::ifstream file{entry.path(), std::ios::binary};
        const std::vector<char> bytes{std::istreambuf_iterator<char>{file}, {}};
        static_cast<void>(std::fprintf(stderr, "%s\n", entry.path().c_str()));
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::filesystem::path> directories{argv + 1, argv + argc};
    unsigned long count = 0;
    for (const auto& directory : directories) {
        count += std::filesystem::is_directory(directory) ? replay(directory) : 0;
    }
    // Without a file nothing would be tested.
    return count == 0 ? 1 : 0;
}
