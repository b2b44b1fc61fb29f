// The message box and the warnings.
#include "tests/ui/ui_fixture.h"
#include "ui/base/varno_ui_dlg_msg_box.h"
#include "ui/base/varno_ui_dlg_warning.h"

namespace ui_test {
namespace {

class MessageTest : public UiTest {
  protected:
    MessageTest() {
        kernel.Put("/dev/fsl_otg", "");
        kernel.Put("/sys/power/poweroff_state", "0\n");
        kernel.on_ioctl = [this](const std::string&, unsigned long, void*) { return usb_host ? 0 : 1; };
        kernel.on_sleep = [this] { shown = 320 * 240 - Count({0, 0, 320, 240}, kKeyPixel); };
        settings.InitFSLOTG();
    }
    ~MessageTest() override { settings.DeinitFSLOTG(); }

    int Warn(int kind, HINSTANCE instance = Instance()) {
        const std::unique_ptr<CVarnoUIDlgWarning> dialog(CVarnoUIDlgWarning::CreateNew(instance, parent));
        const int result = dialog->DoModal(static_cast<WaningBoxType>(kind));
        clock.DropSteps();
        return result;
    }

    bool usb_host = true;
    int shown = 0;  // pixels of the dialog at the last sleep
};

TEST_F(MessageTest, QuestionsAndNotesAreAnswered) {
    struct Case {
        UINT style;
        std::vector<int> keys;
        int answer;
        WPARAM command = 0;  // sent in the end
    };
    for (const Case& c :
         {Case{4, {VK_RETURN}, IDYES}, Case{4, {VK_LEFT, VK_RETURN}, IDNO}, Case{4, {VK_RIGHT, VK_RETURN}, IDNO},
          Case{4, {VK_RIGHT, VK_RIGHT, VK_RETURN}, IDYES},
          Case{4, {VK_LEFT, VK_RIGHT, VK_UP, VK_DOWN, VK_F4, VK_RETURN}, IDYES},
          Case{4, {VK_LEFT, VK_LEFT, VK_F1}, IDNO}, Case{0, {VK_RETURN}, IDNO},
          Case{0, {VK_LEFT, VK_ESCAPE, VK_F1}, IDNO}, Case{4, {}, IDYES, IDOK}, Case{4, {VK_LEFT}, IDNO, IDOK},
          Case{0, {VK_LEFT}, IDYES, IDOK}, Case{4, {}, IDNO, IDCANCEL}, Case{0, {}, IDYES, IDCANCEL}}) {
        std::string each;
        for (const int key : c.keys) {
            clock.WhenIdle([this, key] { keys.Type(key); });
            each += "test\n";
        }
        if (c.command != 0) clock.WhenIdle([&] { PostMessage(GetActiveWindow(), WM_COMMAND, c.command, 0); });
        Printed();
        EXPECT_EQ(VarnoMessageBox(parent, "Delete?", nullptr, c.style), c.answer) << testing::PrintToString(c.keys);
        EXPECT_EQ(Printed(), each + "CVarnoUIDialog::DestoryDialog\n~CVarnoUIDialog\n");
    }
}

// After a second F1 is pressed and the PC goes; then the clock runs on.
TEST_F(MessageTest, WarningsLeaveAsTheirKindSays) {
    for (const auto& [kind, result, milliseconds] : {std::tuple{WARNBOX_EXIT, 8, 1000U},
                                                     {WARNBOX_USB_DEVICE, 8, 2000U},
                                                     {WARNBOX_NoFiles, 6, 1000U},
                                                     {WARNBOX_NoSpace, 6, 1000U},
                                                     {WARNBOX_MAX, 8, 0U}}) {
        SCOPED_TRACE(kind);
        usb_host = true;
        const DWORD begin = GetTickCount();
        const auto slept = kernel.Monotonic();
        clock.WhenIdle([&] { keys.Type(VK_RETURN); });
        clock.WhenIdle([&] { clock.Advance(1000); });
        clock.WhenIdle([&] {
            usb_host = false;
            keys.Type(VK_F1);
        });
        clock.WhenIdle([&] { clock.Advance(1000); });
        EXPECT_EQ(Warn(kind), result);
        EXPECT_EQ(GetTickCount() - begin, milliseconds);
        EXPECT_EQ(kernel.Monotonic() - slept, std::chrono::seconds(milliseconds > 0 ? 3 : 0));
        EXPECT_EQ(Printed().find("Keyval:0xd\n") != std::string::npos, milliseconds > 0);
        EXPECT_EQ(GetActiveWindow(), parent);
    }
    EXPECT_EQ(Warn(WARNBOX_NoFiles, nullptr), -1);
}

// A key that waited already ends the dialog before it was painted.
TEST_F(MessageTest, WarningIsSeenInAnyCase) {
    keys.Type(VK_F1);
    EXPECT_EQ(Warn(WARNBOX_NoSpace), 6);
    EXPECT_EQ(shown, 320 * 240);
}

TEST_F(MessageTest, PowerOffDuringAWarningIsActedOnOnce) {
    const std::string command = "/usr/varno/mwsplash /usr/varno/img/bye.png";
    for (int i = 0; i < 2; ++i) {
        kernel.Put("/sys/power/poweroff_state", "1\n");
        for (int second = 0; second < 2; ++second)
            clock.WhenIdle([&] { clock.Advance(1000); });
        clock.WhenIdle([&] { keys.Type(VK_F1); });
        EXPECT_EQ(Warn(WARNBOX_NoFiles), 6);
        EXPECT_EQ(Printed().find("Run " + command + ",0\nSetPowerOffStatus\n") != std::string::npos, i == 0);
        EXPECT_EQ(kernel.Commands(), std::vector<std::string>{command});
    }
}

}  // namespace
}  // namespace ui_test
