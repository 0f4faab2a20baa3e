// Runs kept inputs through a fuzz target without a fuzzer. Every input runs twice, the second time
// with all the others run before it in reverse: what it observes must not depend on its
// predecessors, or the reset between inputs would be incomplete.

#include "driver_under_fuzz.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size);

namespace {

struct Kept {
    std::string name;
    std::vector<char> bytes;
    quint64 digest;
};

std::vector<Kept> readInputs(const std::filesystem::path& directory)
{
    std::vector<Kept> inputs;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        Kept input;
        input.name = entry.path().filename().string();
        input.bytes.assign(std::istreambuf_iterator<char>(file), {});
        input.digest = 0;
        inputs.push_back(input);
    }
    std::sort(inputs.begin(), inputs.end(),
              [](const Kept& a, const Kept& b) { return a.name < b.name; });
    return inputs;
}

quint64 run(const Kept& input)
{
    std::fprintf(stderr, "%s\n", input.name.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const quint8*>(input.bytes.data()), input.bytes.size());
    return observedDigest();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS-DIRECTORY\n", argv[0]);
        return 2;
    }
    std::vector<Kept> inputs = readInputs(argv[1]);
    if (inputs.empty()) {
        std::fprintf(stderr, "%s holds no inputs\n", argv[1]);
        return 1;
    }
    for (Kept& input : inputs)
        input.digest = run(input);
    std::reverse(inputs.begin(), inputs.end());
    for (const Kept& input : inputs) {
        if (run(input) != input.digest) {
            std::fprintf(stderr, "%s: another outcome after other inputs\n", input.name.c_str());
            return 1;
        }
    }
    std::printf("%zu inputs\n", inputs.size());
    return 0;
}
