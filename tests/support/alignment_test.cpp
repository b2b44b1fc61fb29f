// The board's processor has no unaligned word access, PCs and the emulator forgive it: the sanitized build has to tell.
#include <gtest/gtest.h>

#include <cstdint>

namespace {

// Not inlined, so that the compiler cannot know where it reads.
[[gnu::noinline]] std::uint32_t WordAt(const unsigned char* bytes) {
    return *reinterpret_cast<const std::uint32_t*>(bytes);
}

TEST(AlignmentDeathTest, AWordReadAtAnOddAddressEndsTheProgram) {
    alignas(std::uint32_t) unsigned char bytes[8] = {1, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_EQ(WordAt(bytes + 4), WordAt(bytes));
    EXPECT_DEATH(WordAt(bytes + 1), "load of misaligned address");
}

}  // namespace
