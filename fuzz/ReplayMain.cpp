// Runs a harness once on every file that is named, and on every file of every folder that is named, without a fuzzer.
// So the harnesses are built in every preset, and what was once found stays found.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void replay(fs::path const& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    input.shrink_to_fit();
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            replay(argv[i]);
            ++count;
            continue;
        }
        for (fs::directory_entry const& entry : fs::directory_iterator(argv[i])) {
            if (entry.is_regular_file()) {
                replay(entry.path());
                ++count;
            }
        }
    }
    std::printf("%zu inputs\n", count);
    return count == 0 ? 1 : 0;
}
