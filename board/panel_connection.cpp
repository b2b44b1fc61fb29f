#include "board/panel_connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

namespace board {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMaxHead = std::size_t{16} * 1024;
constexpr milliseconds kHeadTime{5000};
constexpr milliseconds kWriteTime{5000};
constexpr std::size_t kBodyBytesPerMs = 64;
constexpr const char* kAddress = "127.0.0.1";

bool Ready(int socket, short event, milliseconds time) {
    pollfd watched{socket, event, 0};
    return poll(&watched, 1, static_cast<int>(std::max<milliseconds::rep>(time.count(), 0))) > 0;
}

}  // namespace

bool PanelConnection::ReadHead() {
    const auto until = Clock::now() + kHeadTime;
    for (std::size_t end = std::string::npos; end == std::string::npos; end = read_ahead_.find("\r\n\r\n")) {
        char part[4096];
        const ssize_t got = read_ahead_.size() < kMaxHead ? Receive(part, sizeof part, until) : -1;
        if (got <= 0) return false;
        read_ahead_.append(part, static_cast<std::size_t>(got));
    }
    head_length_ = read_ahead_.find("\r\n\r\n") + 2;
    return true;
}

std::string_view PanelConnection::Head() const {
    return std::string_view(read_ahead_).substr(0, head_length_);
}

void PanelConnection::Refuse(int status, const std::string& text) {
    const std::string answer =
        "HTTP/1.1 " + std::to_string(status) + " Refused\r\nContent-Type: text/plain; charset=utf-8" +
        "\r\nConnection: close\r\nContent-Length: " + std::to_string(text.size() + 1) + "\r\n\r\n" + text + "\n";
    write(answer.data(), answer.size());
}

ssize_t PanelConnection::Receive(char* data, std::size_t size, Clock::time_point until) {
    const auto left = std::chrono::duration_cast<milliseconds>(until - Clock::now());
    return Ready(socket_, POLLIN, left) ? recv(socket_, data, size, 0) : -1;
}

bool PanelConnection::is_readable() const {
    return taken_ < read_ahead_.size() || Ready(socket_, POLLIN, kWriteTime);
}

bool PanelConnection::is_writable() const {
    char byte = 0;
    return Ready(socket_, POLLOUT, kWriteTime) && recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) != 0;
}

ssize_t PanelConnection::read(char* data, std::size_t size) {
    if (taken_ < read_ahead_.size()) {
        const std::size_t length = read_ahead_.copy(data, size, taken_);
        taken_ += length;
        return static_cast<ssize_t>(length);
    }
    if (body_until_ == Clock::time_point{}) body_until_ = Clock::now() + milliseconds(1000);
    const ssize_t got = Receive(data, size, body_until_);
    if (got > 0) body_until_ += milliseconds(static_cast<std::size_t>(got) / kBodyBytesPerMs);
    return got;
}

ssize_t PanelConnection::write(const char* data, std::size_t size) {
    return Ready(socket_, POLLOUT, kWriteTime) ? send(socket_, data, size, MSG_NOSIGNAL) : -1;
}

void PanelConnection::get_remote_ip_and_port(std::string& ip, int& port) const {
    ip = kAddress;
    port = -1;
}

void PanelConnection::get_local_ip_and_port(std::string& ip, int& port) const {
    get_remote_ip_and_port(ip, port);
}

}  // namespace board
