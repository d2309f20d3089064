// Runs a fuzz target (the first argument, read_sac...) over the files named after it once each,
// without libFuzzer: the inputs kept from the fuzzers stay in the test suite of every build.
#include "FuzzTarget.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    if (argc < 2 || !ChooseFuzzTarget(argv[1])) {
        std::fprintf(stderr, "usage: fuzz_replay read_FORMAT|write_FORMAT FILE...\n");
        return 1;
    }
    for (int i = 2; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", argv[i]);
            return 1;
        }
        const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                              std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    return 0;
}
