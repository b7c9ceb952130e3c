// The main function of every test program. Exits with 77 (skipped) where the machine lacks the
// instruction level that QORAC_TEST_LEVEL names.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "gmock/gmock.h"

namespace {

bool machineHas(std::string_view level) {
    if (level == "v2") return __builtin_cpu_supports("sse4.2");
    if (level == "v3") return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    if (level == "v4")
        return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
               __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const char* level = std::getenv("QORAC_TEST_LEVEL");
    if (level != nullptr && !machineHas(level)) {
        std::printf("skipped: this machine has no instruction level %s\n", level);
        return 77;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
