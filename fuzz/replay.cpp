// Stands in for the fuzzer where there is none: runs a target on each of the files named.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count);

int main(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    }
    std::cout << argc - 1 << " inputs\n";
    return argc < 2;
}
