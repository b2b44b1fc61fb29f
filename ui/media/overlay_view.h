// The video overlay as playback needs it.
#pragma once

#include <cstdint>

// Shows whole pictures upright, whatever zoom and orientation live view has, and gives both back when it goes. While it
// lives nobody else changes them. UI thread.
class OverlayView {
  public:
    OverlayView();
    ~OverlayView();
    OverlayView(const OverlayView&) = delete;
    OverlayView& operator=(const OverlayView&) = delete;

    // Queues 320 × 240 pixels of packed YUYV and has the display show them; opens the overlay when it is closed.
    void Show(const unsigned char* frame);
    // Queues them without showing them.
    static void Prepare(const unsigned char* frame);
    // Has the display show the user interface alone.
    static void Hide();

  private:
    bool Open();

    const unsigned m_zoomWidth;
    const unsigned m_zoomHeight;
    const int m_rotation;
    std::int64_t m_lastFailure = 0;  // second in which opening failed
};
