// Usage: kernel_test KERNEL INITRAMFS SCRATCH-FOLDER REFERENCE-FOLDER [GoogleTest options]
// Prints one line per scenario: whether it held, and what it showed.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "tests/kernel/report.h"
#include "tests/kernel/virtual_machine.h"

namespace {

class Report final : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override {
        if (!result.failed()) return;
        std::printf("%s:%d: %s\n", result.file_name() ? result.file_name() : "", result.line_number(),
                    result.message());
    }
    void OnTestEnd(const testing::TestInfo& test) override {
        const testing::TestResult& result = *test.result();
        const char* held = "";
        for (int i = 0; i < result.test_property_count(); ++i)
            if (std::strcmp(result.GetTestProperty(i).key(), kernel_test::kHeldProperty) == 0)
                held = result.GetTestProperty(i).value();
        std::printf("%s - kernel %s.%s%s%s (%.0f s)\n", result.Passed() ? "ok" : "not ok", test.test_suite_name(),
                    test.name(), *held != '\0' ? ": " : "", held, static_cast<double>(result.elapsed_time()) / 1000);
        std::fflush(stdout);
    }
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s KERNEL INITRAMFS SCRATCH-FOLDER REFERENCE-FOLDER [GoogleTest options]\n",
                     argv[0]);
        return 2;
    }
    // A failure is told in one piece: another scenario's lines may go to the same place.
    std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
    kernel_test::g_files = {argv[1], argv[2], argv[3], argv[4]};
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new Report);  // owned by the list
    return RUN_ALL_TESTS();
}
