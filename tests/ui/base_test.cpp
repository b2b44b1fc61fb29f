// Base classes of controls and dialogs, and the helpers beside them.
#include <fstream>

#include "tests/ui/ui_fixture.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"
#include "ui/base/varno_ui_popup_dialog.h"

using testing::HasSubstr;

namespace ui_test {
namespace {

class PlainControl final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    using CMWUIBase::m_hHwnd;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override {
        if (msg == WM_ERASEBKGND) return FillBackground(hwnd, reinterpret_cast<HDC>(wparam));
        if (msg == WM_PAINT) ++paints;
        if (msg == WM_USER) return 7;
        return DefWindowProc(hwnd, msg, wparam, lparam);
    }
    int paints = 0;
};

TEST_F(UiTest, ControlIsAWindowOnlyBetweenInitAndDeinit) {
    PlainControl control(Instance(), parent, 10, 20, 30, 40);
    control.Show(SW_SHOW);
    EXPECT_FALSE(control.IsVisable());
    ASSERT_NE(control.MwRegisterUIControl(Instance(), "Plain"), 0);
    ASSERT_TRUE(control.Init());
    EXPECT_FALSE(control.IsVisable());
    HWND window = control.m_hHwnd;
    EXPECT_EQ(SendMessage(window, WM_USER, 0, 0), 7);
    RECT rect{};
    GetWindowRect(window, &rect);
    EXPECT_TRUE(rect.left == 10 && rect.top == 20 && rect.right == 40 && rect.bottom == 60);
    control.Show(SW_SHOW);
    EXPECT_TRUE(control.IsVisable());
    control.Deinit();
    EXPECT_FALSE(IsWindow(window));
    control.Deinit();
    control.Show(SW_SHOW);

    // The destructor takes an open window with it, without a call of the handler that is gone by then.
    HWND open = nullptr;
    {
        PlainControl other(Instance(), parent, 0, 0, 5, 5);
        other.MwRegisterUIControl(Instance(), "Plain");
        ASSERT_TRUE(other.Init());
        other.Show(SW_SHOW);
        open = other.m_hHwnd;
    }
    EXPECT_FALSE(IsWindow(open));

    PlainControl nameless(Instance(), parent, 0, 0, 5, 5);
    EXPECT_EQ(nameless.MwRegisterUIControl(Instance(), ""), 0);
    EXPECT_FALSE(nameless.Init());
}

TEST_F(UiTest, OnlyANewBackgroundColorRepaints) {
    PlainControl control(Instance(), parent, 10, 20, 30, 40);
    control.MwRegisterUIControl(Instance(), "Plain");
    ASSERT_TRUE(control.Init());
    control.Show(SW_SHOW);
    RunUntilIdle();
    control.paints = 0;
    control.SetBackgroundColor(0xFF112233);
    control.SetBackgroundColor(0xFF112233);
    EXPECT_EQ(control.paints, 1);
    control.SetBackgroundColor(kColorKey);
    EXPECT_EQ(control.paints, 2);
}

class TestDialog final : public CVarnoUIDialog {
  public:
    using CVarnoUIDialog::CVarnoUIDialog;
    using CVarnoUIDialog::m_hCaption;
    using CVarnoUIDialog::m_hFrame;
    using CVarnoUIDialog::m_hHwnd;
    void InitDialog() override {
        CVarnoUIDialog::InitDialog();
        window = m_hHwnd;
    }
    void DestoryDialog() override {
        CVarnoUIDialog::DestoryDialog();
        ++destroyed;
    }
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM /*lparam*/) override {
        ++messages;
        if (msg == WM_GETDLGCODE) return 137;
        if (msg == WM_KEYDOWN && wparam == VK_F1) EndDialog(hwnd, 42);
        return 0;
    }
    HWND window = nullptr;
    int destroyed = 0;
    int messages = 0;
};

TEST_F(UiTest, DialogFillsTheScreenUnderItsCaptionBand) {
    TestDialog dialog(Instance(), parent, 103);
    dialog.SetCaption("Setup");
    clock.WhenIdle([&] {
        RECT rect{};
        GetWindowRect(dialog.m_hHwnd, &rect);
        EXPECT_TRUE(rect.left == 0 && rect.top == 0 && rect.right == 320 && rect.bottom == 240);
        EXPECT_EQ(TextOf(dialog.m_hCaption), "Setup");
        GetWindowRect(dialog.m_hFrame, &rect);
        EXPECT_TRUE(rect.top == 38 && rect.right == 320 && rect.bottom == 240);
        EXPECT_EQ(screen.At(2, 2), 0xFF164273U);  // the band, blue first in the program's colour values
        EXPECT_EQ(screen.At(2, 37), 0xFF164273U);
        EXPECT_EQ(screen.At(2, 38), 0xFFFFFFFFU);  // the frame
        EXPECT_EQ(screen.At(319, 239), 0xFFFFFFFFU);
        EXPECT_GT(Count({80, 0, 240, 38}, 0xFFFFFFFF), 20);  // the caption's glyphs
        dialog.SetCaption("");
        EXPECT_EQ(TextOf(dialog.m_hCaption), "Setup");
        dialog.SetCaption("Media");
        dialog.SetCaption(nullptr);
        EXPECT_EQ(TextOf(dialog.m_hCaption), "Media");
        keys.Type(VK_F1);
    });
    EXPECT_EQ(dialog.DoModel(), 42);
    EXPECT_EQ(dialog.destroyed, 1);
    EXPECT_EQ(dialog.m_hHwnd, nullptr);
    EXPECT_FALSE(IsWindow(dialog.window));
    EXPECT_THAT(PrintedSoFar(), HasSubstr("CVarnoUIDialog::DestoryDialog\n"));
}

TEST_F(UiTest, DialogThatIsTakenDownHearsNothingMore) {
    auto dialog = std::make_unique<TestDialog>(Instance(), parent, 103);
    clock.WhenIdle([&] {
        HWND window = dialog->m_hHwnd;
        dialog->Destroy();
        EXPECT_EQ(dialog->destroyed, 1);
        EXPECT_EQ(dialog->m_hCaption, nullptr);
        const int messages = dialog->messages;
        SendMessage(window, WM_KEYDOWN, VK_F1, 0);
        SendMessage(window, WM_DESTROY, 0, 0);
        EXPECT_EQ(dialog->messages, messages);
        EXPECT_EQ(dialog->destroyed, 1);
        EndDialog(window, 5);
    });
    EXPECT_EQ(dialog->DoModel(), 5);
    EXPECT_EQ(dialog->destroyed, 1);

    // An object that is deleted while its window is open leaves the window without one.
    clock.WhenIdle([&] {
        HWND window = dialog->m_hHwnd;
        dialog.reset();
        SendMessage(window, WM_KEYDOWN, VK_F1, 0);
        EndDialog(window, 6);
    });
    EXPECT_EQ(dialog->DoModel(), 6);
    EXPECT_THAT(PrintedSoFar(), HasSubstr("~CVarnoUIDialog\n"));

    TestDialog nowhere(nullptr, parent, 103);
    EXPECT_EQ(nowhere.DoModel(), -1);
}

class TestPopup final : public CVarnoUIPopupDialog {
  public:
    using CVarnoUIPopupDialog::CVarnoUIPopupDialog;
    using CVarnoUIPopupDialog::m_hHwnd;
    void DestoryDialog() override { ++destroyed; }
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override {
        if (msg == WM_GETDLGCODE) return 5;
        if (msg == WM_KEYDOWN) EndDialog(hwnd, static_cast<int>(wparam));
        return DefWindowProc(hwnd, msg, wparam, lparam);
    }
    int destroyed = 0;
};

TEST_F(UiTest, PopupRunsModally) {
    {
        TestPopup popup(Instance(), parent);
        clock.WhenIdle([&] {
            EXPECT_TRUE(Visible(popup.m_hHwnd));
            keys.Type(VK_F2);
        });
        EXPECT_EQ(popup.DoModal(), VK_F2);
        EXPECT_EQ(popup.destroyed, 1);
        EXPECT_EQ(TestPopup(nullptr, parent).DoModal(), -1);
    }
    EXPECT_THAT(PrintedSoFar(), HasSubstr("CVarnoUIPopupDialog::~CVarnoUIPopupDialog\n"));
}

TEST_F(UiTest, BusyPictureIsShownOnceAndHiddenOnce) {
    ASSERT_TRUE(Varno::InitFunnelCtrl());
    const RECT place{140, 110, 180, 150};
    const int background = Count(place, kKeyPixel);
    Varno::ShowFunnel(true);
    Varno::ShowFunnel(true);
    EXPECT_LT(Count(place, kKeyPixel), background);
    Varno::ShowFunnel(false);
    EXPECT_EQ(Count(place, kKeyPixel), background);
    Varno::ShowFunnel(false);
    Varno::ShowFunnel(true);
    EXPECT_LT(Count(place, kKeyPixel), background);
    Varno::DeinitFunnelCtrl();
    EXPECT_EQ(Count(place, kKeyPixel), background);
}

TEST_F(UiTest, ResourceTexts) {
    const std::string lang = "test" + std::to_string(getpid());
    const std::string path = "varnosv_" + lang + ".res";
    std::ofstream(path) << "10001=Setup\nno text\n10002x=wrong\n=wrong\n10003=a=b\n10004=\n";
    EXPECT_TRUE(Varno::SetNewLanguageResFile(lang));
    std::filesystem::remove(path);
    EXPECT_EQ(Varno::LoadResString(10001), "Setup");
    EXPECT_EQ(Varno::LoadResString(10002), "");
    EXPECT_EQ(Varno::LoadResString(10003), "a=b");
    EXPECT_FALSE(Varno::SetNewLanguageResFile(lang));
    EXPECT_EQ(Varno::LoadResString(10001), "");
}

TEST_F(UiTest, PicturesAndBrushes) {
    EXPECT_EQ(Varno::LoadImage("img/none.gif"), nullptr);
    Varno::UnloadImage(nullptr);
    const Varno::Image image(Varno::LoadImage("img/rec.gif"));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->xvirtres, 49);
    EXPECT_EQ(Varno::SolidBrush(0xFF112233), Varno::SolidBrush(0xFF112233));
    EXPECT_NE(Varno::SolidBrush(0xFF112233), Varno::SolidBrush(0xFF112234));
}

}  // namespace
}  // namespace ui_test
