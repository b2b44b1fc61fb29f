#include "bench/device/resident.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace device {
namespace {

constexpr std::uint64_t kAddressSpace = UINTPTR_MAX;

// Calls visit(start, line) for every line of a list of mappings; `start` is the address of the mapping it belongs to.
template <typename Visit>
void ForEachLine(const char* path, Visit visit) {
    std::FILE* file = std::fopen(path, "re");
    if (!file) return;
    char line[512];
    std::uint64_t start = 0;
    while (std::fgets(line, sizeof line, file)) {
        char* end = nullptr;
        const std::uint64_t address = std::strtoull(line, &end, 16);
        if (end != line && *end == '-') start = address;
        visit(start, line);
    }
    std::fclose(file);
}

// Where the program itself is mapped, in the addresses of that list.
std::uint64_t ProgramStart(const char* path) {
    std::uint64_t found = 0;
    ForEachLine(path, [&found](std::uint64_t start, const char* line) {
        if (found == 0 && std::strstr(line, "/device_work")) found = start;
    });
    return found;
}

}  // namespace

// The emulator translates the addresses in /proc/self/maps to those of the emulated program, and leaves those in
// /proc/self/smaps as they are: the difference is where its address space begins.
long ResidentKib() {
    const std::uint64_t in_program = ProgramStart("/proc/self/maps");
    const std::uint64_t in_process = ProgramStart("/proc/self/smaps");
    if (in_program == 0 || in_process == 0) return -1;
    const std::uint64_t base = in_process - in_program;
    long sum = 0;
    ForEachLine("/proc/self/smaps", [&](std::uint64_t start, const char* line) {
        constexpr char kRss[] = "Rss:";
        if (start - base > kAddressSpace || std::strncmp(line, kRss, sizeof kRss - 1) != 0) return;
        sum += std::strtol(line + sizeof kRss - 1, nullptr, 10);
    });
    return sum;
}

}  // namespace device
