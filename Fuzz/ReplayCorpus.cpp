// The entry of a fuzz target that is not built for fuzzing: gives it every file of the folders that are
// named on the command line.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> inputs;
    for (int index = 1; index < argc; ++index) {
        std::error_code failure;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[index], failure))
            if (entry.is_regular_file())
                inputs.push_back(entry.path());
    }
    if (inputs.empty()) {
        std::fprintf(stderr, "no inputs\n");
        return 1;
    }
    std::sort(inputs.begin(), inputs.end());
    for (const auto& input : inputs) {
        std::fprintf(stderr, "%s\n", input.c_str());
        std::ifstream stream(input, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        // A buffer of exactly the input's size, so that a sanitizer sees every read past its end.
        const std::unique_ptr<uint8_t[]> exact(new uint8_t[text.size()]);
        std::copy(text.begin(), text.end(), exact.get());
        LLVMFuzzerTestOneInput(exact.get(), text.size());
    }
    return 0;
}
