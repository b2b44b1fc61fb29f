#include "bench/device/session.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "mwin/framebuffer_screen.h"
#include "mwin/windows.h"

namespace device {
namespace {

using std::chrono::milliseconds;

// What it takes to act on a key before the next one comes.
constexpr milliseconds kKeyTime{50};

}  // namespace

bool Session::Keys::Read(mwin::KeyEvent& event) {
    if (waiting.empty()) return false;
    event = waiting.front();
    waiting.pop_front();
    return true;
}

std::uint32_t Session::Clock::TickCount() {
    const auto now = std::chrono::duration_cast<milliseconds>(Turns::Instance().Now());
    return static_cast<std::uint32_t>(now.count());
}

void Session::Clock::Wait(int timeout_ms) {
    if (timeout_ms == 0 || !m_session.m_keys.waiting.empty()) return;
    Turns& turns = Turns::Instance();
    turns.Wait(this, timeout_ms < 0 ? Turns::kForever : turns.Now() + milliseconds(timeout_ms));
}

void Session::Clock::Wake() {
    Turns::Instance().Notify(this, true);
}

Session::Session() {
    std::string error;
    mwin::Screen* screen = mwin::FramebufferScreen::Open("fb0", error).release();
    if (!screen) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::_Exit(EXIT_FAILURE);
    }
    mwin::Install(*screen, m_keys, m_clock);
}

void Session::Play(Script script, int repeats) {
    auto& session = *new Session;  // never destroyed, as on the board
    session.m_script = script;
    session.m_repeats = repeats;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, &Session::RunScript, &session) != 0) std::_Exit(EXIT_FAILURE);
    WinMain(&session, nullptr, nullptr, SW_SHOWNORMAL);
    std::fprintf(stderr, "The program ended before the script.\n");
    std::_Exit(EXIT_FAILURE);
}

void* Session::RunScript(void* self) {
    auto* session = static_cast<Session*>(self);
    Turns::Instance().NameThread("script");
    session->m_script(*session, session->m_repeats);
    Turns::End(EXIT_SUCCESS);
}

void Session::Run(milliseconds time) {
    Turns& turns = Turns::Instance();
    turns.SleepUntil(turns.Now() + time);
}

void Session::Press(int virtual_key) {
    m_keys.waiting.push_back({virtual_key, mwin::KeyEvent::Kind::Press});
    m_keys.waiting.push_back({virtual_key, mwin::KeyEvent::Kind::Release});
    m_clock.Wake();
    Run(kKeyTime);
}

}  // namespace device
