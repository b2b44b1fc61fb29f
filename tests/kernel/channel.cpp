#include "tests/kernel/channel.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace kernel_test {
namespace {

// Under emulation on a loaded host everything may take many times longer than it should.
constexpr timeval kPatience{120, 0};

[[noreturn]] void Fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

}  // namespace

Channel::Channel() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) Fail("no pair of sockets");
    fd_ = ends[0];
    other_end_ = ends[1];
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
}

Channel::~Channel() {
    ReleaseOtherEnd();
    close(fd_);
}

void Channel::ReleaseOtherEnd() {
    if (other_end_ >= 0) close(other_end_);
    other_end_ = -1;
}

void Channel::Write(const std::string& text) const {
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t put = send(fd_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) Fail("the machine takes nothing");
        sent += static_cast<std::size_t>(put);
    }
}

void Channel::Fill() {
    char bytes[65536];
    ssize_t got = 0;
    do {
        got = recv(fd_, bytes, sizeof bytes, 0);
    } while (got < 0 && errno == EINTR);
    if (got < 0) Fail("the machine does not answer");
    if (got == 0) throw std::runtime_error("the machine has ended");
    waiting_.append(bytes, static_cast<std::size_t>(got));
}

std::string Channel::Line() {
    std::size_t end = 0;
    while ((end = waiting_.find('\n')) == std::string::npos)
        Fill();
    std::string line = waiting_.substr(0, end);
    waiting_.erase(0, end + 1);
    return line;
}

std::string Channel::Bytes(std::size_t count) {
    while (waiting_.size() < count)
        Fill();
    std::string bytes = waiting_.substr(0, count);
    waiting_.erase(0, count);
    return bytes;
}

}  // namespace kernel_test
