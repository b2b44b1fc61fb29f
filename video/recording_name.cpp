#include "video/recording_name.h"

#include <sys/stat.h>

#include <cstdio>

#include "sys/kernel.h"

namespace {

std::string StillName(std::time_t second) {
    char name[32];
    std::snprintf(name, sizeof name, "%08lX.jpg", static_cast<unsigned long>(second));
    return name;
}

std::string ClipName(std::time_t second) {
    tm local{};
    localtime_r(&second, &local);
    char name[80];  // the field widths are minimums
    std::snprintf(name, sizeof name, "%04d%02d%02d%02d%02d%02d.avi", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return name;
}

bool IsTaken(const std::string& path) {
    struct stat status {};
    return stat(Varno::kernel().Path(path).c_str(), &status) == 0;
}

std::string FreePath(const std::string& directory, std::time_t second, std::string (*name)(std::time_t)) {
    std::string path = directory + "/" + name(second);
    while (IsTaken(path))
        path = directory + "/" + name(++second);
    return path;
}

}  // namespace

std::string FreeStillPath(const std::string& directory, std::time_t second) {
    return FreePath(directory, second, StillName);
}

std::string FreeClipPath(const std::string& directory, std::time_t second) {
    return FreePath(directory, second, ClipName);
}
