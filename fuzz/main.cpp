// The fuzzing library's entry for the target that the build names; without one, fuzz-replay TARGET DIRECTORY..., which
// runs a target on every kept input.
#include "fakeHost.h"

#ifdef KVX_FUZZ_TARGET
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    return runTarget(KVX_FUZZ_TARGET, std::string(reinterpret_cast<const char *>(pData), size)) ? 0 : -1;
}
#else
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

int main(int argc, char **argv) {
    int replayed = 0;
    for (int i = 2; i < argc; i++)
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            dprintf(STDOUT_FILENO, "%s\n", entry.path().c_str());
            std::ifstream file(entry.path(), std::ios::binary);
            replayed += runTarget(argv[1], std::string(std::istreambuf_iterator<char>(file), {}));
        }
    return replayed == 0;
}
#endif
