#include <gmock/gmock.h>
#include <linux/watchdog.h>

#include <cmath>
#include <limits>

#include "app/mxs_watchdog.h"
#include "sys/board_config.h"
#include "sys/debug.h"
#include "sys/varno_sv_utils.h"
#include "tests/support/fake_kernel.h"
#include "tests/support/printed.h"

namespace {

using support::Printed;
constexpr char kNoPowerOff[] = "ERROR(No such file or directory): open /sys/power/poweroff_state.\n";

class BoardServices : public testing::Test {
  protected:
    ~BoardServices() override {
        EXPECT_EQ(kernel.OpenFiles(), 0);
        EXPECT_EQ(Descriptors(), before);
    }
    static std::ptrdiff_t Descriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    int PercentAt(long long millivolts) {
        kernel.Put("/sys/class/power_supply/battery/voltage_now", std::to_string(millivolts * 1000) + "\n");
        return Varno::GetBatteryPowerPercent();
    }
    support::FakeKernel kernel;
    const std::ptrdiff_t before = Descriptors();
};

TEST_F(BoardServices, LoggerPrefixesByLevel) {
    const char* prefixes[] = {"Warn: ", "Warn: ", "Error: ", " ", "(null) "};
    for (int level = 0; level < 5; ++level) {
        const std::string printed = Printed([&] {
            errno = EBUSY;
            EXPECT_EQ(varno_printf(static_cast<DEBUGLEVEL>(level), "%s:%d %m\n", "f", 7), 28);
            EXPECT_EQ(errno, EBUSY);
        });
        EXPECT_EQ(printed, std::string(prefixes[level]) + "f:7 Device or resource busy\n");
    }
}

TEST_F(BoardServices, BatteryPercentageAndItsRing) {
    const std::pair<long long, int> cases[] = {{-5, 0},    {1277, 0},   {1278, 0},           {1286, 0},
                                               {1294, 0},  {1308, 0},   {1309, 4},           {1662, 48},
                                               {1663, 48}, {2038, 96},  {2045, 96},          {2046, 100},
                                               {0, 0},     {2100, 100}, {4294967295LL, 100}, {99999999999LL, 100}};
    for (const auto& [millivolts, percent] : cases) {
        Varno::accul_index = 0;
        Varno::g_firstAdc = true;
        EXPECT_EQ(PercentAt(millivolts), percent) << "first reading " << millivolts;
    }
    // The first reading shows until the ring is full; then the mean of the last eight.
    Varno::accul_index = 0;
    for (int i = 1; i <= 7; ++i)
        EXPECT_EQ(PercentAt(i == 1 ? 1662 : 2046), 48) << "reading " << i;
    EXPECT_EQ(PercentAt(2046), 92);  // mean 1998
    EXPECT_EQ(PercentAt(2046), 100);
    EXPECT_EQ(PercentAt(1278), 84);  // mean 1950: 87.5 %
}

// Each file of the board may be missing, hold anything, or refuse to be read.
TEST_F(BoardServices, NodesThatAreRead) {
    const auto reads = [this](const std::string& file, int (*read)(), int missing, const std::string& complaint,
                              const std::vector<std::pair<const char*, int>>& contents) {
        EXPECT_EQ(Printed([&] { EXPECT_EQ(read(), missing) << file; }), complaint);
        for (const auto& [text, value] : contents) {
            kernel.Put(file, text);
            EXPECT_EQ(read(), value) << file << ": " << text;
        }
        std::filesystem::remove(kernel.Path(file));
        std::filesystem::create_directory(kernel.Path(file));
        EXPECT_EQ(Printed([&] { EXPECT_EQ(read(), missing) << file; }), "");
    };
    const auto voltage = [] { return static_cast<int>(Varno::GetBatteryVoltage()); };
    reads("/sys/class/power_supply/battery/voltage_now", voltage, 0, "",
          {{"2046000\n", 2046}, {"2046000", 204}, {"\n", 0}, {"", 0}, {"-1000\n", 0}, {"x\n", 0}, {"1999999\n", 1999}});
    reads("/sys/class/power_supply/usb/online", [] { return int{Varno::IsACOnline()}; }, 0, "",
          {{"1\n", 1}, {"0\n", 0}, {"", 0}, {"11\n", 0}});
    reads("/sys/power/poweroff_state", GetPowerOffStatus, -1, kNoPowerOff, {{"1\n", 1}, {"", 0}, {"-1\n", -1}});
    reads("/sys/class/leds/Red_LED/brightness", [] { return Varno::GetLEDValue("Red_LED"); }, -1,
          "Can't open file /sys/class/leds/Red_LED/brightness\n", {{"70\n", 70}});
    reads("/etc/lcdparams", Varno::GetOutputType, 0, "",
          {{"lcd_panel=ili9341\n", 1},
           {"lcd_panel=ili9341\nmore\n", 1},
           {"lcd_panel=ili9341", 0},
           {"", 0},
           {"\nlcd_panel=ili9341\n", 0},
           {"lcd_panel=ili93410\n", 0},
           {"lcd_panel=tvenc_pal\n", 0}});
    EXPECT_EQ(Varno::GetBatteryStatus(), 1);
}

TEST_F(BoardServices, NodesThatAreWritten) {
    const auto writes = [this](const std::string& file, int (*write)(), int written, int failed,
                               const std::string& content, const std::string& said, const std::string& complaint) {
        EXPECT_EQ(Printed([&] { EXPECT_EQ(write(), failed); }), complaint) << "missing";
        kernel.Put(file, "1\n");
        EXPECT_EQ(Printed([&] { EXPECT_EQ(write(), written); }), said);
        EXPECT_EQ(kernel.Get(file), content);
        std::filesystem::remove(kernel.Path(file));
        std::filesystem::create_symlink("/dev/full", kernel.Path(file));
        EXPECT_EQ(Printed([&] { EXPECT_EQ(write(), failed); }), said + (failed < 0 ? "" : complaint)) << "full";
    };
    writes(
        "/sys/class/leds/Green_LED/brightness", [] { return int{Varno::SetLEDValue("Green_LED", 255)}; }, 1, 0, "255",
        "val:255\n", "Can't open file /sys/class/leds/Green_LED/brightness\n");
    writes(
        "/sys/devices/platform/mxs-pxp.0/nextreg_state", [] { return RefreshNextReg(), 0; }, 0, 0,
        std::string("1\0", 2), "", "Can't open file /sys/devices/platform/mxs-pxp.0/nextreg_state\n");
    writes("/sys/power/poweroff_state", SetPowerOffStatus, 5, -1, std::string("0000\0", 5), "SetPowerOffStatus\n",
           kNoPowerOff);
}

TEST_F(BoardServices, TvCable) {
    const std::string number = std::to_string(Varno::Board::kTvDetectGpio);
    const std::string gpio = "/sys/class/gpio/gpio" + number;
    const std::string with = std::to_string(Varno::Board::kTvCablePresentLevel);
    const std::string without = std::to_string(1 - Varno::Board::kTvCablePresentLevel);
    for (const std::string& text : {std::string("no line"), std::string(), with + "\n", without, with}) {
        if (text != "no line") kernel.Put(gpio + "/value", text);
        EXPECT_THAT(Printed([&] { EXPECT_EQ(Varno::CheckTVoutWire(), text.substr(0, 1) == with) << text; }),
                    testing::MatchesRegex("CheckTVoutWire:[0-9]+ TV out Line: [01]?\n"));
    }
    EXPECT_EQ(kernel.Commands()[0], "echo " + number + " > /sys/class/gpio/export");
    EXPECT_EQ(kernel.Commands()[9], "echo IN > " + gpio + "/direction");
}

TEST_F(BoardServices, UsbRoleAndCommands) {
    EXPECT_TRUE(Varno::IsOtgHost()) << "no device";
    kernel.Put("/dev/fsl_otg", "");
    for (const int answer : {0, 1, -1}) {
        kernel.on_ioctl = [answer](const std::string&, unsigned long request, void* state) {
            *static_cast<int*>(state) = 77;
            return request == 0x80044201 ? answer : 99;
        };
        EXPECT_EQ(Varno::IsOtgHost(), answer != 0) << answer;
    }
    Varno::StartUSBStorage();
    Varno::StopUSBStorage();
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
    Varno::ReleaseVMCache(Varno::K_CACHE_ALL);
    const auto start = kernel.Monotonic();
    const std::string said = Printed([] { ResetUSB(); });
    const std::string number = std::to_string(Varno::Board::kUsbResetGpio);
    std::vector<std::string> commands = {
        "/sbin/modprobe -r g_file_storage", "echo 1 > /proc/sys/vm/drop_caches", "echo 3 > /proc/sys/vm/drop_caches",
        "echo " + number + " > /sys/class/gpio/export", "echo out > /sys/class/gpio/gpio" + number + "/direction"};
    std::chrono::nanoseconds duration = Varno::Board::kUsbResetSettle;
    for (const int level : Varno::Board::kUsbResetLevels) {
        commands.push_back("echo " + std::to_string(level) + " > /sys/class/gpio/gpio" + number + "/value");
        duration += Varno::Board::kUsbResetHold;
    }
    EXPECT_EQ(kernel.Commands(), commands);
    EXPECT_EQ(kernel.Monotonic() - start, duration);
    std::string steps;
    for (std::size_t i = 3; i < commands.size(); ++i)
        steps += "^^^ " + commands[i] + " ^^^\n^^^ResetUSB  0^^^\n";
    EXPECT_EQ(said, steps);
}

TEST_F(BoardServices, MountPoints) {
    EXPECT_EQ(Varno::GetMountpoint("/dev/loop0", "vfat"), "") << "no /proc";
    kernel.Put("/proc/mounts", R"(rootfs / rootfs rw 0 0
broken

/dev/loop0 /other ext3 rw 0 0
/dev/loop01 /wrong vfat rw 0 0
/dev/loop0 /media/nand\040disk\134a\011b\043c/ vfat rw,noatime 0 0
/dev/loop0 /media/second vfat rw 0 0
/dev/my\040disk /media/\04x\0 vfat rw 0 0
/dev/mmcblk0p1 /media/sd vfat rw)");
    EXPECT_EQ(Varno::GetMountpoint("/dev/loop0", "vfat"), "/media/nand disk\\a\tb#c/");
    EXPECT_EQ(Varno::GetMountpoint("/dev/loop0", "ext3"), "/other");
    EXPECT_EQ(Varno::GetMountpoint("/dev/loop0", "ext4") + Varno::GetMountpoint("", ""), "");
    EXPECT_EQ(Varno::GetMountpoint("/dev/my disk", "vfat"), "/media/\\04x\\0");
    EXPECT_EQ(Varno::GetMountpoint("/dev/mmcblk0p1", "vfat"), "/media/sd");
    EXPECT_EQ(Varno::GetNandDataPart(), "/media/nand disk\\a\tb#c");
}

// The lowest number counts; what is no whole disk is no card, and no card is no error.
TEST_F(BoardServices, FirstPartitionOfTheFirstCard) {
    for (const char* name : {"mmcblk2rpmb", "mmcblk0boot0", "mmcblk", "sda", "mmcblk99999999999999999999"})
        kernel.Put(std::string("/sys/block/") + name + "/size", "1\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(Varno::GetMMCBlockSysDir() + Varno::GetMMCFirstPartDev(), ""); }), "");
    for (const std::string disk : {"mmcblk10", "mmcblk2", "mmcblk0"}) {
        const std::string statistics = "/sys/block/" + disk + "/" + disk + "p1/stat";
        kernel.Put("/sys/block/" + disk + "/size", "1\n");
        EXPECT_EQ(Varno::GetMMCBlockSysDir(), "/sys/block/" + disk);
        EXPECT_EQ(Printed([] { EXPECT_EQ(Varno::GetMMCFirstPart(), ""); }),
                  "ERROR(No such file or directory): open " + statistics + ".\n");
        kernel.Put(statistics, "1 2 3\n");
        EXPECT_EQ(Varno::GetMMCFirstPartDev(), "/dev/" + disk + "p1");
        EXPECT_EQ(Varno::GetFirstMMCAvailableSpace(), -1) << "not mounted";
    }
    kernel.Put("/proc/mounts", "/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat rw 0 0\n");
    EXPECT_EQ(Varno::GetMMCFirstPart(), "/media/sd-mmcblk0p1");
}

TEST_F(BoardServices, FreeSpace) {
    std::string asked;
    struct statfs space {};
    kernel.on_statfs = [&](const char* path, struct statfs* result) {
        asked = path;
        *result = space;
        return 0;
    };
    for (const unsigned long long blocks : {0ULL, 1ULL, 3ULL, 2047ULL, 8ULL << 20, 1ULL << 32, ~0ULL}) {
        for (const long block_size : {0L, 1L, 511L, 512L, 1024L, 1L << 30}) {
            space.f_bavail = blocks;
            space.f_bsize = block_size;
            const double exact =
                std::floor((static_cast<double>(blocks) * static_cast<double>(block_size) + 512) / 1024);
            EXPECT_EQ(Varno::GetAvailDiskSpace("/media/x"), std::min<double>(exact, std::numeric_limits<int>::max()))
                << blocks << " * " << block_size;
            EXPECT_EQ(asked, "/media/x");
        }
    }
    EXPECT_EQ(Varno::GetAvailDiskSpace(""), -1);
    kernel.FailNth(support::FakeKernel::Call::StatFs, 1, EIO);
    EXPECT_EQ(Varno::GetAvailDiskSpace("/media/x"), -1);
    kernel.Put("/proc/mounts", "/dev/loop0 /media/nand vfat rw 0 0\n/dev/mmcblk0p1 /media/sd vfat rw 0 0\n");
    kernel.Put("/sys/block/mmcblk0/mmcblk0p1/stat", "");
    EXPECT_GT(Varno::GetUserNandAvailableSpace(), 0);
    EXPECT_EQ(asked, "/media/nand");
    EXPECT_GT(Varno::GetFirstMMCAvailableSpace(), 0);
    EXPECT_EQ(asked, "/media/sd");
}

// One test, because the watchdog is made once in a process.
TEST_F(BoardServices, WatchdogStartsKicksAndNeverTouchesAStrangersDescriptor) {
    std::vector<unsigned long> requests;
    std::map<unsigned long, int> set;  // by request
    int error = 0;
    kernel.on_ioctl = [&](const std::string& path, unsigned long request, void* argument) {
        EXPECT_EQ(path, "/dev/watchdog");
        requests.push_back(request);
        if (argument) set[request] = *static_cast<int*>(argument);
        errno = error;
        return error ? -1 : 0;
    };
    const auto taken = [&] { return std::exchange(requests, {}); };

    EXPECT_EQ(Printed([] { CMXSWatchdog::GetInstance(); }), "Initializing Watchdog\n");
    CMXSWatchdog& watchdog = CMXSWatchdog::GetInstance();
    EXPECT_FALSE(watchdog.IsStarted()) << "no such device";
    watchdog.KeepLive();
    EXPECT_FALSE(watchdog.IsStarted());

    kernel.Put("/dev/watchdog", "");
    watchdog.KeepLive();
    EXPECT_TRUE(watchdog.IsStarted());
    EXPECT_EQ(set[WDIOC_SETTIMEOUT], 30);
    EXPECT_THAT(taken(), testing::ElementsAre(WDIOC_SETTIMEOUT, WDIOC_KEEPALIVE));
    watchdog.KeepLive();
    EXPECT_THAT(taken(), testing::ElementsAre(WDIOC_KEEPALIVE));

    // A refused time-out is reported, and the watchdog counts as started.
    error = EINVAL;
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(watchdog.Start()); }), "Error(Invalid argument) WDIOC_SETTIMEOUT\n");
    EXPECT_EQ(set[WDIOC_SETOPTIONS], WDIOS_DISABLECARD);
    // A refused kick opens the device again.
    const std::size_t opened = kernel.Opened().size();
    watchdog.KeepLive();
    EXPECT_EQ(kernel.Opened().size(), opened + 1);
    EXPECT_EQ(kernel.OpenFiles(), 1);
    error = 0;

    // After a stop the number may be a stranger's.
    watchdog.Stop();
    EXPECT_TRUE(watchdog.IsStarted()) << "the number stays";
    kernel.Put("/dev/stranger", "");
    const int stranger = kernel.Open("/dev/stranger", O_RDWR);
    taken();
    watchdog.Stop();
    EXPECT_THAT(taken(), testing::IsEmpty());
    watchdog.KeepLive();
    EXPECT_THAT(taken(), testing::ElementsAre(WDIOC_SETTIMEOUT));
    EXPECT_EQ(kernel.OpenFiles(), 2);
    EXPECT_EQ(kernel.Close(stranger), 0);
    watchdog.Stop();
}

TEST(PathStrings, Paths) {
    const struct {
        const char *path, *trimmed, *base, *directory, *parent, *extension;
    } cases[] = {{"/media/sd/DCIM/a.AVI", "/media/sd/DCIM/a.AVI", "a.AVI", "/media/sd/DCIM", "/media/sd/DCIM", "AVI"},
                 {"/media/sd/ /", "/media/sd", " ", "/media/sd/ ", "/media", ""},
                 {"a.tar.gz", "a.tar.gz", "a.tar.gz", "", "", "gz"},
                 {"/v1.0/file", "/v1.0/file", "file", "/v1.0", "/v1.0", ""},
                 {"/a", "/a", "a", "", "/", ""},
                 {"/a//b//", "/a//b", "b", "/a//b/", "/a", ""},
                 {"/", "", "", "", "/", ""},
                 {"", "", "", "", "", ""},
                 {"x.", "x.", "x.", "", "", ""}};
    for (const auto& c : cases) {
        EXPECT_EQ(Varno::TrimDIR(c.path), c.trimmed) << c.path;
        EXPECT_EQ(Varno::Basename(c.path), c.base) << c.path;
        EXPECT_EQ(Varno::PathBasename(c.path), c.directory) << c.path;
        EXPECT_EQ(Varno::GetParentDIR(c.path), c.parent) << c.path;
        EXPECT_EQ(Varno::GetExtendFilename(c.path), c.extension) << c.path;
    }
    std::string text = "aZz@[`{-\xE9.jpg";
    Varno::StringToUpcase(text);
    EXPECT_EQ(text, "AZZ@[`{-\xE9.JPG");
    Varno::StringToLowcase(text += "A");
    EXPECT_EQ(text, "azz@[`{-\xE9.jpga");
    char buffer[5] = "zzzz";
    EXPECT_EQ(Varno::strlcpy(buffer, "abcdef", 4), 6U);
    EXPECT_EQ(Varno::strlcat(buffer, "de", 5), 5U);
    EXPECT_EQ(Varno::strlcpy(buffer, "xyz", 0), 3U);
    EXPECT_EQ(Varno::strlcat(buffer, "xyz", 1), 4U) << "no end within the first byte";
    EXPECT_STREQ(buffer, "abcd");
}

}  // namespace
