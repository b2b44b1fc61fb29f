#include "board/medium_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <system_error>

namespace board {
namespace fs = std::filesystem;

std::vector<MediumFile> ListFiles(const fs::path& medium) {
    std::vector<MediumFile> files;
    std::error_code error;
    fs::recursive_directory_iterator entry(medium, fs::directory_options::skip_permission_denied, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        struct stat status {};
        // A file may be deleted while the list is made.
        if (lstat(entry->path().c_str(), &status) < 0 || !S_ISREG(status.st_mode)) continue;
        files.push_back({entry->path().lexically_relative(medium).generic_string(),
                         static_cast<std::uint64_t>(status.st_size), std::int64_t{status.st_mtime}});
    }
    std::sort(files.begin(), files.end(), [](const MediumFile& a, const MediumFile& b) { return a.path < b.path; });
    return files;
}

mwin::FileDescriptor OpenFile(const fs::path& medium, const std::string& path) {
    // An embedded zero would hide the rest of the path from the system.
    if (path.empty() || path.find('\0') != std::string::npos) return mwin::FileDescriptor();
    mwin::FileDescriptor file(
        open((medium / fs::path(path).relative_path()).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.IsValid() || fstat(file.Get(), &status) < 0 || !S_ISREG(status.st_mode)) return mwin::FileDescriptor();
    // Where the open file really lies is asked afterwards, so that no link can be exchanged in between.
    std::error_code error;
    const fs::path real = fs::read_symlink("/proc/self/fd/" + std::to_string(file.Get()), error);
    if (error) return mwin::FileDescriptor();
    const fs::path root = fs::canonical(medium, error);
    if (error) return mwin::FileDescriptor();
    const auto [end, unused] = std::mismatch(root.begin(), root.end(), real.begin(), real.end());
    if (end != root.end()) return mwin::FileDescriptor();
    return file;
}

}  // namespace board
