// The time that a clip has been playing.
#pragma once

#include <sys/time.h>

#include <cstdint>

// Runs from its start on, less the pauses; in wall-clock time. All zero: not started.
class PlayClock {
  public:
    void Clear() { *this = {}; }
    bool Started() const { return timerisset(&m_tvVideoStart_tval); }
    void Start(const timeval& now) { m_tvVideoStart_tval = now; }
    // A pause before the start is none.
    void Pause(const timeval& now) {
        if (Started()) m_tvVideoPause_tval = now;
    }
    // Takes the pause that ends now off the playing time; all pauses so far.
    const timeval& Resume(const timeval& now) {
        if (timerisset(&m_tvVideoPause_tval)) {
            timeval pause{};
            timersub(&now, &m_tvVideoPause_tval, &pause);
            timeradd(&m_tvVideoInterval_tval, &pause, &m_tvVideoInterval_tval);
            m_tvVideoPause_tval = {};
        }
        return m_tvVideoInterval_tval;
    }
    // Milliseconds, the part of a second in steps of 25.
    std::int64_t Elapsed(const timeval& now) const {
        const std::int64_t seconds =
            std::int64_t{now.tv_sec} - m_tvVideoStart_tval.tv_sec - m_tvVideoInterval_tval.tv_sec;
        const std::int64_t microseconds =
            std::int64_t{now.tv_usec} - m_tvVideoStart_tval.tv_usec - m_tvVideoInterval_tval.tv_usec;
        return seconds * 1000 + microseconds / 25000 * 25;
    }

  private:
    timeval m_tvVideoStart_tval{};
    timeval m_tvVideoPause_tval{};     // when the last pause began
    timeval m_tvVideoInterval_tval{};  // all pauses
};
