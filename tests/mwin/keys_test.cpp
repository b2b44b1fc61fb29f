#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

#include "mwin/evdev_keys.h"
#include "mwin/linux_clock.h"
#include "mwin/windows.h"

namespace {

namespace fs = std::filesystem;
using Kind = mwin::KeyEvent::Kind;
using Read = std::vector<std::pair<int, Kind>>;

// A folder with pipes in the place of input devices.
class EvdevKeys : public testing::Test {
  protected:
    void SetUp() override {
        directory = testing::TempDir() + "inputXXXXXX";
        ASSERT_NE(mkdtemp(directory.data()), nullptr);
    }
    void TearDown() override { fs::remove_all(directory); }
    void AddDevice(const std::string& name) { ASSERT_EQ(mkfifo((directory + "/" + name).c_str(), 0600), 0); }
    static input_event Event(int type, int code, int value) {
        input_event event{};
        event.type = static_cast<std::uint16_t>(type);
        event.code = static_cast<std::uint16_t>(code);
        event.value = value;
        return event;
    }
    static input_event Key(int code, int value) { return Event(EV_KEY, code, value); }
    // Without the first `skip` and the last `cut` bytes.
    void Send(const std::string& name, const std::vector<input_event>& events, std::size_t skip = 0,
              std::size_t cut = 0) {
        const int fd = open((directory + "/" + name).c_str(), O_WRONLY | O_NONBLOCK);
        ASSERT_GE(fd, 0);
        const std::size_t size = events.size() * sizeof(input_event) - skip - cut;
        EXPECT_EQ(write(fd, reinterpret_cast<const char*>(events.data()) + skip, size), static_cast<ssize_t>(size));
        close(fd);
    }
    static Read ReadAll(mwin::EvdevKeys& keys) {
        Read read;
        mwin::KeyEvent event{};
        while (keys.Read(event))
            read.emplace_back(event.virtual_key, event.kind);
        return read;
    }
    static bool IsReadable(const mwin::EvdevKeys& keys) {
        std::vector<pollfd> files;
        for (const int fd : keys.Descriptors())
            files.push_back({fd, POLLIN, 0});
        return poll(files.data(), files.size(), 0) > 0;
    }
    std::string directory;
};

TEST_F(EvdevKeys, FollowTheirMap) {
    AddDevice("event0");
    mwin::KeyMap map;
    std::istringstream text("enter = " + std::to_string(KEY_VOLUMEUP));
    map.Read(text, "map");
    mwin::EvdevKeys keys(directory, map);
    Send("event0", {Key(KEY_ENTER, 1), Key(KEY_VOLUMEUP, 1)});
    EXPECT_EQ(ReadAll(keys), (Read{{VK_RETURN, Kind::Press}}));
}

TEST_F(EvdevKeys, MapsKeysAndKinds) {
    AddDevice("event0");
    AddDevice("mouse0");
    mwin::EvdevKeys keys(directory);
    EXPECT_TRUE(ReadAll(keys).empty());
    EXPECT_FALSE(IsReadable(keys));
    const std::pair<int, int> codes[] = {{KEY_ENTER, VK_RETURN}, {KEY_OK, VK_RETURN}, {KEY_SELECT, VK_RETURN},
                                         {KEY_LEFT, 37},         {KEY_UP, 38},        {KEY_RIGHT, 39},
                                         {KEY_DOWN, 40},         {KEY_F1, 112},       {KEY_F2, 113},
                                         {KEY_F3, 114},          {KEY_F4, 115},       {KEY_ESC, VK_ESCAPE}};
    for (const auto& [code, key] : codes) {
        Send("event0", {Key(code, 1), Event(EV_SYN, SYN_REPORT, 0), Key(code, 2), Key(code, 0)});
        EXPECT_TRUE(IsReadable(keys));
        EXPECT_EQ(ReadAll(keys), (Read{{key, Kind::Press}, {key, Kind::Repeat}, {key, Kind::Release}})) << code;
    }
    Send("event0", {Key(KEY_A, 1), Event(EV_REL, KEY_ENTER, 1), Key(KEY_ENTER, 7), Key(KEY_UP, -1)});
    EXPECT_TRUE(ReadAll(keys).empty());
    EXPECT_FALSE(IsReadable(keys));
}

TEST_F(EvdevKeys, EventsInPiecesAndLostEvents) {
    AddDevice("event1");
    mwin::EvdevKeys keys(directory);
    const std::vector<input_event> events{Key(KEY_UP, 1), Key(KEY_UP, 0)};
    Send("event1", events, 0, 5);
    EXPECT_EQ(ReadAll(keys), (Read{{VK_UP, Kind::Press}}));
    Send("event1", events, 2 * sizeof(input_event) - 5);
    EXPECT_EQ(ReadAll(keys), (Read{{VK_UP, Kind::Release}}));
    Send("event1", {Event(EV_SYN, SYN_DROPPED, 0), Key(KEY_F1, 1), Event(EV_SYN, SYN_REPORT, 0), Key(KEY_F2, 1)});
    EXPECT_EQ(ReadAll(keys), (Read{{VK_F2, Kind::Press}}));
    // More than one read takes in.
    Send("event1", std::vector<input_event>(1000, Key(KEY_F3, 2)));
    EXPECT_EQ(ReadAll(keys).size(), 1000U);
}

TEST_F(EvdevKeys, DevicesComeAndGo) {
    mwin::EvdevKeys keys(directory);
    EXPECT_TRUE(ReadAll(keys).empty());
    AddDevice("event0");
    EXPECT_TRUE(IsReadable(keys));  // ends a wait
    EXPECT_TRUE(ReadAll(keys).empty());
    Send("event0", {Key(KEY_UP, 1)});
    EXPECT_EQ(ReadAll(keys).size(), 1U);
    const std::size_t with_device = keys.Descriptors().size();
    fs::remove(directory + "/event0");
    EXPECT_TRUE(ReadAll(keys).empty());
    EXPECT_EQ(keys.Descriptors().size(), with_device - 1);
    AddDevice("event0");  // the same name anew
    AddDevice("event7");
    EXPECT_TRUE(ReadAll(keys).empty());
    Send("event0", {Key(KEY_DOWN, 1)});
    Send("event7", {Key(KEY_LEFT, 1)});
    EXPECT_EQ(ReadAll(keys).size(), 2U);
    EXPECT_FALSE(IsReadable(keys));
    mwin::EvdevKeys nowhere(directory + "/missing");
    EXPECT_TRUE(ReadAll(nowhere).empty());
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
    char byte = 0;
    EXPECT_EQ(write(pipe_ends[1], "k", 1), 1);
    clock.Wait(-1);
    EXPECT_EQ(read(pipe_ends[0], &byte, 1), 1);

    sigset_t blocked;
    sigset_t mask_before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &mask_before);
    int expected = 0;
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto handler = std::signal(signal, [](int) { g_signals = g_signals + 1; });
        raise(signal);
        EXPECT_EQ(g_signals, expected);
        clock.Wait(-1);
        EXPECT_EQ(g_signals, ++expected);
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        EXPECT_EQ(sigismember(&mask, signal), 1);
        std::signal(signal, handler);
    }
    pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
    close(pipe_ends[0]);
    close(pipe_ends[1]);
}

}  // namespace
