#include <gmock/gmock.h>

#include "sys/board_config.h"
#include "sys/debug.h"
#include "sys/varno_sv_utils.h"
#include "tests/support/fake_kernel.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

TEST(Logger, PrefixesByLevel) {
    const struct {
        int level;
        const char* line;
    } cases[] = {
        {0, "Warn: f:7 x\n"}, {1, "Warn: f:7 x\n"}, {2, "Error: f:7 x\n"}, {3, " f:7 x\n"}, {4, "(null) f:7 x\n"}};
    for (const auto& c : cases) {
        CaptureStdout();
        errno = EBUSY;
        EXPECT_EQ(varno_printf(static_cast<DEBUGLEVEL>(c.level), "%s:%d %s\n", "f", 7, "x"), 6);
        EXPECT_EQ(errno, EBUSY);
        EXPECT_EQ(GetCapturedStdout(), c.line);
    }
}

TEST(Leds, ReadAndWriteBrightness) {
    support::FakeKernel kernel;
    constexpr char kFile[] = "/sys/class/leds/Green_LED/brightness";
    CaptureStdout();
    EXPECT_FALSE(Varno::SetLEDValue("Green_LED", 255));
    EXPECT_EQ(Varno::GetLEDValue("Green_LED"), -1);
    kernel.Put(kFile, "70\n");
    EXPECT_EQ(Varno::GetLEDValue("Green_LED"), 70);
    EXPECT_TRUE(Varno::SetLEDValue("Green_LED", 255));
    EXPECT_EQ(kernel.Get(kFile), "255");
    EXPECT_TRUE(Varno::SetLEDValue("Green_LED", 0));
    EXPECT_EQ(kernel.Get(kFile), "0");
    EXPECT_EQ(GetCapturedStdout(),
              "Can't open file /sys/class/leds/Green_LED/brightness\n"
              "Can't open file /sys/class/leds/Green_LED/brightness\nval:255\nval:0\n");
}

TEST(DisplayOutput, TypeFollowsThePanelName) {
    support::FakeKernel kernel;
    EXPECT_EQ(Varno::GetOutputType(), 0);
    const struct {
        const char* text;
        int type;
    } cases[] = {{"lcd_panel=ili9341\n", 1},
                 {"lcd_panel=ili9341\nmore\n", 1},
                 {"lcd_panel=ili9341", 0},
                 {"lcd_panel=lq035\n", 0},
                 {"lcd_panel=tvenc_pal\n", 0},
                 {"\nlcd_panel=ili9341\n", 0},
                 {"lcd_panel=ili93410\n", 0},
                 {"", 0},
                 {"\n", 0}};
    for (const auto& c : cases) {
        kernel.Put("/etc/lcdparams", c.text);
        EXPECT_EQ(Varno::GetOutputType(), c.type) << c.text;
    }
}

TEST(DisplayOutput, TvCable) {
    support::FakeKernel kernel;
    const std::string gpio = "/sys/class/gpio/gpio" + std::to_string(Varno::Board::kTvDetectGpio);
    EXPECT_FALSE(Varno::CheckTVoutWire()) << "no such line";
    EXPECT_THAT(kernel.Commands(), testing::ElementsAre("echo " + std::to_string(Varno::Board::kTvDetectGpio) +
                                                            " > /sys/class/gpio/export",
                                                        "echo IN > " + gpio + "/direction"));
    const std::string with = std::to_string(Varno::Board::kTvCablePresentLevel);
    const std::string without = std::to_string(1 - Varno::Board::kTvCablePresentLevel);
    for (const auto& [text, present] : std::vector<std::pair<std::string, bool>>{
             {with + "\n", true}, {without + "\n", false}, {"", false}, {with, true}}) {
        kernel.Put(gpio + "/value", text);
        CaptureStdout();
        EXPECT_EQ(Varno::CheckTVoutWire(), present) << text;
        EXPECT_THAT(GetCapturedStdout(), testing::ContainsRegex("^CheckTVoutWire:[0-9]+ TV out Line: [01]?\n$"));
    }
}

TEST(DisplayOutput, NextRegisters) {
    support::FakeKernel kernel;
    constexpr char kFile[] = "/sys/devices/platform/mxs-pxp.0/nextreg_state";
    CaptureStdout();
    RefreshNextReg();
    EXPECT_EQ(GetCapturedStdout(), std::string("Can't open file ") + kFile + "\n");
    kernel.Put(kFile, "0123");
    RefreshNextReg();
    EXPECT_EQ(kernel.Get(kFile), std::string("1\0", 2));
}

TEST(Usb, OtgRoleIsTheAnswerOfTheCall) {
    support::FakeKernel kernel;
    EXPECT_TRUE(Varno::IsOtgHost()) << "no device";
    kernel.Put("/dev/fsl_otg", "");
    for (const auto& [answer, host] : {std::pair{0, false}, {1, true}, {-1, true}}) {
        kernel.on_ioctl = [answer = answer](const std::string&, unsigned long request, void* state) {
            *static_cast<int*>(state) = 77;
            return request == 0x80044201 ? answer : 99;
        };
        EXPECT_EQ(Varno::IsOtgHost(), host) << answer;
    }
    EXPECT_EQ(kernel.OpenFiles(), 0);
}

TEST(Usb, StorageGadgetAndReset) {
    support::FakeKernel kernel;
    const auto start = kernel.Monotonic();
    Varno::StartUSBStorage();
    Varno::StopUSBStorage();
    CaptureStdout();
    ResetUSB();
    const std::string gpio = "/sys/class/gpio/gpio" + std::to_string(Varno::Board::kUsbResetGpio);
    std::vector<std::string> commands = {
        "/sbin/modprobe -r g_file_storage",
        "echo " + std::to_string(Varno::Board::kUsbResetGpio) + " > /sys/class/gpio/export",
        "echo out > " + gpio + "/direction"};
    std::chrono::nanoseconds duration = Varno::Board::kUsbResetSettle;
    for (const int level : Varno::Board::kUsbResetLevels) {
        commands.push_back("echo " + std::to_string(level) + " > " + gpio + "/value");
        duration += Varno::Board::kUsbResetHold;
    }
    EXPECT_EQ(kernel.Commands(), commands);
    EXPECT_EQ(kernel.Monotonic() - start, duration);
    EXPECT_THAT(GetCapturedStdout(), testing::HasSubstr("^^^ " + commands.back() + " ^^^\n^^^ResetUSB  0^^^\n"));
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
    std::string text = "aZ-\xE9.jpg";
    Varno::StringToUpcase(text);
    EXPECT_EQ(text, "AZ-\xE9.JPG");
    Varno::StringToLowcase(text);
    EXPECT_EQ(text, "az-\xE9.jpg");
}

TEST(PathStrings, ShellWordsAreWhatTheyWere) {
    for (const char* plain : {"/media/sd-mmcblk0p1/DCIM/5F3A1B2C.jpg", "20240131235959.avi", "a_b,c+d@e:f%g"})
        EXPECT_EQ(Varno::ShellWord(plain), plain);
    for (const char* text : {"", "a b", "it's", "''", "$(reboot)`id`\\", "a\nb\n", "\"*?[x]~#;&|<>!{}\"",
                             "\xC3\xA9\xB0\xA1", "-rf", "=x", "\t"}) {
        FILE* shell = popen(("printf %s.end -- " + Varno::ShellWord(text)).c_str(), "r");
        char answer[64] = {};
        fread(answer, 1, sizeof answer - 1, shell);
        EXPECT_EQ(pclose(shell), 0);
        EXPECT_EQ(answer, std::string("--.end") + text + ".end") << text;
    }
}

TEST(PathStrings, BoundedCopies) {
    char buffer[5] = "zzzz";
    EXPECT_EQ(Varno::strlcpy(buffer, "abcdef", 4), 6U);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(Varno::strlcat(buffer, "de", sizeof(buffer)), 5U);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(Varno::strlcpy(buffer, "", sizeof(buffer)), 0U);
    EXPECT_EQ(Varno::strlcat(buffer, "xy", sizeof(buffer)), 2U);
    EXPECT_STREQ(buffer, "xy");
    EXPECT_EQ(Varno::strlcpy(buffer, "abc", 0), 3U);
    EXPECT_STREQ(buffer, "xy");
    EXPECT_EQ(Varno::strlcat(buffer, "abc", 1), 4U) << "not terminated within its size";
    EXPECT_STREQ(buffer, "xy");
}

}  // namespace
