#include "board/open_files.h"

#include <unistd.h>

#include <charconv>
#include <system_error>

namespace board {
namespace fs = std::filesystem;

OpenFiles FindOpenFiles(const fs::path& folder) {
    OpenFiles open;
    std::error_code failed;
    const std::string top = fs::canonical(folder, failed).string() + "/";
    if (failed) return open;
    for (fs::directory_iterator entry("/proc/self/fd", failed), end; !failed && entry != end; entry.increment(failed)) {
        std::error_code gone;
        const std::string path = fs::read_symlink(entry->path(), gone).string();
        if (gone || (path + "/").compare(0, top.size(), top) != 0) continue;
        const std::string name = entry->path().filename().string();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        open[descriptor] = {path, std::int64_t{lseek(descriptor, 0, SEEK_CUR)}};
    }
    return open;
}

std::string UsedSince(const OpenFiles& before, const OpenFiles& now) {
    for (const auto& [descriptor, place] : now) {
        const auto known = before.find(descriptor);
        if (known == before.end() || !(known->second == place)) return place.path;
    }
    return {};
}

}  // namespace board
