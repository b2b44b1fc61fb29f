#include "mwin/dialog.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "mwin/controls.h"
#include "mwin/focus.h"
#include "mwin/message_queue.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

struct ModalLoop {
    HWND dialog = nullptr;
    HWND disabled_parent = nullptr;  // to be enabled again
    int result = 0;
    bool ended = false;
};

// Innermost last; the loops live on the stack of their DialogBoxParam.
std::vector<ModalLoop*>& loops() {
    static auto* instance = new std::vector<ModalLoop*>;
    return *instance;
}

ModalLoop* LoopOf(HWND dialog) {
    if (dialog == nullptr) return nullptr;
    const auto found =
        std::find_if(loops().begin(), loops().end(), [=](const ModalLoop* loop) { return loop->dialog == dialog; });
    return found != loops().end() ? *found : nullptr;
}

bool GoesOn(const ModalLoop& loop) {
    return !loop.ended && IsWindow(loop.dialog) != FALSE;
}

void EnableParent(ModalLoop& loop) {
    if (loop.disabled_parent == nullptr) return;
    HWND parent = loop.disabled_parent;
    loop.disabled_parent = nullptr;
    EnableWindow(parent, TRUE);
}

// With the loop every loop inside it ends; one that is opened later does not.
void End(const ModalLoop& loop) {
    for (std::size_t i = loops().size(); i-- > 0;) {
        ModalLoop& inner = *loops()[i];
        inner.ended = true;
        EnableParent(inner);
        if (&inner == &loop) break;
    }
}

bool IsAnsweredByValue(UINT message) {
    return message == WM_ERASEBKGND || message == WM_GETDLGCODE || message == WM_INITDIALOG ||
           (message >= WM_CTLCOLOREDIT && message <= WM_CTLCOLORSTATIC);
}

LRESULT DialogProcedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    if (window->dialog_procedure != nullptr) {
        const LRESULT answer = window->dialog_procedure(handle, message, wparam, lparam);
        if (answer != 0 || IsAnsweredByValue(message) || window->gone) return answer;
    }
    if (message != WM_CLOSE) return DefWindowProc(handle, message, wparam, lparam);
    EndDialog(handle, IDCANCEL);
    return 0;
}

void Initialize(const WindowPtr& window, DLGPROC procedure, LPARAM parameter) {
    window->dialog_procedure = procedure;
    CallProcedure(window, WM_INITDIALOG, reinterpret_cast<WPARAM>(window->handle), parameter);
}

void Run(ModalLoop& loop) {
    MSG message{};
    while (GoesOn(loop) && GetMessage(&message, nullptr, 0, 0) != FALSE) {
        if (IsDialogMessage(loop.dialog, &message) != FALSE) continue;
        TranslateMessage(&message);
        DispatchMessage(&message);
    }
}

bool IsArrow(WPARAM key) {
    return key >= VK_LEFT && key <= VK_DOWN;
}

bool WantsKey(HWND window, WPARAM key) {
    const LRESULT wanted = SendMessage(window, WM_GETDLGCODE, 0, 0);
    return (wanted & (DLGC_WANTALLKEYS | DLGC_WANTCHARS)) != 0 || ((wanted & DLGC_WANTARROWS) != 0 && IsArrow(key));
}

}  // namespace

HWND RunningDialog() {
    for (auto loop = loops().rbegin(); loop != loops().rend(); ++loop) {
        if (!(*loop)->ended) return (*loop)->dialog;
    }
    return nullptr;
}

bool IsBelowRunningDialog(HWND window) {
    return std::less<>()(window, RunningDialog());  // handles grow
}

void EndLoopOf(HWND dialog) {
    const ModalLoop* loop = LoopOf(dialog);
    if (loop != nullptr && !loop->ended) End(*loop);
}

void RegisterDialogClass(HINSTANCE instance) {
    WNDCLASS dialog{};
    dialog.lpfnWndProc = DialogProcedure;
    dialog.cbWndExtra = 20;
    dialog.hInstance = instance;
    dialog.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    dialog.lpszClassName = kDialogClass;
    RegisterClass(&dialog);
}

}  // namespace mwin

using mwin::Find;
using mwin::WindowPtr;

int DialogBoxParam(HINSTANCE instance, LPCSTR /*dialog_template*/, HWND parent, DLGPROC procedure, LPARAM parameter) {
    const bool outermost = mwin::DispatchDepth() == 0 && mwin::loops().empty();
    if (procedure == nullptr) return -1;
    mwin::ModalLoop loop;
    HWND focus = GetFocus();
    HWND active = GetActiveWindow();
    loop.dialog = CreateWindowEx(0, mwin::kDialogClass, "", WS_POPUP, 0, 0, GetSystemMetrics(SM_CXSCREEN),
                                 GetSystemMetrics(SM_CYSCREEN), parent, nullptr, instance, nullptr);
    const WindowPtr window = Find(loop.dialog);
    if (window == nullptr) return -1;
    window->focus_before = focus;
    window->active_before = active;
    if (window->owner != nullptr && IsWindowEnabled(window->owner) != FALSE) {
        loop.disabled_parent = window->owner;
        EnableWindow(window->owner, FALSE);
    }
    mwin::loops().push_back(&loop);
    mwin::Initialize(window, procedure, parameter);
    if (mwin::GoesOn(loop)) {
        ShowWindow(loop.dialog, SW_SHOW);
        if (mwin::GoesOn(loop)) mwin::TakeKeys(window);
        mwin::Run(loop);
    }
    mwin::End(loop);
    DestroyWindow(loop.dialog);
    mwin::loops().erase(std::remove(mwin::loops().begin(), mwin::loops().end(), &loop), mwin::loops().end());
    if (outermost) mwin::ClearQuit();
    return loop.result;
}

BOOL EndDialog(HWND dialog, int result) {
    mwin::ModalLoop* loop = mwin::LoopOf(dialog);
    if (loop == nullptr) return FALSE;
    loop->result = result;
    mwin::End(*loop);
    return TRUE;
}

BOOL IsDialogMessage(HWND dialog, const MSG* message) {
    const WindowPtr window = Find(dialog);
    if (window == nullptr || message == nullptr || message->message != WM_KEYDOWN) return FALSE;
    const WindowPtr target = Find(message->hwnd);
    if (target == nullptr || !mwin::IsSameOrInside(*target, *window)) return FALSE;
    if (target != window && mwin::WantsKey(target->handle, message->wParam)) return FALSE;
    if (mwin::WantsKey(dialog, message->wParam)) {
        MSG to_dialog = *message;
        to_dialog.hwnd = dialog;
        DispatchMessage(&to_dialog);
        return TRUE;
    }
    const bool confirms = message->wParam == VK_RETURN;
    if (!confirms && message->wParam != VK_ESCAPE) return FALSE;
    SendMessage(dialog, WM_COMMAND, static_cast<WPARAM>(confirms ? IDOK : IDCANCEL), 0);
    return TRUE;
}
