#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <poll.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "mwin/evdev_keys.h"
#include "mwin/linux_clock.h"
#include "tests/mwin/common.h"

namespace mwin_test {
namespace {

namespace fs = std::filesystem;
using Messages = std::vector<std::string>;

Messages ReadInto(mwin::KeyMap& map, const std::string& text) {
    std::istringstream stream(text);
    return map.Read(stream, "k");
}

TEST(KeyMap, Files) {
    // A file, what is said about it, and what codes mean then.
    for (const auto& [text, messages, meanings] : Table<const char*, Messages, std::vector<std::pair<unsigned, int>>>{
             {"",
              {},
              {{KEY_KPENTER, VK_RETURN}, {KEY_LEFT, VK_LEFT}, {KEY_MENU, VK_F1}, {KEY_CAMERA, VK_F3}, {KEY_A, 0}}},
             {"# ours\nenter = 114 0x73  # volume\r\n\n  up=30\n",
              {},
              {{114, VK_RETURN}, {115, VK_RETURN}, {KEY_ENTER, 0}, {30, VK_UP}, {KEY_UP, 0}, {KEY_DOWN, VK_DOWN}}},
             {"enter = 59", {}, {{KEY_F1, VK_RETURN}, {KEY_MENU, VK_F1}, {KEY_ENTER, 0}}},
             {"escape =", {}, {{KEY_ESC, 0}, {KEY_ENTER, VK_RETURN}}},
             {"enter 28\nfire = 28\nup = \n\nleft = 28x\nleft = 0\nleft = 768\nleft = -1\nleft = 0x\nleft = "
              "99999999999999999999\n"
              "down = 105 106\nright = 106\ndown = 1\n= 5\nf4 = 767\nenter escape = 28",
              {"k:1: expected KEY = CODE...", "k:2: unknown key \"fire\"", "k:5: \"28x\" is no key code",
               "k:6: \"0\" is no key code", "k:7: \"768\" is no key code", "k:8: \"-1\" is no key code",
               "k:9: \"0x\" is no key code", "k:10: \"99999999999999999999\" is no key code",
               "k:12: code 106 already means another key", "k:13: \"down\" is named a second time",
               "k:14: unknown key \"\"", "k:16: more than one word before \"=\""},
              {{105, VK_DOWN}, {106, VK_DOWN}, {KEY_ENTER, VK_RETURN}, {KEY_UP, 0}, {767, VK_F4}, {KEY_F4, 0}}}}) {
        mwin::KeyMap map;
        EXPECT_EQ(ReadInto(map, text), messages);
        for (const auto& [code, key] : meanings)
            EXPECT_EQ(map.VirtualKeyOf(code), key) << "code " << code << " after " << text;
    }
}

// What the sample says in its comments is what holds without it.
TEST(KeyMap, TheSampleNamesTheUsualKeypad) {
    std::ifstream sample("packaging/keys.conf.sample");
    ASSERT_TRUE(sample);
    std::string settings;
    for (std::string line; std::getline(sample, line);)
        if (line.find('=') != std::string::npos) settings += line.substr(1) + "\n";
    mwin::KeyMap map;
    EXPECT_EQ(ReadInto(map, settings), Messages{});
    const mwin::KeyMap usual;
    for (unsigned code = 0; code <= KEY_MAX; ++code)
        EXPECT_EQ(map.VirtualKeyOf(code), usual.VirtualKeyOf(code)) << "code " << code;
}

// A folder with map files, and pipes in the place of input devices.
class KeyFiles : public testing::Test {
  protected:
    using Kind = mwin::KeyEvent::Kind;
    using Read = std::vector<std::pair<int, Kind>>;

    void SetUp() override { ASSERT_NE(mkdtemp(directory.data()), nullptr); }
    void TearDown() override { fs::remove_all(directory); }
    void AddDevice(const std::string& name) { ASSERT_EQ(mkfifo((directory + "/" + name).c_str(), 0600), 0); }
    static input_event Key(std::uint16_t code, int value, std::uint16_t type = EV_KEY) {
        return {{}, type, code, value};
    }
    // Without the first `skip` and the last `cut` bytes.
    void Send(const std::string& name, const std::vector<input_event>& events, std::ptrdiff_t skip = 0,
              std::ptrdiff_t cut = 0) {
        const auto* bytes = reinterpret_cast<const char*>(events.data());
        std::ofstream(directory + "/" + name, std::ios::binary | std::ios::app)
            .write(bytes + skip, static_cast<std::ptrdiff_t>(events.size() * sizeof(input_event)) - skip - cut);
    }
    // All that wait; a wait would not end then.
    static Read ReadAll(mwin::EvdevKeys& keys) {
        Read read;
        mwin::KeyEvent event{};
        while (keys.Read(event))
            read.emplace_back(event.virtual_key, event.kind);
        EXPECT_FALSE(IsReadable(keys));
        return read;
    }
    static bool IsReadable(const mwin::EvdevKeys& keys) {
        std::vector<pollfd> files;
        for (const int fd : keys.Descriptors())
            files.push_back({fd, POLLIN, 0});
        return poll(files.data(), files.size(), 0) > 0;
    }
    std::string directory = testing::TempDir() + "inputXXXXXX";
};

TEST_F(KeyFiles, TheFirstMapThatIsThereCounts) {
    const std::string paths[] = {directory + "/none", directory + "/first", directory + "/second"};
    std::ofstream(paths[1]) << "enter = 30\nup 5\n";
    std::ofstream(paths[2]) << "enter = 31\n";
    testing::internal::CaptureStdout();
    const mwin::KeyMap map = mwin::LoadKeyMap({paths, paths + 3});
    EXPECT_EQ(map.VirtualKeyOf(30), VK_RETURN);
    EXPECT_EQ(map.VirtualKeyOf(31), 0);
    EXPECT_EQ(mwin::LoadKeyMap({directory}).VirtualKeyOf(KEY_ENTER), VK_RETURN) << "a folder";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              paths[1] + ":2: expected KEY = CODE...\nCan't read file " + directory + "\n");
}

TEST_F(KeyFiles, EventsFollowTheMapAlsoInPiecesAndAfterLosses) {
    AddDevice("event0");
    AddDevice("mouse0");
    mwin::KeyMap map;
    ReadInto(map, "enter = " + std::to_string(KEY_VOLUMEUP));
    mwin::EvdevKeys keys(directory, map);
    EXPECT_EQ(ReadAll(keys), Read{});
    const std::vector<input_event> up{Key(KEY_UP, 1), Key(KEY_UP, 2), Key(KEY_UP, 0)};
    Send("event0", up, 0, 5);
    EXPECT_TRUE(IsReadable(keys));
    EXPECT_EQ(ReadAll(keys), (Read{{VK_UP, Kind::Press}, {VK_UP, Kind::Repeat}}));
    Send("event0", up, 3 * sizeof(input_event) - 5);
    EXPECT_EQ(ReadAll(keys), (Read{{VK_UP, Kind::Release}}));
    Send("event0",
         {Key(KEY_ENTER, 1), Key(KEY_LEFT, 1, EV_REL), Key(KEY_LEFT, 7), Key(KEY_UP, -1), Key(KEY_VOLUMEUP, 1),
          Key(SYN_DROPPED, 0, EV_SYN), Key(KEY_F1, 1), Key(SYN_REPORT, 0, EV_SYN), Key(KEY_F2, 1)});
    EXPECT_EQ(ReadAll(keys), (Read{{VK_RETURN, Kind::Press}, {VK_F2, Kind::Press}}));
    Send("event0", std::vector<input_event>(1000, Key(KEY_F3, 2)));  // more than one read takes in
    EXPECT_EQ(ReadAll(keys).size(), 1000U);
}

TEST_F(KeyFiles, DevicesComeAndGo) {
    mwin::EvdevKeys keys(directory);
    EXPECT_EQ(ReadAll(keys), Read{});
    AddDevice("event0");
    EXPECT_TRUE(IsReadable(keys));  // ends a wait
    EXPECT_EQ(ReadAll(keys), Read{});
    Send("event0", {Key(KEY_UP, 1)});
    EXPECT_EQ(ReadAll(keys).size(), 1U);
    const std::size_t with_device = keys.Descriptors().size();
    fs::remove(directory + "/event0");
    EXPECT_EQ(ReadAll(keys), Read{});
    EXPECT_EQ(keys.Descriptors().size(), with_device - 1);
    AddDevice("event0");  // the same name anew
    AddDevice("event7");
    EXPECT_EQ(ReadAll(keys), Read{});
    Send("event0", {Key(KEY_DOWN, 1)});
    Send("event7", {Key(KEY_LEFT, 1)});
    EXPECT_EQ(ReadAll(keys).size(), 2U);
    mwin::EvdevKeys nowhere(directory + "/missing");
    EXPECT_EQ(ReadAll(nowhere), Read{});
    EXPECT_TRUE(nowhere.Descriptors().empty());
}

volatile std::sig_atomic_t g_signals = 0;

TEST(LinuxClock, WaitsForKeysWakesAndSignals) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    mwin::LinuxClock clock([&] { return std::vector<int>{pipe_ends[0]}; });
    const std::uint32_t start = clock.TickCount();
    EXPECT_NE(start, 0U);
    clock.Wait(0);
    clock.Wait(3);
    EXPECT_GE(clock.TickCount() - start, 2U);
    clock.Wake();  // before the wait
    clock.Wait(-1);
    std::thread waker([&] { clock.Wake(); });
    clock.Wait(-1);
    waker.join();

    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    for (const int signal : {SIGINT, SIGTERM})
        sigaddset(&blocked, signal);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    for (const int signal : {SIGINT, SIGTERM, SIGINT}) {
        const auto handler = std::signal(signal, [](int) { g_signals = g_signals + 1; });
        const int already = g_signals;
        raise(signal);
        EXPECT_EQ(g_signals, already) << "open only while the clock waits";
        clock.Wait(-1);
        EXPECT_EQ(g_signals, already + 1);
        std::signal(signal, handler);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(write(pipe_ends[1], "k", 1), 1);
    clock.Wait(-1);
    for (const int end : pipe_ends)
        close(end);
}

}  // namespace
}  // namespace mwin_test
