#include "app/mxs_watchdog.h"

#include <fcntl.h>
#include <linux/watchdog.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sys/kernel.h"

namespace {

constexpr int kTimeoutSeconds = 30;

}  // namespace

CMXSWatchdog& CMXSWatchdog::GetInstance() {
    static CMXSWatchdog instance;
    return instance;
}

CMXSWatchdog::CMXSWatchdog() {
    Start();
    std::printf("Initializing Watchdog\n");
}

CMXSWatchdog::~CMXSWatchdog() {
    Stop();
    std::printf("Deinitializing Watchdog\n");
}

bool CMXSWatchdog::Start() {
    Stop();
    m_fd = Varno::kernel().Open("/dev/watchdog", O_RDWR);
    if (m_fd < 1) {
        if (m_fd == 0) Varno::kernel().Close(m_fd);
        return false;
    }
    m_open = true;
    int timeout = kTimeoutSeconds;
    if (Varno::kernel().Ioctl(m_fd, WDIOC_SETTIMEOUT, &timeout) < 0) {
        std::printf("Error(%s) WDIOC_SETTIMEOUT\n", std::strerror(errno));
    }
    return true;
}

void CMXSWatchdog::Stop() {
    if (!m_open) return;
    int options = WDIOS_DISABLECARD;
    Varno::kernel().Ioctl(m_fd, WDIOC_SETOPTIONS, &options);
    Varno::kernel().Close(m_fd);
    m_open = false;
}

void CMXSWatchdog::KeepLive() {
    if (m_fd < 1) Start();
    if (!m_open || Varno::kernel().Ioctl(m_fd, WDIOC_KEEPALIVE, nullptr) < 0) Start();
}
