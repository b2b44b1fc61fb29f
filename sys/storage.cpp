#include "sys/storage.h"

#include <dirent.h>
#include <sys/statfs.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>

#include "sys/kernel.h"
#include "sys/node_file.h"
#include "sys/path_strings.h"

namespace Varno {
namespace {

constexpr char kBlockDevices[] = "/sys/block";
constexpr char kCardPrefix[] = "mmcblk";
constexpr char kMediaType[] = "vfat";
constexpr char kNandDevice[] = "/dev/loop0";

// Cuts the next field off a line of /proc/mounts; empty at its end.
std::string_view TakeField(std::string_view& line) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n'; };
    const auto begin = std::find_if_not(line.begin(), line.end(), blank);
    const auto end = std::find_if(begin, line.end(), blank);
    const std::string_view field =
        line.substr(static_cast<std::size_t>(begin - line.begin()), static_cast<std::size_t>(end - begin));
    line.remove_prefix(static_cast<std::size_t>(end - line.begin()));
    return field;
}

// A field of /proc/mounts: blanks, tabs, newlines, backslashes and hashes stand there as a backslash and three octal
// digits.
std::string Unescaped(std::string_view field) {
    const auto octal = [&field](std::size_t i) { return i < field.size() && field[i] >= '0' && field[i] <= '7'; };
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && octal(i + 1) && octal(i + 2) && octal(i + 3)) {
            text += static_cast<char>(std::strtol(std::string(field.substr(i + 1, 3)).c_str(), nullptr, 8));
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

// Number of a whole card disk ("mmcblk0"), -1 for anything else, such as the boot areas ("mmcblk0boot0").
long CardNumber(const std::string& name) {
    constexpr std::size_t kPrefixLength = sizeof(kCardPrefix) - 1;
    if (name.compare(0, kPrefixLength, kCardPrefix) != 0 || name.size() == kPrefixLength || name.size() > 15) return -1;
    if (name.find_first_not_of("0123456789", kPrefixLength) != std::string::npos) return -1;
    return std::strtol(name.c_str() + kPrefixLength, nullptr, 10);
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

// Name of the card's first partition; empty, and reported, when a card is there whose partition cannot be read.
std::string FirstPartition() {
    const std::string disk = GetMMCBlockSysDir();
    if (disk.empty()) return {};
    std::string partition = Basename(disk) + "p1";
    std::string path = disk;
    path.append("/").append(partition).append("/stat");
    std::string statistics;
    bool opened = false;
    if (!ReadNode(path, 128, statistics, &opened)) {
        if (!opened) ReportOpenError(path);
        return {};
    }
    return partition;
}

}  // namespace

std::string GetMountpoint(const std::string& device, const std::string& fstype) {
    // Several times with every tick: no stream, whose construction would cost more than all the rest.
    const std::unique_ptr<std::FILE, FileCloser> mounts(std::fopen(kernel().Path("/proc/mounts").c_str(), "re"));
    if (!mounts) return {};
    std::string found;
    char* line = nullptr;
    std::size_t size = 0;
    ssize_t length = 0;
    while (found.empty() && (length = getline(&line, &size, mounts.get())) > 0) {
        std::string_view rest(line, static_cast<std::size_t>(length));
        const std::string_view source = TakeField(rest);
        const std::string_view directory = TakeField(rest);
        if (TakeField(rest) == fstype && Unescaped(source) == device) found = Unescaped(directory);
    }
    std::free(line);
    return found;
}

std::string GetNandDataPart() {
    return TrimDIR(GetMountpoint(kNandDevice, kMediaType));
}

std::string GetMMCBlockSysDir() {
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(kernel().Path(kBlockDevices).c_str()));
    long first = -1;
    while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
        const long number = CardNumber(entry->d_name);
        if (number >= 0 && (first < 0 || number < first)) first = number;
    }
    if (first < 0) return {};
    return std::string(kBlockDevices) + "/" + kCardPrefix + std::to_string(first);
}

std::string GetMMCFirstPart() {
    const std::string device = GetMMCFirstPartDev();
    return device.empty() ? device : GetMountpoint(device, kMediaType);
}

std::string GetMMCFirstPartDev() {
    const std::string partition = FirstPartition();
    return partition.empty() ? partition : "/dev/" + partition;
}

int GetAvailDiskSpace(const std::string& path) {
    struct statfs space {};
    if (path.empty() || kernel().StatFs(path.c_str(), &space) < 0) return -1;
    constexpr std::uint64_t kMost = std::numeric_limits<int>::max();
    const auto blocks = static_cast<std::uint64_t>(space.f_bavail);
    const auto block_size = static_cast<std::uint64_t>(space.f_bsize);
    if (block_size > 0 && blocks > (kMost << 10) / block_size) return static_cast<int>(kMost);
    return static_cast<int>(std::min(kMost, (blocks * block_size + 512) >> 10));
}

int GetUserNandAvailableSpace() {
    return GetAvailDiskSpace(GetNandDataPart());
}

int GetFirstMMCAvailableSpace() {
    return GetAvailDiskSpace(GetMMCFirstPart());
}

void ReleaseVMCache(KernelCacheType type) {
    const std::string command = "echo " + std::to_string(type) + " > /proc/sys/vm/drop_caches";
    kernel().System(command.c_str());
}

}  // namespace Varno
