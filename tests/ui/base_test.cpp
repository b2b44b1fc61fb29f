// Base classes of controls and dialogs, the helpers beside them, the message box and the warnings.
#include "tests/ui/ui_fixture.h"
#include "ui/base/varno_ui_dlg_msg_box.h"
#include "ui/base/varno_ui_dlg_warning.h"

namespace ui_test {
namespace {

class PlainControl final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    using CMWUIBase::m_hHwnd;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override {
        if (msg == WM_PAINT) ++paints;
        return msg == WM_USER ? 7 : DefWindowProc(hwnd, msg, wparam, lparam);
    }
    int paints = 0;
};

TEST_F(UiTest, ControlIsAWindowOnlyBetweenInitAndDeinit) {
    auto control = std::make_unique<PlainControl>(Instance(), parent, 10, 20, 30, 40);
    EXPECT_EQ(control->MwRegisterUIControl(Instance(), ""), 0);
    EXPECT_FALSE(control->Init());
    EXPECT_NE(control->MwRegisterUIControl(Instance(), "Plain"), 0);
    // The destructor takes an open window with it, without a call of the handler that is gone by then.
    for (const bool by_destructor : {false, true}) {
        control->Show(SW_SHOW);
        EXPECT_FALSE(control->IsVisable());
        ASSERT_TRUE(control->Init());
        EXPECT_FALSE(control->IsVisable());
        HWND window = control->m_hHwnd;
        EXPECT_EQ(SendMessage(window, WM_USER, 0, 0), 7);
        RECT rect{};
        GetWindowRect(window, &rect);
        EXPECT_TRUE(rect.left == 10 && rect.top == 20 && rect.right == 40 && rect.bottom == 60);
        control->Show(SW_SHOW);
        EXPECT_TRUE(control->IsVisable());
        RunUntilIdle();
        control->paints = 0;
        for (const COLORREF color : {0xFF112233U, 0xFF112233U, kColorKey})
            control->SetBackgroundColor(color);
        EXPECT_EQ(control->paints, 2);
        if (by_destructor) control.reset();
        for (int i = 0; i < 2 && control != nullptr; ++i)
            control->Deinit();
        EXPECT_FALSE(IsWindow(window));
    }
}

class TestDialog final : public CVarnoUIDialog {
  public:
    using CVarnoUIDialog::CVarnoUIDialog;
    using CVarnoUIDialog::m_hCaption;
    using CVarnoUIDialog::m_hHwnd;
    LRESULT DialogProc(HWND /*hwnd*/, UINT /*msg*/, WPARAM /*wparam*/, LPARAM /*lparam*/) override {
        ++messages;
        return 0;
    }
    int messages = 0;
};

TEST_F(UiTest, DialogThatIsTakenDownHearsNothingMore) {
    auto dialog = std::make_unique<TestDialog>(Instance(), parent, 103);
    clock.steps.emplace_back([&] {
        for (const char* text : {"Media", "", static_cast<const char*>(nullptr)})
            dialog->SetCaption(text);
        EXPECT_EQ(TextOf(dialog->m_hCaption), "Media") << "an empty one leaves what is seen";
        HWND window = dialog->m_hHwnd;
        dialog->Destroy();
        EXPECT_EQ(dialog->m_hCaption, nullptr);
        const int messages = dialog->messages;
        SendMessage(window, WM_KEYDOWN, VK_F1, 0);
        SendMessage(window, WM_DESTROY, 0, 0);
        EXPECT_EQ(dialog->messages, messages);
        EndDialog(window, 5);
    });
    EXPECT_EQ(dialog->DoModel(), 5);
    EXPECT_EQ(Printed(), "CVarnoUIDialog::DestoryDialog\n");

    // An object that is deleted while its window is open leaves the window without one.
    clock.steps.emplace_back([&] {
        HWND window = dialog->m_hHwnd;
        dialog.reset();
        SendMessage(window, WM_KEYDOWN, VK_F1, 0);
        EndDialog(window, 6);
    });
    EXPECT_EQ(dialog->DoModel(), 6);
    EXPECT_EQ(Printed(), "CVarnoUIDialog::DestoryDialog\n~CVarnoUIDialog\n");

    EXPECT_EQ(TestDialog(nullptr, parent, 103).DoModel(), -1);
}

TEST_F(UiTest, ResourceTexts) {
    Varno::UnloadImage(Varno::LoadImage("img/none.gif"));
    kernel.Put("varnosv_test.res", "10001=Setup\nno text\n10002x=wrong\n=wrong\n10003=a=b\n10004=\n");
    EXPECT_TRUE(Varno::SetNewLanguageResFile("test"));
    EXPECT_EQ(Varno::LoadResString(10001) + Varno::LoadResString(10002) + Varno::LoadResString(10003), "Setupa=b");
    EXPECT_FALSE(Varno::SetNewLanguageResFile("none"));
    EXPECT_EQ(Varno::LoadResString(10001), "");
}

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
        clock.steps.clear();
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
            clock.steps.emplace_back([this, key] { keys.Type(key); });
            each += "test\n";
        }
        if (c.command != 0) clock.steps.emplace_back([&] { PostMessage(GetActiveWindow(), WM_COMMAND, c.command, 0); });
        Printed();
        EXPECT_EQ(VarnoMessageBox(parent, "Delete?", nullptr, c.style), c.answer) << testing::PrintToString(c.keys);
        EXPECT_EQ(Printed(), each + "CVarnoUIDialog::DestoryDialog\n~CVarnoUIDialog\n");
    }
}

// After a second F1 is pressed and the PC goes; then the clock goes on.
TEST_F(MessageTest, WarningsLeaveAsTheirKindSays) {
    for (int kind = WARNBOX_EXIT; kind <= WARNBOX_MAX; ++kind) {
        const unsigned milliseconds = kind == WARNBOX_MAX ? 0 : kind == WARNBOX_USB_DEVICE ? 2000 : 1000;
        SCOPED_TRACE(kind);
        usb_host = true;
        const DWORD begin = GetTickCount();
        const auto slept = kernel.Monotonic();
        clock.steps.emplace_back([&] { keys.Type(VK_RETURN); });
        clock.steps.emplace_back([&] { clock.now += 1000; });
        clock.steps.emplace_back([&] {
            usb_host = false;
            keys.Type(VK_F1);
        });
        clock.steps.emplace_back([&] { clock.now += 1000; });
        EXPECT_EQ(Warn(kind), kind == WARNBOX_NoFiles || kind == WARNBOX_NoSpace ? 6 : 8);
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
        clock.steps.emplace_back([&] { clock.now += 1000; });
        clock.steps.emplace_back([&] { keys.Type(VK_F1); });
        EXPECT_EQ(Warn(WARNBOX_NoFiles), 6);
        EXPECT_EQ(Printed().find("Run " + command + ",0\nSetPowerOffStatus\n") != std::string::npos, i == 0);
        EXPECT_EQ(kernel.Commands(), std::vector<std::string>{command});
    }
}

}  // namespace
}  // namespace ui_test
