// The fuzzing library's entry for the target that the build names; without one, fuzz-replay TARGET, which runs a target
// on its inputs. fuzz-replay TARGET DIRECTORY writes them there instead.
#include "fakeHost.h"

#ifdef KVX_FUZZ_TARGET
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    return runTarget(KVX_FUZZ_TARGET, std::string(reinterpret_cast<const char *>(pData), size)) ? 0 : -1;
}
#else
#include <fstream>
#include <unistd.h>

int main(int argc, char **argv) {
    const strings inputs = argc < 2 ? strings() : inputsOf(argv[1]);
    int done = 0;
    for (const std::string &input : inputs) {
        if (argc > 2)
            std::ofstream(argv[2] + ("/" + std::to_string(done)), std::ios::binary) << input;
        else if (dprintf(STDOUT_FILENO, "%s\n\n", input.c_str()) < 0 || !runTarget(argv[1], input))
            return 2;
        done++;
    }
    return done == 0;
}
#endif
