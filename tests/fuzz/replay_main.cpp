#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

// Runs files through a fuzz target where there is no fuzzer to do so.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int count, char **words) {
    for (int i = 1; i < count; ++i) {
        std::ifstream file(words[i], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "%s can't be read\n", words[i]);
            return 1;
        }
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        std::printf("%s: %zu bytes\n", words[i], bytes.size());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    return count > 1 ? 0 : 1;
}
