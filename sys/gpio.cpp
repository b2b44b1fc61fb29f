#include "sys/gpio.h"

#include "sys/kernel.h"
#include "sys/node_file.h"

namespace Varno {
namespace {

constexpr char kGpioClass[] = "/sys/class/gpio";

}  // namespace

Gpio::Gpio(int number)
    : m_number(std::to_string(number)), m_directory(std::string(kGpioClass) + "/gpio" + std::to_string(number)) {}

Gpio::Result Gpio::Export() const {
    return Echo(m_number, std::string(kGpioClass) + "/export");
}

Gpio::Result Gpio::SetDirection(const char* direction) const {
    return Echo(direction, m_directory + "/direction");
}

Gpio::Result Gpio::SetValue(int level) const {
    return Echo(std::to_string(level), m_directory + "/value");
}

bool Gpio::ReadValue(std::string& text) const {
    if (!ReadNode(m_directory + "/value", 16, text)) return false;
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return !text.empty();
}

Gpio::Result Gpio::Echo(const std::string& text, const std::string& file) const {
    const std::string command = "echo " + text + " > " + file;
    return {command, kernel().System(command.c_str())};
}

}  // namespace Varno
