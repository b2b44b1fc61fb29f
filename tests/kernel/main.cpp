// Usage: kernel_test KERNEL INITRAMFS SCRATCH-FOLDER [GoogleTest options]
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/kernel/virtual_machine.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s KERNEL INITRAMFS SCRATCH-FOLDER\n", argv[0]);
        return 2;
    }
    kernel_test::g_files = {argv[1], argv[2], argv[3]};
    return RUN_ALL_TESTS();
}
