// The message box and the warnings.
#include <fcntl.h>

#include <filesystem>

#include "settings/varno_sv_setting.h"
#include "tests/ui/ui_fixture.h"
#include "ui/base/varno_ui_dlg_msg_box.h"
#include "ui/base/varno_ui_dlg_warning.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace ui_test {
namespace {

// In a folder of its own, where the settings file is made.
class MessageTest : public UiTest {
  protected:
    MessageTest() : checkout_(std::filesystem::current_path()) {
        kernel.Put("/dev/fsl_otg", "");
        kernel.Put("/sys/power/poweroff_state", "0\n");
        std::filesystem::create_directories(kernel.Path("/usr/varno"));
        std::filesystem::create_directory_symlink(checkout_ / "img", kernel.Path("/usr/varno/img"));
        std::filesystem::create_directory_symlink(checkout_ / "img", kernel.Root() + "/img");
        std::filesystem::current_path(kernel.Root());
        kernel.on_ioctl = [this](const std::string&, unsigned long, void*) { return usb_host ? 0 : 1; };
        CVarnoSVSetting::GetInstance().InitFSLOTG();
    }
    ~MessageTest() override {
        CVarnoSVSetting::GetInstance().DeinitFSLOTG();
        std::filesystem::current_path(checkout_);
    }

    // Types the keys one by one and returns the answer.
    int Ask(UINT style, const std::vector<int>& typed) {
        for (const int key : typed)
            clock.WhenIdle([this, key] { keys.Type(key); });
        return VarnoMessageBox(parent, "Delete?", "Delete", style);
    }
    int Warn(WaningBoxType kind, HWND owner = nullptr) {
        const std::unique_ptr<CVarnoUIDlgWarning> dialog(CVarnoUIDlgWarning::CreateNew(Instance(), owner));
        return dialog->DoModal(kind);
    }

    bool usb_host = true;

  private:
    const std::filesystem::path checkout_;
};

TEST_F(MessageTest, QuestionsAreAnsweredByKeys) {
    struct Case {
        UINT style;
        std::vector<int> keys;
        int answer;
    };
    for (const Case& c : {Case{4, {VK_RETURN}, IDYES}, Case{4, {VK_LEFT, VK_RETURN}, IDNO},
                          Case{4, {VK_RIGHT, VK_RETURN}, IDNO}, Case{4, {VK_RIGHT, VK_RIGHT, VK_RETURN}, IDYES},
                          Case{4, {VK_LEFT, VK_RIGHT, VK_UP, VK_DOWN, VK_F4, VK_RETURN}, IDYES}, Case{4, {VK_F1}, IDNO},
                          Case{4, {VK_LEFT, VK_LEFT, VK_F1}, IDNO}, Case{0, {VK_RETURN}, IDNO},
                          Case{0, {VK_LEFT, VK_ESCAPE, VK_F1}, IDNO}}) {
        PrintedSoFar();
        EXPECT_EQ(Ask(c.style, c.keys), c.answer);
        std::string each;
        for (std::size_t i = 0; i < c.keys.size(); ++i)
            each += "test\n";
        EXPECT_EQ(PrintedSoFar(), each + "CVarnoUIDialog::DestoryDialog\n~CVarnoUIDialog\n");
    }
    struct Command {
        UINT style;
        bool flipped;
        WPARAM id;
        int answer;
    };
    for (const Command& c :
         {Command{4, false, IDOK, IDYES}, Command{4, true, IDOK, IDNO}, Command{0, false, IDOK, IDYES},
          Command{4, false, IDCANCEL, IDNO}, Command{0, false, IDCANCEL, IDYES}}) {
        clock.WhenIdle([&, flipped = c.flipped, id = c.id] {
            if (flipped) SendMessage(GetActiveWindow(), WM_KEYDOWN, VK_LEFT, 0);
            PostMessage(GetActiveWindow(), WM_COMMAND, id, 0);
        });
        EXPECT_EQ(VarnoMessageBox(nullptr, nullptr, nullptr, c.style), c.answer) << c.style << " " << c.id;
    }
}

TEST_F(MessageTest, WarningsLeaveAsTheirKindSays) {
    EXPECT_EQ(Warn(WARNBOX_MAX), 8);
    const std::string ending = "CVarnoUIDlgWarning::DestoryDialog\nCVarnoUIPopupDialog::~CVarnoUIPopupDialog\n";
    for (const WaningBoxType kind : {WARNBOX_EXIT, WARNBOX_USB_DEVICE, WARNBOX_NoFiles, WARNBOX_NoSpace}) {
        SCOPED_TRACE(kind);
        PrintedSoFar();
        usb_host = true;
        const bool by_key = kind >= WARNBOX_NoFiles;
        const DWORD begin = GetTickCount();
        HWND dialog = nullptr;
        int shown = 0;
        std::chrono::nanoseconds slept{0};
        kernel.on_sleep = [&] { shown = 320 * 240 - Count({0, 0, 320, 240}, kKeyPixel); };
        clock.WhenIdle([&] {
            dialog = GetActiveWindow();
            for (const int key : {VK_RETURN, VK_ESCAPE, VK_LEFT})
                keys.Type(key);
        });
        clock.WhenIdle([&] { clock.Advance(1000); });
        clock.WhenIdle([&] {
            usb_host = false;
            keys.Type(VK_F1);
        });
        clock.WhenIdle([&] { clock.Advance(1000); });
        const auto before = kernel.Monotonic();
        EXPECT_EQ(Warn(kind, kind == WARNBOX_NoFiles ? parent : nullptr), by_key ? 6 : 8);
        slept = kernel.Monotonic() - before;
        clock.DropSteps();
        EXPECT_EQ(slept, std::chrono::seconds(3));
        EXPECT_EQ(shown, 320 * 240);
        EXPECT_EQ(GetTickCount() - begin, kind == WARNBOX_USB_DEVICE ? 2000U : 1000U);
        EXPECT_FALSE(IsWindow(dialog));
        EXPECT_EQ(GetActiveWindow(), parent);
        const std::string printed = PrintedSoFar();
        EXPECT_THAT(printed, testing::StartsWith("Keyval:0xd\nKeyval:0x1b\nKeyval:0x25\n"));
        EXPECT_EQ(printed.find("Return to normal mode.\n") != std::string::npos, kind == WARNBOX_USB_DEVICE);
        EXPECT_THAT(printed, EndsWith("WM_DESTROY\n" + ending));
    }
}

// A key that waited already ends the dialog before it was painted.
TEST_F(MessageTest, WarningIsSeenInAnyCase) {
    int shown = 0;
    kernel.on_sleep = [&] { shown = 320 * 240 - Count({0, 0, 320, 240}, kKeyPixel); };
    keys.Type(VK_F1);
    EXPECT_EQ(Warn(WARNBOX_NoSpace), 6);
    EXPECT_EQ(shown, 320 * 240);
}

TEST_F(MessageTest, PowerOffDuringAWarningIsActedOnOnce) {
    const std::string command = "/usr/varno/mwsplash /usr/varno/img/bye.png";
    for (int i = 0; i < 2; ++i) {
        kernel.Put("/sys/power/poweroff_state", "1\n");
        clock.WhenIdle([&] { clock.Advance(1000); });
        clock.WhenIdle([&] { clock.Advance(1000); });
        clock.WhenIdle([&] { keys.Type(VK_F1); });
        EXPECT_EQ(Warn(WARNBOX_NoFiles), 6);
    }
    const std::string printed = PrintedSoFar();
    EXPECT_THAT(printed, HasSubstr("Run " + command + ",0\nSetPowerOffStatus\n"));
    EXPECT_EQ(printed.find("SetPowerOffStatus"), printed.rfind("SetPowerOffStatus"));
    EXPECT_EQ(kernel.Commands(), std::vector<std::string>{command});
}

}  // namespace
}  // namespace ui_test
