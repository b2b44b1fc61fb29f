#include "sys/kernel.h"

#include <cstdio>
#include <cstdlib>

namespace Varno {
namespace {

Kernel* g_kernel = nullptr;

}  // namespace

Kernel& kernel() {
    if (!g_kernel) {
        std::fputs("Error: no kernel installed\n", stderr);
        std::abort();
    }
    return *g_kernel;
}

void InstallKernel(Kernel& instance) {
    g_kernel = &instance;
}

}  // namespace Varno
