#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

using testing::ElementsAre;

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

using KeyAction = std::function<void(HWND, int)>;

void EndWithKey(HWND dialog, int key) {
    EndDialog(dialog, key);
}

// A script that answers the dialog-code question and does something at each key-down, or with 1000 and a command.
Handler OnKey(const KeyAction& action = EndWithKey, LRESULT code = 137) {
    return [=](HWND w, UINT message, WPARAM wparam, LPARAM) -> LRESULT {
        if (message == WM_GETDLGCODE) return code;
        if (message == WM_KEYDOWN) action(w, static_cast<int>(wparam));
        if (message == WM_COMMAND) action(w, 1000 + LOWORD(wparam));
        return 0;
    };
}

class DialogTest : public WindowSystemTest {
  protected:
    DialogTest() {
        g_watched = {{WM_INITDIALOG, "init"}, {WM_DESTROY, "destroy"}, {WM_KEYDOWN, "keydown"}, {WM_COMMAND, "command"},
                     {WM_CHAR, "char"},       {WM_QUIT, "quit"},       {WM_ENTERIDLE, "idle"}};
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
    void EndWhenIdle(const Dialog& dialog, int result) {
        WhenIdle([&dialog, result] { EndDialog(dialog.window, result); });
    }

    HWND helper = CreateProbe("helper", nullptr, {0, 0, 1, 1}, WS_POPUP);
};

TEST_F(DialogTest, IsAFullScreenWindowWithTheFocus) {
    CreateProbe("main", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kRed);
    Dialog dialog{"d", [this](HWND w, UINT message, WPARAM wparam, LPARAM) -> LRESULT {
                      const RECT all{0, 0, 320, 240};
                      if (message == WM_ERASEBKGND) FastFillRect(reinterpret_cast<HDC>(wparam), &all, kGreen);
                      if (message != WM_INITDIALOG) return 0;
                      EXPECT_FALSE(IsWindowVisible(w));
                      SetFocus(CreateProbe("child", w, {0, 0, 9, 9}));
                      WhenIdle([this, w] {
                          RECT r{};
                          GetWindowRect(w, &r);
                          EXPECT_EQ(Edges(r), "{ 0, 0, 320, 240 }");
                          EXPECT_TRUE(IsWindowVisible(w));
                          EXPECT_EQ(At(160, 120), kGreenPixel);
                          EXPECT_EQ(GetFocus(), w);
                          EXPECT_EQ(GetActiveWindow(), w);
                          EndDialog(w, 5);
                      });
                      return 0;
                  }};
    EXPECT_EQ(dialog.Run(), 5);
    EXPECT_THAT(TakeLog(), ElementsAre("d:init", "d:destroy", "child:destroy"));
    EXPECT_FALSE(IsWindow(dialog.window));
    RunUntilIdle();
    EXPECT_EQ(At(160, 120), kRedPixel) << "what it covered";
    EXPECT_EQ(DialogBoxParam(nullptr, nullptr, nullptr, nullptr, 0), -1);
}

TEST_F(DialogTest, KeysAreEitherKeyDownsOrCommands) {
    const struct {
        LRESULT code;
        int key, result;
    } cases[] = {{137, VK_RETURN, VK_RETURN}, {137, VK_ESCAPE, VK_ESCAPE},    {137, VK_F1, VK_F1},
                 {5, VK_RETURN, VK_RETURN},   {5, VK_LEFT, VK_LEFT},          {0, VK_UP, VK_UP},
                 {0, VK_RETURN, 1000 + IDOK}, {0, VK_ESCAPE, 1000 + IDCANCEL}};
    for (const auto& c : cases) {
        Dialog dialog{"d", OnKey(EndWithKey, c.code)};
        TypeWhenIdle(c.key);
        TakeLog();
        EXPECT_EQ(dialog.Run(), c.result) << c.code << ' ' << c.key;
        EXPECT_EQ(TakeLog().size(), 3U) << "init, one message for the key, destroy: " << c.code << ' ' << c.key;
    }
}

TEST_F(DialogTest, AControlGetsTheKeysItWantsAndTheDialogTheOthers) {
    const struct {
        LRESULT code;
        int key;
        bool wants;
    } cases[] = {{DLGC_WANTALLKEYS, VK_F3, true},
                 {DLGC_WANTARROWS, VK_UP, true},
                 {DLGC_WANTARROWS, VK_RETURN, false},
                 {0, VK_F3, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.code << ' ' << c.key);
        int child_keys = 0;
        Dialog dialog{"d", OnKey()};
        WhenIdle([&] {
            HWND child = CreateProbe("child", dialog.window, {0, 0, 9, 9});
            g_handlers[child] = OnKey([&](HWND, int) { ++child_keys; }, c.code);
            SetFocus(child);
            keys.Type(c.key);
        });
        EndWhenIdle(dialog, -5);
        EXPECT_EQ(dialog.Run(), c.wants ? -5 : c.key);
        EXPECT_EQ(child_keys, c.wants ? 1 : 0);
        clock.steps.clear();
    }
}

TEST_F(DialogTest, TheParentIsDisabledAndTheFormerFocusComesBack) {
    HWND main = CreateProbe("main", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE);
    HWND child = CreateProbe("child", main, {0, 0, 9, 9});
    for (HWND parent : {main, child, static_cast<HWND>(nullptr), GetDesktopWindow()}) {
        SetFocus(child);
        Dialog dialog{"d", OnKey()};
        WhenIdle([&] {
            EXPECT_EQ(IsWindowEnabled(main) != FALSE, parent == nullptr || parent == GetDesktopWindow());
            EXPECT_TRUE(IsWindowEnabled(GetDesktopWindow()));
            // Windows below a dialog get no keys and stay below, whatever they try.
            EXPECT_EQ(SetFocus(child), nullptr);
            EXPECT_EQ(SetActiveWindow(main), nullptr);
            BringWindowToTop(main);
            EXPECT_EQ(GetWindow(GetDesktopWindow(), GW_CHILD), dialog.window);
            keys.Type(VK_F1);
        });
        EXPECT_EQ(dialog.Run(parent), VK_F1);
        EXPECT_TRUE(IsWindowEnabled(main));
        EXPECT_EQ(GetFocus(), child);
        EXPECT_EQ(GetActiveWindow(), main);
    }
}

TEST_F(DialogTest, EndingAnOuterDialogUnwindsTheInnerOnes) {
    Dialog innermost{"innermost", nullptr};
    Dialog inner{"inner", On(WM_USER, [&](HWND w) { EXPECT_EQ(innermost.Run(w), 0); })};
    Dialog outer{"outer", On(WM_USER, [&](HWND w) { EXPECT_EQ(inner.Run(w), 0); })};
    for (const bool by_message : {false, true}) {
        TellWhenIdle(outer, WM_USER);
        TellWhenIdle(inner, WM_USER);
        if (by_message) {
            TellWhenIdle(outer, WM_QUIT);
        } else {
            EndWhenIdle(outer, 3);
        }
        EXPECT_EQ(outer.Run(), by_message ? 0 : 3);
        EXPECT_THAT(TakeLog(), ElementsAre("outer:init", "inner:init", "innermost:init", "innermost:destroy",
                                           "inner:destroy", "outer:destroy"));
    }
}

TEST_F(DialogTest, AQuitMessagePostedToAClosingDialogDiesWithIt) {
    Dialog note{"note", OnKey()};
    Dialog inner{"inner", On(WM_USER, [&](HWND w) {
                     EndDialog(w, 6);
                     PostMessage(w, WM_QUIT, 0, 0);
                     EXPECT_EQ(note.Run(), VK_F2) << "opened by the handler that ended its own dialog";
                 })};
    Dialog outer{"outer", On(WM_USER, [&](HWND w) { EXPECT_EQ(inner.Run(w), 6); })};
    TellWhenIdle(outer, WM_USER);
    TellWhenIdle(inner, WM_USER);
    TypeWhenIdle(VK_F2);
    EndWhenIdle(outer, 9);
    EXPECT_EQ(outer.Run(), 9);
}

TEST_F(DialogTest, PostQuitMessageEndsTheMainLoopAndUnwindsTheInner) {
    for (const bool destroys : {true, false}) {
        Dialog inner{"inner", OnKey([&](HWND w, int) {
                         if (destroys) DestroyWindow(GetWindow(w, GW_OWNER));
                         PostQuitMessage(0);
                     })};
        Dialog main{"main", [&](HWND w, UINT message, WPARAM, LPARAM) -> LRESULT {
                        if (message == WM_USER) inner.Run(w);
                        if (message != WM_DESTROY) return 0;
                        EXPECT_TRUE(IsWindowVisible(w));
                        SetWindowLong(w, 8, 0);
                        return 0;
                    }};
        TellWhenIdle(main, WM_USER);
        TypeWhenIdle(VK_F1);
        EXPECT_EQ(main.Run(), 0);
        EXPECT_EQ(TakeLog(),
                  (destroys ? Log{"main:init", "inner:init", "inner:keydown", "main:destroy", "inner:destroy"}
                            : Log{"main:init", "inner:init", "inner:keydown", "inner:destroy", "main:destroy"}));
        TypeWhenIdle(VK_F1);
        Dialog next{"next", OnKey()};
        EXPECT_EQ(next.Run(), VK_F1) << "the quit request outlived the main loop";
        TakeLog();
    }
}

TEST_F(DialogTest, EndingDuringInitialisationAndByTheDefaultProcedure) {
    Dialog ending{"d", On(WM_INITDIALOG, [](HWND w) { EndDialog(w, 4); })};
    EXPECT_EQ(ending.Run(), 4);
    Dialog destroying{"d", On(WM_INITDIALOG, [](HWND w) { DestroyWindow(w); })};
    EXPECT_EQ(destroying.Run(), 0);
    Dialog closing{"d", [](HWND w, UINT message, WPARAM wparam, LPARAM lparam) -> LRESULT {
                       return message == WM_CLOSE ? 0 : DefWindowProc(w, message, wparam, lparam);
                   }};
    WhenIdle([&] { SendMessage(closing.window, WM_CLOSE, 0, 0); });
    EXPECT_EQ(closing.Run(), IDCANCEL) << "closing cancels";
    EXPECT_THAT(TakeLog(), ElementsAre("d:init", "d:destroy", "d:init", "d:destroy", "d:init", "d:destroy"));
}

}  // namespace
}  // namespace mwin_test
