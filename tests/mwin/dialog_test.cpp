#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

// Runs a dialog whose procedure is the script; messages are written down under the name.
struct Dialog {
    std::string name;
    Handler script;
    HWND window = nullptr;

    int Run(HWND parent = nullptr) {
        return DialogBoxParam(nullptr, MAKEINTRESOURCE(0xFFFF0067), parent, Procedure, reinterpret_cast<LPARAM>(this));
    }
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
        if (message == WM_INITDIALOG) {
            SetWindowLong(window, 8, lparam);
            auto* dialog = reinterpret_cast<Dialog*>(lparam);
            dialog->window = window;
            SetWindowText(window, dialog->name.c_str());
        }
        auto* dialog = reinterpret_cast<Dialog*>(GetWindowLong(window, 8));
        if (dialog == nullptr) return 0;
        NoteIfWatched(window, message);
        return dialog->script ? dialog->script(window, message, wparam, lparam) : 0;
    }
};

// Answers the dialog-code question, and ends with the key that was pressed, or with 1000 and a command.
Handler EndsWithKey(LRESULT code = 137) {
    return [=](HWND w, UINT message, WPARAM wparam, LPARAM) -> LRESULT {
        if (message == WM_KEYDOWN) EndDialog(w, static_cast<int>(wparam));
        if (message == WM_COMMAND) EndDialog(w, 1000 + LOWORD(wparam));
        return message == WM_GETDLGCODE ? code : 0;
    };
}

class DialogTest : public WindowSystemTest {
  protected:
    DialogTest() {
        g_watched = {
            {WM_INITDIALOG, "init"}, {WM_DESTROY, "destroy"}, {WM_KEYDOWN, "keydown"}, {WM_COMMAND, "command"}};
        TakeLog();
    }
    // Does something from a message handler, when there is nothing else to do.
    void WhenIdle(const std::function<void()>& task) {
        clock.steps.emplace_back([this, task] {
            g_handlers[helper] = On(WM_USER, [task](HWND) { task(); });
            PostMessage(helper, WM_USER, 0, 0);
        });
    }
    void TypeWhenIdle(int key) {
        WhenIdle([this, key] { keys.Type(key); });
    }
    void TellWhenIdle(const Dialog& dialog, UINT message) {
        WhenIdle([&dialog, message] { PostMessage(dialog.window, message, 0, 0); });
    }
    HWND helper = CreateProbe("helper", nullptr, {0, 0, 1, 1}, WS_POPUP);
};

TEST_F(DialogTest, IsAFullScreenWindowThatKeepsItsParentAndTheKeysUntilItEnds) {
    HWND main = CreateProbe("main", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kRed);
    HWND child = CreateProbe("child", main, {0, 0, 9, 9});
    for (HWND parent : {main, child, static_cast<HWND>(nullptr), GetDesktopWindow()}) {
        SetFocus(child);
        TakeLog();
        Dialog dialog{"d", [](HWND w, UINT message, WPARAM wparam, LPARAM) -> LRESULT {
                          const RECT all{0, 0, 320, 240};
                          if (message == WM_ERASEBKGND) FastFillRect(reinterpret_cast<HDC>(wparam), &all, kGreen);
                          if (message != WM_INITDIALOG) return 0;
                          EXPECT_FALSE(IsWindowVisible(w));
                          SetFocus(CreateProbe("inside", w, {0, 0, 9, 9}));
                          return 0;
                      }};
        WhenIdle([&] {
            EXPECT_TRUE(GetFocus() == dialog.window && GetActiveWindow() == dialog.window);
            EXPECT_EQ(IsWindowEnabled(main) != FALSE, parent == nullptr || parent == GetDesktopWindow());
            EXPECT_TRUE(IsWindowEnabled(GetDesktopWindow()));
            // Windows below a dialog get no keys and stay below, whatever they try.
            EXPECT_TRUE(SetFocus(child) == nullptr && SetActiveWindow(main) == nullptr);
            BringWindowToTop(main);
            RunUntilIdle();
            EXPECT_TRUE(At(10, 10) == kGreenPixel && At(319, 239) == kGreenPixel);
            EndDialog(dialog.window, 5);
        });
        EXPECT_EQ(dialog.Run(parent), 5);
        EXPECT_THAT(TakeLog(), ElementsAre("d:init", "d:destroy", "inside:destroy"));
        EXPECT_FALSE(IsWindow(dialog.window));
        EXPECT_TRUE(IsWindowEnabled(main) && GetFocus() == child && GetActiveWindow() == main);
        RunUntilIdle();
        EXPECT_EQ(At(160, 120), kRedPixel) << "what it covered";
    }
    EXPECT_EQ(DialogBoxParam(nullptr, nullptr, nullptr, nullptr, 0), -1);
}

TEST_F(DialogTest, KeysAreEitherKeyDownsOrCommandsUnlessAControlWantsThem) {
    constexpr LRESULT kNoControl = -1;
    // What the dialog and the control with the focus want, the key, the dialog's result.
    for (const auto& [code, child_code, key, result] :
         Table<LRESULT, LRESULT, int, int>{{137, kNoControl, VK_RETURN, VK_RETURN},
                                           {137, kNoControl, VK_ESCAPE, VK_ESCAPE},
                                           {5, kNoControl, VK_RETURN, VK_RETURN},
                                           {0, kNoControl, VK_UP, VK_UP},
                                           {0, kNoControl, VK_RETURN, 1000 + IDOK},
                                           {0, kNoControl, VK_ESCAPE, 1000 + IDCANCEL},
                                           {137, DLGC_WANTALLKEYS, VK_F3, -VK_F3},
                                           {137, DLGC_WANTCHARS, '7', -'7'},
                                           {137, DLGC_WANTARROWS, VK_UP, -VK_UP},
                                           {137, DLGC_WANTARROWS, VK_RETURN, VK_RETURN},
                                           {137, 0, VK_F3, VK_F3}}) {
        Dialog dialog{"d", EndsWithKey(code)};
        WhenIdle([&, child_code = child_code, key = key] {
            if (child_code != kNoControl) {
                HWND child = CreateProbe("child", dialog.window, {0, 0, 9, 9});
                g_handlers[child] = [&, child_code](HWND, UINT message, WPARAM pressed, LPARAM) -> LRESULT {
                    const UINT awaited = child_code == DLGC_WANTCHARS ? WM_CHAR : WM_KEYDOWN;
                    if (message == awaited) EndDialog(dialog.window, -static_cast<int>(pressed));
                    return message == WM_GETDLGCODE ? child_code : 0;
                };
                SetFocus(child);
            }
            keys.Type(key);
        });
        TakeLog();
        EXPECT_EQ(dialog.Run(), result) << code << ' ' << child_code << ' ' << key;
        EXPECT_TRUE(child_code != kNoControl || g_log.size() == 3) << "init, one message for the key, destroy";
    }
}

TEST_F(DialogTest, EndingAnOuterDialogUnwindsTheInnerOnes) {
    Dialog innermost{"innermost", nullptr};
    Dialog inner{"inner", On(WM_USER, [&](HWND w) { EXPECT_EQ(innermost.Run(w), 0); })};
    Dialog outer{"outer", On(WM_USER, [&](HWND w) { EXPECT_EQ(inner.Run(w), 0); })};
    const std::pair<int, std::function<void()>> ends[] = {{3, [&] { EndDialog(outer.window, 3); }},
                                                          {0, [&] { PostMessage(outer.window, WM_QUIT, 0, 0); }},
                                                          {0, [&] { DestroyWindow(outer.window); }},
                                                          {0, [&] { PostQuitMessage(0); }}};
    for (const auto& [result, end] : ends) {
        TellWhenIdle(outer, WM_USER);
        TellWhenIdle(inner, WM_USER);
        WhenIdle(end);
        EXPECT_EQ(outer.Run(), result);
        // Destroyed from the outside, a window tells those that it owns after itself.
        EXPECT_EQ(TakeLog(), &end == &ends[2].second ? (Log{"outer:init", "inner:init", "innermost:init",
                                                            "outer:destroy", "inner:destroy", "innermost:destroy"})
                                                     : (Log{"outer:init", "inner:init", "innermost:init",
                                                            "innermost:destroy", "inner:destroy", "outer:destroy"}));
        Dialog next{"next", EndsWithKey()};
        TypeWhenIdle(VK_F1);
        EXPECT_EQ(next.Run(), VK_F1) << "a quit request outlived the main loop";
        TakeLog();
    }
}

TEST_F(DialogTest, AQuitMessagePostedToAClosingDialogDiesWithIt) {
    Dialog note{"note", EndsWithKey()};
    Dialog inner{"inner", On(WM_USER, [&](HWND w) {
                     EndDialog(w, 6);
                     PostMessage(w, WM_QUIT, 0, 0);
                     EXPECT_EQ(note.Run(), VK_F2) << "opened by the handler that ended its own dialog";
                 })};
    Dialog outer{"outer", On(WM_USER, [&](HWND w) { EXPECT_EQ(inner.Run(w), 6); })};
    TellWhenIdle(outer, WM_USER);
    TellWhenIdle(inner, WM_USER);
    TypeWhenIdle(VK_F2);
    WhenIdle([&] { EndDialog(outer.window, 9); });
    EXPECT_EQ(outer.Run(), 9);
}

TEST_F(DialogTest, EndingDuringInitialisationAndByTheDefaultProcedure) {
    Dialog ending{"d", On(WM_INITDIALOG, [](HWND w) { EndDialog(w, 4); })};
    EXPECT_EQ(ending.Run(), 4);
    Dialog destroying{"d", On(WM_INITDIALOG, [](HWND w) { DestroyWindow(w); })};
    EXPECT_EQ(destroying.Run(), 0);
    Dialog closing{"d", nullptr};
    TellWhenIdle(closing, WM_CLOSE);
    EXPECT_EQ(closing.Run(), IDCANCEL) << "closing cancels";
    EXPECT_THAT(TakeLog(), ElementsAre("d:init", "d:destroy", "d:init", "d:destroy", "d:init", "d:destroy"));
}

}  // namespace
}  // namespace mwin_test
