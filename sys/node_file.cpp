#include "sys/node_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sys/kernel.h"

namespace Varno {

bool ReadNode(const std::string& path, std::size_t limit, std::string& text, bool* opened) {
    text.clear();
    const int fd = open(kernel().Path(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (opened) *opened = fd >= 0;
    if (fd < 0) return false;
    text.resize(limit);
    const ssize_t length = read(fd, text.data(), limit);
    const int error = errno;
    close(fd);
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    errno = error;
    return length >= 0;
}

ssize_t WriteNode(const std::string& path, int flags, const void* data, std::size_t length, bool& opened,
                  const char* announcement) {
    const int fd = open(kernel().Path(path).c_str(), flags | O_CLOEXEC);
    opened = fd >= 0;
    if (!opened) return -1;
    std::fputs(announcement, stdout);
    const ssize_t written = write(fd, data, length);
    const int error = errno;
    close(fd);
    errno = error;
    return written;
}

long long ParseDecimal(const std::string& text) {
    return std::strtoll(text.c_str(), nullptr, 10);
}

void ReportOpenError(const std::string& path) {
    std::printf("ERROR(%s): open %s.\n", std::strerror(errno), path.c_str());
}

}  // namespace Varno
