// Base classes of controls and dialogs, and the helpers beside them.
#include "tests/ui/ui_fixture.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"

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
    void DestoryDialog() override {
        CVarnoUIDialog::DestoryDialog();
        ++destroyed;
    }
    LRESULT DialogProc(HWND /*hwnd*/, UINT /*msg*/, WPARAM /*wparam*/, LPARAM /*lparam*/) override {
        ++messages;
        return 0;
    }
    int destroyed = 0;
    int messages = 0;
};

TEST_F(UiTest, DialogThatIsTakenDownHearsNothingMore) {
    auto dialog = std::make_unique<TestDialog>(Instance(), parent, 103);
    clock.WhenIdle([&] {
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
    EXPECT_EQ(dialog->destroyed, 1);
    EXPECT_EQ(Printed(), "CVarnoUIDialog::DestoryDialog\n");

    // An object that is deleted while its window is open leaves the window without one.
    clock.WhenIdle([&] {
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
    kernel.Put("varnosv_test.res", "10001=Setup\nno text\n10002x=wrong\n=wrong\n10003=a=b\n10004=\n");
    EXPECT_TRUE(Varno::SetNewLanguageResFile("test"));
    EXPECT_EQ(Varno::LoadResString(10001) + Varno::LoadResString(10002) + Varno::LoadResString(10003), "Setupa=b");
    EXPECT_FALSE(Varno::SetNewLanguageResFile("none"));
    EXPECT_EQ(Varno::LoadResString(10001), "");
}

}  // namespace
}  // namespace ui_test
