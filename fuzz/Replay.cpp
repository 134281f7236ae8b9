#include "Fuzz.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

/// Runs a target once with each file of a corpus, where the compiler has no fuzzer. What is thrown makes it
/// abort.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argumentCount, char** arguments) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argumentCount; ++i) {
        std::copy(std::filesystem::directory_iterator(arguments[i]), {}, std::back_inserter(files));
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path& path : files) {
        std::fprintf(stderr, "%s\n", path.c_str()); // the last one is the one that fails
        std::ifstream file(path, std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    return files.empty() ? 1 : 0;
}
