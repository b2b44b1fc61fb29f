// The hardware watchdog.
#pragma once

// Resets the board unless it is kicked in time. Made and started by the first GetInstance(), disabled at exit. UI
// thread.
class CMXSWatchdog {
  public:
    static CMXSWatchdog& GetInstance();
    CMXSWatchdog(const CMXSWatchdog&) = delete;
    CMXSWatchdog& operator=(const CMXSWatchdog&) = delete;

    // Opens the device anew and asks for a time-out of 30 s; a refused time-out is only reported. False when the device
    // cannot be opened.
    bool Start();
    // Disables the watchdog and closes the device.
    void Stop();
    // Starts the time-out afresh; opens the device where that is needed.
    void KeepLive();
    // True from the first successful start on; a later stop does not change that.
    bool IsStarted() const { return m_fd > 0; }

  private:
    CMXSWatchdog();
    ~CMXSWatchdog();

    int m_fd = -1;        // keeps its number after a stop, so that the next kick fails and opens the device again
    bool m_open = false;  // m_fd is ours: its number may be someone else's after a stop
};
