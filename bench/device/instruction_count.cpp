// A plugin for QEMU's user-mode emulator that counts the instructions which the emulated program executes.
//
//   qemu-arm -plugin libinstruction_count.so,out=FILE PROGRAM
//
// When the program ends, FILE holds the number, of all threads together. Every block of translated code adds its
// length when it is entered; blocks are deterministic, and so is the number as long as the program is.
#include <atomic>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

// The part of QEMU's plugin interface, version 1, that is used here; Debian ships no header for it. Names and
// signatures are QEMU's.
extern "C" {
struct qemu_info_t;
struct qemu_plugin_tb;
using qemu_plugin_id_t = std::uint64_t;
enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t id, qemu_plugin_tb* block));
void qemu_plugin_register_vcpu_tb_exec_cb(qemu_plugin_tb* block, void (*entered)(unsigned cpu, void* data),
                                          qemu_plugin_cb_flags flags, void* data);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ended)(qemu_plugin_id_t id, void* data), void* data);
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);

__attribute__((visibility("default"))) extern const int qemu_plugin_version;
__attribute__((visibility("default"))) int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc,
                                                               char** argv);
}

namespace {

// One counter for each of the emulated processors, of which every thread has one, on a cache line of its own. More
// threads than counters share them.
constexpr unsigned kCounters = 64;
struct alignas(64) Counter {
    std::atomic<std::uint64_t> instructions{0};
};
Counter g_counters[kCounters];
std::string g_out;  // NOLINT(cert-err58-cpp): nothing to catch it with in a plugin

void BlockEntered(unsigned cpu, void* length) {
    g_counters[cpu % kCounters].instructions.fetch_add(reinterpret_cast<std::uintptr_t>(length),
                                                       std::memory_order_relaxed);
}

void BlockTranslated(qemu_plugin_id_t /*id*/, qemu_plugin_tb* block) {
    const auto length = static_cast<std::uintptr_t>(qemu_plugin_tb_n_insns(block));
    qemu_plugin_register_vcpu_tb_exec_cb(block, BlockEntered, QEMU_PLUGIN_CB_NO_REGS, reinterpret_cast<void*>(length));
}

void ProgramEnded(qemu_plugin_id_t /*id*/, void* /*data*/) {
    std::uint64_t sum = 0;
    for (const Counter& counter : g_counters)
        sum += counter.instructions.load(std::memory_order_relaxed);
    std::FILE* file = std::fopen(g_out.c_str(), "we");
    if (!file) {
        std::perror(g_out.c_str());
        return;
    }
    std::fprintf(file, "%" PRIu64 "\n", sum);
    std::fclose(file);
}

}  // namespace

const int qemu_plugin_version = 1;

int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* /*info*/, int argc, char** argv) {
    constexpr char kOut[] = "out=";
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], kOut, sizeof kOut - 1) == 0) g_out = argv[i] + sizeof kOut - 1;
    }
    if (g_out.empty()) {
        std::fprintf(stderr, "instruction_count: out=FILE is missing\n");
        return -1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, BlockTranslated);
    qemu_plugin_register_atexit_cb(id, ProgramEnded, nullptr);
    return 0;
}
