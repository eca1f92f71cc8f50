// The configuration file is plain text that users edit by hand.
#include "app/config_file.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::InputFile file(data, size);
    if (!file.ok()) return 0;
    ConfigValues c;
    ResetConfig(&c);
    ReadConfigFile(&c, file.path());
    return 0;
}
