// The program on the camera's own board: which kernel, screen and keys it runs on.
#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "mwin/evdev_keys.h"
#include "mwin/framebuffer_screen.h"
#include "mwin/key_map.h"
#include "mwin/linux_clock.h"
#include "mwin/platform.h"
#include "mwin/windows.h"
#include "sys/kernel.h"
#include "sys/kernel_linux.h"

namespace {

// In main, before any thread: they are open only while the UI thread waits.
void BlockEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

int main(int /*argc*/, char** argv) {
    BlockEndSignals();
    setvbuf(stdout, nullptr, _IOLBF, 0);

    // None of these is ever destroyed: static destructors and worker threads still use them while the process exits.
    Varno::InstallKernel(*new Varno::LinuxKernel);
    std::string error;
    mwin::Screen* screen = mwin::FramebufferScreen::Open("/dev/fb0", error).release();
    if (screen == nullptr) {
        fprintf(stderr, "varnosv: no screen: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    auto& keys = *new mwin::EvdevKeys("/dev/input", mwin::LoadKeyMap({"keys.conf", "/etc/varnosv/keys"}));
    auto& clock = *new mwin::LinuxClock([&keys] { return keys.Descriptors(); });
    mwin::Install(*screen, keys, clock);

    return WinMain(argv, nullptr, nullptr, SW_SHOWNORMAL);
}
