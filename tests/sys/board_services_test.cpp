#include <gmock/gmock.h>

#include "sys/board_config.h"
#include "sys/debug.h"
#include "sys/varno_sv_utils.h"
#include "tests/support/fake_kernel.h"

namespace {

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kTvLine = std::to_string(Varno::Board::kTvDetectGpio);
const std::string kUsbLine = std::to_string(Varno::Board::kUsbResetGpio);

class BoardServices : public testing::Test {
  protected:
    BoardServices() { CaptureStdout(); }
    ~BoardServices() override {
        GetCapturedStdout();
        EXPECT_EQ(kernel.OpenFiles(), 0);
    }
    // What was printed since the last look.
    static std::string Printed() {
        std::string printed = GetCapturedStdout();
        CaptureStdout();
        return printed;
    }

    support::FakeKernel kernel;
};

TEST_F(BoardServices, LoggerPrefixesByLevel) {
    const char* prefixes[] = {"Warn: ", "Warn: ", "Error: ", " ", "(null) "};
    for (int level = 0; level < 5; ++level) {
        errno = EBUSY;
        EXPECT_EQ(varno_printf(static_cast<DEBUGLEVEL>(level), "%s:%d %s\n", "f", 7, "x"), 6);
        EXPECT_EQ(errno, EBUSY);
        EXPECT_EQ(Printed(), std::string(prefixes[level]) + "f:7 x\n");
    }
}

TEST_F(BoardServices, Leds) {
    constexpr char kFile[] = "/sys/class/leds/Green_LED/brightness";
    EXPECT_FALSE(Varno::SetLEDValue("Green_LED", 255));
    EXPECT_EQ(Varno::GetLEDValue("Green_LED"), -1);
    const std::string missing = std::string("Can't open file ") + kFile + "\n";
    EXPECT_EQ(Printed(), missing + missing);
    kernel.Put(kFile, "70\n");
    EXPECT_EQ(Varno::GetLEDValue("Green_LED"), 70);
    for (const char* value : {"255", "0"}) {
        EXPECT_TRUE(Varno::SetLEDValue("Green_LED", std::atoi(value)));
        EXPECT_EQ(kernel.Get(kFile), value);
        EXPECT_EQ(Printed(), std::string("val:") + value + "\n");
    }
}

TEST_F(BoardServices, OutputTypeFollowsThePanelName) {
    EXPECT_EQ(Varno::GetOutputType(), 0);
    const std::pair<const char*, int> cases[] = {{"lcd_panel=ili9341\n", 1},
                                                 {"lcd_panel=ili9341\nmore\n", 1},
                                                 {"lcd_panel=ili9341", 0},
                                                 {"lcd_panel=tvenc_pal\n", 0},
                                                 {"\nlcd_panel=ili9341\n", 0},
                                                 {"lcd_panel=ili93410\n", 0},
                                                 {"", 0},
                                                 {"\n", 0}};
    for (const auto& [text, type] : cases) {
        kernel.Put("/etc/lcdparams", text);
        EXPECT_EQ(Varno::GetOutputType(), type) << text;
    }
}

TEST_F(BoardServices, TvCable) {
    const std::string gpio = "/sys/class/gpio/gpio" + kTvLine;
    EXPECT_FALSE(Varno::CheckTVoutWire()) << "no such line";
    EXPECT_THAT(kernel.Commands(),
                ElementsAre("echo " + kTvLine + " > /sys/class/gpio/export", "echo IN > " + gpio + "/direction"));
    const std::string with = std::to_string(Varno::Board::kTvCablePresentLevel);
    const std::string without = std::to_string(1 - Varno::Board::kTvCablePresentLevel);
    const std::pair<std::string, bool> cases[] = {
        {with + "\n", true}, {without + "\n", false}, {"", false}, {with, true}};
    for (const auto& [text, present] : cases) {
        Printed();
        kernel.Put(gpio + "/value", text);
        EXPECT_EQ(Varno::CheckTVoutWire(), present) << text;
        EXPECT_THAT(Printed(), testing::ContainsRegex("^CheckTVoutWire:[0-9]+ TV out Line: [01]?\n$"));
    }
}

TEST_F(BoardServices, NextRegisters) {
    constexpr char kFile[] = "/sys/devices/platform/mxs-pxp.0/nextreg_state";
    RefreshNextReg();
    EXPECT_EQ(Printed(), std::string("Can't open file ") + kFile + "\n");
    kernel.Put(kFile, "0123");
    RefreshNextReg();
    EXPECT_EQ(kernel.Get(kFile), std::string("1\0", 2));
}

TEST_F(BoardServices, OtgRoleIsTheAnswerOfTheCall) {
    EXPECT_TRUE(Varno::IsOtgHost()) << "no device";
    kernel.Put("/dev/fsl_otg", "");
    for (const int answer : {0, 1, -1}) {
        kernel.on_ioctl = [answer](const std::string&, unsigned long request, void* state) {
            *static_cast<int*>(state) = 77;
            return request == 0x80044201 ? answer : 99;
        };
        EXPECT_EQ(Varno::IsOtgHost(), answer != 0) << answer;
    }
}

TEST_F(BoardServices, UsbStorageGadgetAndReset) {
    const auto start = kernel.Monotonic();
    Varno::StartUSBStorage();
    Varno::StopUSBStorage();
    ResetUSB();
    const std::string gpio = "/sys/class/gpio/gpio" + kUsbLine;
    std::vector<std::string> commands = {"/sbin/modprobe -r g_file_storage",
                                         "echo " + kUsbLine + " > /sys/class/gpio/export",
                                         "echo out > " + gpio + "/direction"};
    std::chrono::nanoseconds duration = Varno::Board::kUsbResetSettle;
    for (const int level : Varno::Board::kUsbResetLevels) {
        commands.push_back("echo " + std::to_string(level) + " > " + gpio + "/value");
        duration += Varno::Board::kUsbResetHold;
    }
    EXPECT_EQ(kernel.Commands(), commands);
    EXPECT_EQ(kernel.Monotonic() - start, duration);
    EXPECT_THAT(Printed(), testing::HasSubstr("^^^ " + commands.back() + " ^^^\n^^^ResetUSB  0^^^\n"));
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
    const struct {
        std::size_t (*call)(char*, const char*, std::size_t);
        const char* source;
        std::size_t size, answer;
        const char* result;
    } steps[] = {{Varno::strlcpy, "abcdef", 4, 6, "abc"}, {Varno::strlcat, "de", 5, 5, "abcd"},
                 {Varno::strlcpy, "", 5, 0, ""},          {Varno::strlcat, "xy", 5, 2, "xy"},
                 {Varno::strlcpy, "abc", 0, 3, "xy"},     {Varno::strlcat, "abc", 1, 4, "xy" /* no end within 1 */}};
    char buffer[5] = "zzzz";
    for (const auto& step : steps) {
        EXPECT_EQ(step.call(buffer, step.source, step.size), step.answer) << "step " << &step - steps;
        EXPECT_STREQ(buffer, step.result) << "step " << &step - steps;
    }
}

}  // namespace
