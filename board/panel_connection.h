// One connection to the panel, with bounds on how long its request may take.
#pragma once

#include <httplib.h>

#include <chrono>
#include <string>
#include <string_view>

namespace board {

// Reads the head of a request at once, so that it can be judged before the server's library makes of it what it can,
// and hands it on as a stream. One thread.
class PanelConnection final : public httplib::Stream {
  public:
    // The descriptor stays the caller's.
    explicit PanelConnection(int socket) : socket_(socket) {}

    // False when the request's head did not come within 5 s, or is none.
    bool ReadHead();
    // Request line and headers, each line ended by CR LF; valid while nothing was read from the stream.
    std::string_view Head() const;
    // Answers with this status and line, before anything else was.
    void Refuse(int status, const std::string& text);

    bool is_readable() const override;
    bool is_writable() const override;
    // A body has to come at 64 KiB/s or more.
    ssize_t read(char* data, std::size_t size) override;
    ssize_t write(const char* data, std::size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return socket_; }

  private:
    using Clock = std::chrono::steady_clock;

    // What recv returns, or -1 when nothing came until then.
    ssize_t Receive(char* data, std::size_t size, Clock::time_point until);

    const int socket_;
    std::string read_ahead_;
    std::size_t taken_ = 0;  // of it
    std::size_t head_length_ = 0;
    Clock::time_point body_until_{};
};

}  // namespace board
