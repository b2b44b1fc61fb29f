#include "sys/leds.h"

#include <fcntl.h>

#include <cstdio>

#include "sys/node_file.h"

namespace Varno {
namespace {

std::string BrightnessFile(const std::string& name) {
    return "/sys/class/leds/" + name + "/brightness";
}

void ReportClosed(const std::string& path) {
    std::printf("Can't open file %s\n", path.c_str());
}

}  // namespace

int GetLEDValue(const std::string& name) {
    const std::string path = BrightnessFile(name);
    std::string text;
    bool opened = false;
    if (ReadNode(path, 16, text, &opened)) return static_cast<int>(ParseDecimal(text));
    if (!opened) ReportClosed(path);
    return -1;
}

bool SetLEDValue(const std::string& name, unsigned char value) {
    const std::string path = BrightnessFile(name);
    const std::string text = std::to_string(value);
    bool opened = false;
    const ssize_t written = WriteNode(path, O_WRONLY | O_TRUNC, text.data(), text.size(), opened);
    if (!opened) {
        ReportClosed(path);
        return false;
    }
    std::printf("val:%s\n", text.c_str());
    if (written == static_cast<ssize_t>(text.size())) return true;
    ReportClosed(path);
    return false;
}

}  // namespace Varno
