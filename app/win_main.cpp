// The program's life: what comes up before the main window and goes down after it, and the end by a signal.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/globals.h"
#include "app/sv_main.h"
#include "mwin/windows.h"
#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/controls/varno_new_edit.h"
#include "ui/controls/varno_scrollbar1.h"

namespace {

// Set by whoever takes the program down first; everyone else leaves it alone.
std::atomic<bool> g_ending{false};

void DestroyMainWindow() {
    delete m_pMain;
    Varno::DeinitFunnelCtrl();
}

void InstallSignalHandler() {
    struct sigaction action {};
    action.sa_handler = sig_int_handler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

// Does its work from signal context: the signals are open only while the UI thread waits, so neither the allocator nor
// a lock of that thread is ever interrupted.
void sig_int_handler(int /*signal*/) {
    if (g_ending.exchange(true)) return;
    printf("Exit varnosv program!!!!!\n");
    DestroyMainWindow();
    Varno::kernel().Sync();
    exit(0);
}

int WinMain(HINSTANCE instance, HINSTANCE /*previous*/, LPSTR /*command_line*/, int /*show*/) {
    g_ending = false;
    InstallSignalHandler();
    Varno::SetLEDValue("Green_LED", 255);
    MwInitializeDialogs(instance);
    MwSetTextCoding(1);
    MwRegisterVarnoScrollbar1Control(nullptr);
    MwRegisterVarnoNewEditControl(nullptr);
    Varno::InitFunnelCtrl();
    m_pMain = CVarnoSVMain::CreateNew(instance);
    m_pMain->DoModel();
    if (!g_ending.exchange(true)) DestroyMainWindow();
    return 0;
}
