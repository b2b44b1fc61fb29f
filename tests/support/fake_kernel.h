// A kernel for tests: files lie under a temporary directory, commands and ioctls are recorded and answered as told,
// time moves only when it is moved or slept, and the N-th call of an operation, or every write from it on, can be made
// to fail.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sys/kernel.h"

namespace support {

// Installs itself. Thread-safe apart from the members marked as set-up, which belong to the test before it starts.
class FakeKernel : public Varno::Kernel {
  public:
    enum class Call { Open, Close, Write, Flush, Ioctl, System, StatFs, SetRealTime, Sync };
    struct IoctlCall {
        std::string path;
        unsigned long request;
    };

    FakeKernel() {
        char pattern[] = "/tmp/varno-test-XXXXXX";
        m_root = mkdtemp(pattern);
        Varno::InstallKernel(*this);
    }
    ~FakeKernel() { std::filesystem::remove_all(m_root); }

    // Set-up.
    std::function<int(const std::string& path, unsigned long request, void* argument)> on_ioctl;  // default: 0
    std::function<int(const std::string& command)> on_system;                                     // default: 0
    std::function<int(const char* path, struct statfs* result)> on_statfs;                        // default: ENOENT
    std::function<void()> on_sleep;  // before a sleep; default: nothing
    std::size_t write_limit = 0;     // most bytes that one Write takes, 0 for no limit
    bool skip_zeros = false;         // pages of zeros become holes of the file, so that large ones cost nothing
    bool sets_clock = true;          // SetRealTime moves the wall clock
    // Also while others call: the `n`-th call from now, counted from 1, fails with `error`.
    void FailNth(Call call, int n, int error) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_faults[call] = {n, error};
    }
    // The `n`-th write from now and all that follow fail; `partial` bytes of the first of them are still taken.
    void FailWritesFrom(int n, int error, std::size_t partial = 0) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_faults[Call::Write] = {n, error, true, partial};
    }
    void Heal() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_faults.clear();
    }

    const std::string& Root() const { return m_root; }
    // Makes a file of the device with its directories, and reads one; a missing one is empty.
    void Put(const std::string& path, const std::string& text) {
        const auto directory = std::filesystem::path(Path(path)).parent_path();
        if (!directory.empty()) std::filesystem::create_directories(directory);
        std::ofstream(Path(path), std::ios::binary) << text;
    }
    std::string Get(const std::string& path) {
        std::ifstream file(Path(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool Exists(const std::string& path) { return std::filesystem::exists(Path(path)); }

    std::vector<std::string> Commands() { return Copy(m_commands); }
    std::vector<std::string> Opened() { return Copy(m_opened); }
    std::vector<IoctlCall> Ioctls() { return Copy(m_ioctls); }
    int OpenFiles() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int>(m_paths.size());
    }
    int Calls(Call call) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls[call];
    }
    int Flushes() { return Calls(Call::Flush); }
    int Syncs() { return Calls(Call::Sync); }
    int Writes() { return Calls(Call::Write); }
    int LastOpenFlags() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_open_flags;
    }
    void SetWallClock(time_t seconds) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_real.tv_sec = seconds;
        m_real.tv_nsec = 0;
    }

    int Open(const char* path, int flags, mode_t mode = 0) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_opened.emplace_back(path);
        m_open_flags = flags;
        if (Fails(Call::Open)) return -1;
        // No test cuts the power: waiting for the medium would only take time.
        const int fd = open(Path(path).c_str(), (flags & ~O_DSYNC) | O_CLOEXEC, mode);
        if (fd >= 0) m_paths[fd] = path;
        return fd;
    }
    int Close(int fd) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_paths.erase(fd) == 0) {
            errno = EBADF;  // a stranger's descriptor
            return -1;
        }
        close(fd);
        return Fails(Call::Close) ? -1 : 0;
    }
    ssize_t Write(int fd, const struct iovec* parts, int count) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (Fails(Call::Write)) {
            const std::size_t partial = std::exchange(m_faults[Call::Write].partial, 0);
            return partial ? write(fd, parts[0].iov_base, std::min(partial, parts[0].iov_len)) : -1;
        }
        if (write_limit > 0) return write(fd, parts[0].iov_base, std::min(write_limit, parts[0].iov_len));
        return skip_zeros ? WriteSparsely(fd, parts, count) : writev(fd, parts, count);
    }
    int Flush(int /*fd*/) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return Fails(Call::Flush) ? -1 : 0;
    }
    int Ioctl(int fd, unsigned long request, void* argument) override {
        std::string path;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            const auto known = m_paths.find(fd);
            path = known == m_paths.end() ? "" : known->second;
            m_ioctls.push_back({path, request});
            if (Fails(Call::Ioctl)) return -1;
        }
        if (path.empty()) {
            errno = EBADF;
            return -1;
        }
        return on_ioctl ? on_ioctl(path, request, argument) : 0;
    }
    void* Map(int fd, std::size_t length, off_t offset) override {
        return mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, offset);
    }
    int Unmap(void* address, std::size_t length) override { return munmap(address, length); }
    int WaitReadable(int /*fd*/, std::chrono::milliseconds timeout) override {
        Sleep(timeout);
        return 0;
    }
    int WaitWritable(int fd, std::chrono::milliseconds timeout) override { return WaitReadable(fd, timeout); }
    int System(const char* command) override {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_commands.emplace_back(command);
            if (Fails(Call::System)) return -1;
        }
        return on_system ? on_system(command) : 0;
    }
    int Exec(const char* file, char* const arguments[]) override { return execvp(file, arguments); }
    int StatFs(const char* path, struct statfs* result) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (Fails(Call::StatFs)) return -1;
        errno = ENOENT;
        return on_statfs ? on_statfs(path, result) : -1;
    }
    void Sync() override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Fails(Call::Sync);
    }
    std::timespec RealTime() override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_real;
    }
    int SetRealTime(const std::timespec& now) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (Fails(Call::SetRealTime)) return -1;
        if (sets_clock) m_real = now;
        return 0;
    }
    std::chrono::nanoseconds Monotonic() override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_monotonic;
    }
    void Sleep(std::chrono::nanoseconds duration) override {
        if (on_sleep) on_sleep();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_monotonic += duration;
    }
    std::string Path(const std::string& path) override {
        for (const char* place : {"/sys", "/proc", "/dev", "/etc", "/usr/varno", "/media", "/mnt"}) {
            if (path.rfind(place, 0) == 0) return m_root + path;
        }
        return path;
    }

  private:
    struct Fault {
        int calls_left = 0;
        int error = 0;
        bool lasts = false;
        std::size_t partial = 0;
    };

    // Counts the call, too.
    bool Fails(Call call) {
        ++m_calls[call];
        const auto found = m_faults.find(call);
        if (found == m_faults.end()) return false;
        Fault& fault = found->second;
        if (--fault.calls_left > 0 || (fault.calls_left < 0 && !fault.lasts)) return false;
        errno = fault.error;
        return true;
    }
    static ssize_t WriteSparsely(int fd, const struct iovec* parts, int count) {
        static constexpr char kZeros[4096] = {};
        ssize_t done = 0;
        for (const struct iovec* part = parts; part != parts + count; ++part) {
            for (std::size_t at = 0; at < part->iov_len; at += sizeof kZeros) {
                const char* page = static_cast<const char*>(part->iov_base) + at;
                const std::size_t length = std::min(sizeof kZeros, part->iov_len - at);
                const bool hole = std::memcmp(page, kZeros, length) == 0;
                if (hole ? lseek(fd, static_cast<off_t>(length), SEEK_CUR) < 0 : write(fd, page, length) < 0) return -1;
                done += static_cast<ssize_t>(length);
            }
        }
        return done;
    }
    template <typename List>
    List Copy(const List& list) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return list;
    }

    std::string m_root;
    std::mutex m_mutex;
    std::map<Call, Fault> m_faults;
    std::map<int, std::string> m_paths;
    std::vector<std::string> m_commands;
    std::vector<std::string> m_opened;
    std::vector<IoctlCall> m_ioctls;
    std::map<Call, int> m_calls;
    int m_open_flags = 0;
    std::timespec m_real{1700000000, 0};
    std::chrono::nanoseconds m_monotonic{std::chrono::seconds(1000)};
};

}  // namespace support
