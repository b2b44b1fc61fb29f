// The few process-wide names, and the hooks through which dialogs reach what lies above them.
#pragma once

#include <atomic>

class CVarnoSVMain;

// The one main window; set by WinMain, not cleared when it is deleted. UI thread.
extern CVarnoSVMain* m_pMain;
// 1 while live view may run, 0 while a menu is open. Written by the UI thread, read by the distribution thread.
extern std::atomic<int> videoflag;
// A new TV output was written: the menus close and the program ends. UI thread.
extern bool m_isNewOutputSet;
// Screen width in pixels, from the settings store. UI thread.
extern int scr_width;

// Ends the program cleanly, from signal context or from a dialog: prints the farewell, destroys the main window, exits
// 0.
void sig_int_handler(int signal);

// What dialogs and controls may ask of the main window without knowing it. UI thread; all may be null.
struct MainWindowHooks {
    void (*stop_all_timers)() = nullptr;
    void (*start_all_timers)() = nullptr;
    // Ends a running recording; its file is whole afterwards.
    void (*finish_recording)() = nullptr;
};
extern MainWindowHooks g_mainWindowHooks;
