#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "mwin/key_map.h"
#include "mwin/windows.h"

namespace {

using Messages = std::vector<std::string>;

struct Case {
    const char* name;
    std::string text;
    Messages messages;
    std::vector<std::pair<unsigned, int>> keys;  // what codes mean then
};

const Case kCases[] = {
    {"an empty file leaves the usual keypad",
     "",
     {},
     {{KEY_KPENTER, VK_RETURN}, {KEY_LEFT, VK_LEFT}, {KEY_MENU, VK_F1}, {KEY_CAMERA, VK_F3}, {KEY_A, 0}}},
    {"what is named has its codes only",
     "# ours\nenter = 114 0x73  # volume\r\n\n  up=30\n",
     {},
     {{114, VK_RETURN}, {115, VK_RETURN}, {KEY_ENTER, 0}, {30, VK_UP}, {KEY_UP, 0}, {KEY_DOWN, VK_DOWN}}},
    {"a code may be taken from another key",
     "enter = 59",
     {},
     {{KEY_F1, VK_RETURN}, {KEY_MENU, VK_F1}, {KEY_ENTER, 0}}},
    {"two keys may change places", "left = 106\nright = 105", {}, {{106, VK_LEFT}, {105, VK_RIGHT}}},
    {"a key may have no code", "escape =", {}, {{KEY_ESC, 0}, {KEY_ENTER, VK_RETURN}}},
    {"bad lines are left out and counted",
     "enter 28\nfire = 28\nup = \n\nleft = 28x\nleft = 0\nleft = 768\nleft = -1\nleft = 0x\nleft = "
     "99999999999999999999\n"
     "down = 105 106\nright = 106\ndown = 1\n= 5\nf4 = 767\nenter escape = 28",
     {"k:1: expected KEY = CODE...", "k:2: unknown key \"fire\"", "k:5: \"28x\" is no key code",
      "k:6: \"0\" is no key code", "k:7: \"768\" is no key code", "k:8: \"-1\" is no key code",
      "k:9: \"0x\" is no key code", "k:10: \"99999999999999999999\" is no key code",
      "k:12: code 106 already means another key", "k:13: \"down\" is named a second time", "k:14: unknown key \"\"",
      "k:16: more than one word before \"=\""},
     {{105, VK_DOWN}, {106, VK_DOWN}, {KEY_ENTER, VK_RETURN}, {KEY_UP, 0}, {767, VK_F4}, {KEY_F4, 0}}},
};

TEST(KeyMap, Files) {
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        mwin::KeyMap map;
        std::istringstream text(test.text);
        EXPECT_EQ(map.Read(text, "k"), test.messages);
        for (const auto& [code, key] : test.keys)
            EXPECT_EQ(map.VirtualKeyOf(code), key) << "code " << code;
    }
}

TEST(KeyMap, TheFirstFileThatIsThereCounts) {
    const std::string folder = testing::TempDir();
    const std::string paths[] = {folder + "no-such-keys", folder + "first-keys", folder + "second-keys"};
    std::ofstream(paths[1]) << "enter = 30\nup 5\n";
    std::ofstream(paths[2]) << "enter = 31\n";
    testing::internal::CaptureStdout();
    const mwin::KeyMap map = mwin::LoadKeyMap({paths, paths + 3});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), paths[1] + ":2: expected KEY = CODE...\n");
    EXPECT_EQ(map.VirtualKeyOf(30), VK_RETURN);
    EXPECT_EQ(map.VirtualKeyOf(31), 0);
    for (const std::string& path : paths)
        std::filesystem::remove(path);

    testing::internal::CaptureStdout();
    EXPECT_EQ(mwin::LoadKeyMap({folder}).VirtualKeyOf(KEY_ENTER), VK_RETURN) << "a folder";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Can't read file " + folder + "\n");
}

// What the sample says in its comments is what holds without it.
TEST(KeyMap, TheSampleNamesTheUsualKeypad) {
    std::ifstream sample("packaging/keys.conf.sample");
    ASSERT_TRUE(sample);
    std::string settings;
    for (std::string line; std::getline(sample, line);)
        if (line.find('=') != std::string::npos) settings += line.substr(1) + "\n";
    mwin::KeyMap map;
    std::istringstream text(settings);
    EXPECT_EQ(map.Read(text, "sample"), Messages{});
    const mwin::KeyMap usual;
    for (unsigned code = 0; code <= KEY_MAX; ++code)
        EXPECT_EQ(map.VirtualKeyOf(code), usual.VirtualKeyOf(code)) << "code " << code;
}

}  // namespace
