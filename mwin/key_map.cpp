#include "mwin/key_map.h"

#include <linux/input-event-codes.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "mwin/windows.h"

namespace mwin {
namespace {

struct NamedKey {
    const char* name;
    int key;
};
constexpr NamedKey kNamedKeys[] = {
    {"enter", VK_RETURN}, {"escape", VK_ESCAPE}, {"left", VK_LEFT}, {"up", VK_UP}, {"right", VK_RIGHT},
    {"down", VK_DOWN},    {"f1", VK_F1},         {"f2", VK_F2},     {"f3", VK_F3}, {"f4", VK_F4},
};

int KeyNamed(const std::string& name) {
    for (const NamedKey& named : kNamedKeys)
        if (name == named.name) return named.key;
    return 0;
}

// False for what is no code of the kernel's.
bool ParseCode(const std::string& word, unsigned& code) {
    char* end = nullptr;
    const int base = word.compare(0, 2, "0x") == 0 ? 16 : 10;
    const unsigned long value = std::strtoul(word.c_str(), &end, base);
    if (word[0] < '0' || word[0] > '9' || *end != '\0' || value == KEY_RESERVED || value > KEY_MAX) return false;
    code = static_cast<unsigned>(value);
    return true;
}

}  // namespace

KeyMap::KeyMap()
    : keys_{
          {KEY_ENTER, VK_RETURN},      {KEY_KPENTER, VK_RETURN}, {KEY_OK, VK_RETURN}, {KEY_SELECT, VK_RETURN},
          {KEY_ESC, VK_ESCAPE},        {KEY_LEFT, VK_LEFT},      {KEY_UP, VK_UP},     {KEY_RIGHT, VK_RIGHT},
          {KEY_DOWN, VK_DOWN},         {KEY_F1, VK_F1},          {KEY_MENU, VK_F1},   {KEY_F2, VK_F2},
          {KEY_ROTATE_DISPLAY, VK_F2}, {KEY_F3, VK_F3},          {KEY_CAMERA, VK_F3}, {KEY_F4, VK_F4},
          {KEY_MEDIA, VK_F4},
      } {}

std::vector<std::string> KeyMap::Read(std::istream& text, const std::string& name) {
    std::vector<std::string> messages;
    std::string line;
    for (int number = 1; std::getline(text, line); ++number) {
        const std::string wrong = TakeLine(line.substr(0, line.find('#')));
        if (!wrong.empty())
            messages.push_back(std::string(name).append(":").append(std::to_string(number)).append(": ").append(wrong));
    }
    return messages;
}

std::string KeyMap::TakeLine(const std::string& line) {
    constexpr char kBlanks[] = " \t\r";
    if (line.find_first_not_of(kBlanks) == std::string::npos) return {};
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) return "expected KEY = CODE...";
    std::istringstream before(line.substr(0, equals));
    std::string name;
    std::string more;
    before >> name;
    if (before >> more) return "more than one word before \"=\"";
    const int key = KeyNamed(name);
    if (key == 0) return "unknown key \"" + name + "\"";
    if (named_.count(key) != 0) return "\"" + name + "\" is named a second time";

    std::set<unsigned> codes;
    std::istringstream words(line.substr(equals + 1));
    for (std::string word; words >> word;) {
        unsigned code = 0;
        if (!ParseCode(word, code)) return "\"" + word + "\" is no key code";
        if (from_file_.count(code) != 0) return "code " + word + " already means another key";
        codes.insert(code);
    }
    named_.insert(key);
    for (auto it = keys_.begin(); it != keys_.end();)
        it = it->second == key ? keys_.erase(it) : std::next(it);
    for (const unsigned code : codes)
        keys_[code] = key;
    from_file_.insert(codes.begin(), codes.end());
    return {};
}

int KeyMap::VirtualKeyOf(unsigned code) const {
    const auto found = keys_.find(code);
    return found == keys_.end() ? 0 : found->second;
}

KeyMap LoadKeyMap(const std::vector<std::string>& paths) {
    KeyMap map;
    for (const std::string& path : paths) {
        errno = 0;
        std::ifstream file(path);
        if (!file) {
            if (errno != ENOENT) std::printf("Can't open file %s: %s\n", path.c_str(), std::strerror(errno));
            continue;
        }
        for (const std::string& message : map.Read(file, path))
            std::printf("%s\n", message.c_str());
        if (file.bad()) std::printf("Can't read file %s\n", path.c_str());
        break;
    }
    return map;
}

}  // namespace mwin
