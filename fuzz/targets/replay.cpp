// Runs a target once over each given file and each file of the given folders, where there is no fuzzer:
// what a fuzzer once found stays found.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int*, char***);

int main(int count, char** arguments) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    LLVMFuzzerInitialize(&count, &arguments);
    for (int i = 1; i < count; ++i) {
        if (fs::is_directory(arguments[i]))
            std::copy(fs::directory_iterator(arguments[i]), {}, std::back_inserter(files));
        else
            files.emplace_back(arguments[i]);
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files) {
        std::printf("%s\n", path.c_str());
        std::fflush(stdout);
        std::ifstream file(path, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        if (!file) return 1;
        const auto exact = std::make_unique<std::uint8_t[]>(content.size());
        std::copy(content.begin(), content.end(), exact.get());
        LLVMFuzzerTestOneInput(exact.get(), content.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty();
}
