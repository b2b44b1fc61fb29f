// The program's controls and dialogs on a fresh window system, over a kernel in memory.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statfs.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "mwin/font.h"
#include "mwin/surface.h"
#include "mwin/windows.h"
#include "settings/varno_sv_setting.h"
#include "tests/mwin/probe_window.h"
#include "tests/support/fake_kernel.h"
#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"
#include "ui/controls/varno_new_edit.h"
#include "ui/controls/varno_scrollbar1.h"

namespace ui_test {

constexpr std::uint32_t kKeyPixel = 0xFF010101;
constexpr std::uint32_t kWhitePixel = 0xFFFFFFFF;

// In a folder of its own, with the pictures and the shipped settings.
class UiTest : public mwin_test::WindowSystemTest {
  protected:
    UiTest() : source_(std::filesystem::current_path()) {
        setenv("TZ", "UTC", 1);
        tzset();
        const std::string work = kernel.Root() + "/work";
        std::filesystem::create_directories(work);
        std::filesystem::create_directory_symlink(source_ / "img", work + "/img");
        std::filesystem::current_path(work);
        std::filesystem::copy_file(source_ / "settings/varnosvconf.xml", "varnosvconf.xml");
        settings.InitConfigFile();
        mwin::SetFontSubstitute([](const std::string& name, bool /*cjk*/) -> std::string {
            const std::string folder = "/usr/share/fonts/truetype/liberation/LiberationSans-";
            return folder + (name == "Arialb.ttf" ? "Bold.ttf" : "Regular.ttf");
        });
        MwInitializeDialogs(Instance());
        MwRegisterVarnoScrollbar1Control(Instance());
        MwRegisterVarnoNewEditControl(Instance());
        Varno::InitFunnelCtrl();
        MwSetTextCoding(1);
        WNDCLASS screen_class{};
        screen_class.lpfnWndProc = ParentProc;
        screen_class.lpszClassName = "LiveView";
        RegisterClass(&screen_class);
        parent = CreateWindowEx(0, "LiveView", "", WS_POPUP | WS_VISIBLE, 0, 0, 320, 240, nullptr, nullptr, Instance(),
                                nullptr);
        RunUntilIdle();
        testing::internal::CaptureStdout();
    }
    ~UiTest() override {
        DestroyWindow(parent);  // and what is in it
        Varno::DeinitFunnelCtrl();
        Printed();
        testing::internal::GetCapturedStdout();
        std::filesystem::current_path(source_);
    }

    static HINSTANCE Instance() { return &s_instance; }

    // What was printed since the last call.
    static std::string Printed() {
        std::string text = testing::internal::GetCapturedStdout();
        if (HasFailure()) std::cerr << text;  // failures are reported there, too
        testing::internal::CaptureStdout();
        return text;
    }

    // Lets time pass in steps that no timer of the program is shorter than.
    void Pass(int milliseconds) {
        for (int passed = 0; passed < milliseconds; passed += 100) {
            clock.now += 100;
            RunUntilIdle();
        }
        FlushNow();
    }
    // Draws what waits to be drawn and shows it, as the program does before it waits.
    void FlushNow() {
        RunUntilIdle();
        mwin::FlushScreen();
    }
    // Runs a dialog to its end; each key is pressed when there is nothing else to do. Its result.
    template <class Dialog, class... More>
    int Run(const std::vector<int>& pressed, More... more) {
        for (const int key : pressed)
            clock.steps.emplace_back([this, key] { keys.Type(key); });
        const std::unique_ptr<CVarnoUIDialog> dialog(Dialog::CreateNew(Instance(), parent, more...));
        const int result = dialog->DoModel();
        clock.steps.clear();
        RunUntilIdle();
        return result;
    }

    // The card (and the internal storage) is mounted with that much room; negative: not mounted.
    void SetSpace(int card_kib, int nand_kib = -1) {
        std::string mounts;
        if (card_kib >= 0) mounts += "/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat rw 0 0\n";
        if (nand_kib >= 0) mounts += "/dev/loop0 /media/nand vfat rw 0 0\n";
        kernel.Put("/proc/mounts", mounts);
        kernel.Put("/sys/block/mmcblk0/mmcblk0p1/stat", "0");
        kernel.on_statfs = [=](const char* path, struct statfs* result) {
            result->f_bsize = 1024;
            result->f_bavail = static_cast<unsigned>(std::string(path) == "/media/nand" ? nand_kib : card_kib);
            return 0;
        };
    }

    // Pixels of a colour within a rectangle of the screen.
    int Count(const RECT& rect, std::uint32_t pixel) const {
        int count = 0;
        for (int y = rect.top; y < rect.bottom; ++y) {
            for (int x = rect.left; x < rect.right; ++x)
                count += At(x, y) == pixel ? 1 : 0;
        }
        return count;
    }

    // Is the busy picture in the middle of a white screen?
    bool Busy() const { return 15 * 21 - Count({150, 120, 165, 141}, kWhitePixel) > 40; }

    static std::string TextOf(HWND window) {
        char text[100];
        GetWindowText(window, text, sizeof(text));
        return text;
    }
    // The windows in another, the oldest first.
    static std::vector<HWND> Children(HWND window) {
        std::vector<HWND> children;
        for (HWND child = GetWindow(window, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT))
            children.insert(children.begin(), child);
        return children;
    }

    support::FakeKernel kernel;
    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    HWND parent = nullptr;

  private:
    static LRESULT CALLBACK ParentProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
        if (msg != WM_ERASEBKGND) return DefWindowProc(hwnd, msg, wparam, lparam);
        RECT rect{};
        GetClientRect(hwnd, &rect);
        FastFillRect(reinterpret_cast<HDC>(wparam), &rect, kColorKey);
        return 1;
    }

    static inline char s_instance = 0;
    const std::filesystem::path source_;
};

}  // namespace ui_test
