// The real system with its time, its free space and its failures in the test's hand.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "sys/kernel_linux.h"

// Files go to the real file system; commands are only recorded. Thread-safe.
class TestKernel final : public Varno::LinuxKernel {
  public:
    TestKernel() { Varno::InstallKernel(*this); }

    // The N-th write from now on, and all that follow, fail with `error` after taking `partial` bytes; 0 for never.
    void FailWrites(int nth, int error, std::size_t partial = 0) {
        m_partial = partial;
        m_error = error;
        m_writesLeft = nth;
    }
    // Every write takes at most so many bytes; 0 for all.
    void ShortWrites(std::size_t bytes) { m_short = bytes; }

    // Pages of zeros are skipped instead of written, so that large files cost nothing.
    void SkipZeros() { m_skipZeros = true; }

    int Open(const char* path, int flags, mode_t mode) override {
        m_openFlags = flags;
        m_openMode = mode;
        return LinuxKernel::Open(path, flags, mode);
    }
    ssize_t Write(int fd, const struct iovec* parts, int count) override {
        ++m_writes;
        const int left = m_writesLeft;
        if (left > 1) {
            m_writesLeft = left - 1;
        } else if (left == 1) {
            const std::size_t partial = m_partial.exchange(0);
            if (partial) return write(fd, parts[0].iov_base, std::min(partial, parts[0].iov_len));
            errno = m_error;
            return -1;
        }
        if (m_short) return write(fd, parts[0].iov_base, std::min(m_short.load(), parts[0].iov_len));
        if (m_skipZeros) return WriteSparsely(fd, parts, count);
        return LinuxKernel::Write(fd, parts, count);
    }
    int Flush(int fd) override {
        ++m_flushes;
        return Fails() ? -1 : LinuxKernel::Flush(fd);
    }
    int System(const char* command) override {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_commands.emplace_back(command);
        return 0;
    }
    int StatFs(const char* /*path*/, struct statfs* result) override {
        *result = {};
        result->f_bsize = 1024;
        result->f_bavail = static_cast<decltype(result->f_bavail)>(m_freeKib.load());
        return 0;
    }
    void Sync() override { ++m_syncs; }
    std::timespec RealTime() override { return {m_now.load(), 0}; }

    bool Fails() const { return m_writesLeft == 1; }

    std::atomic<std::time_t> m_now{1700000000};
    std::atomic<long> m_freeKib{1000000};
    std::atomic<int> m_syncs{0};
    std::atomic<int> m_writes{0};
    std::atomic<int> m_flushes{0};
    std::atomic<int> m_openFlags{0};
    std::atomic<mode_t> m_openMode{0};
    std::mutex m_lock;
    std::vector<std::string> m_commands;

  private:
    static ssize_t WriteSparsely(int fd, const struct iovec* parts, int count) {
        constexpr std::size_t kPage = 4096;
        const std::vector<char> zeros(kPage);
        ssize_t done = 0;
        for (int i = 0; i < count; ++i) {
            const char* bytes = static_cast<const char*>(parts[i].iov_base);
            for (std::size_t at = 0; at < parts[i].iov_len; at += kPage) {
                const std::size_t length = std::min(kPage, parts[i].iov_len - at);
                const bool skip = std::memcmp(bytes + at, zeros.data(), length) == 0;
                if (skip ? lseek(fd, static_cast<off_t>(length), SEEK_CUR) < 0
                         : write(fd, bytes + at, length) != static_cast<ssize_t>(length)) {
                    return -1;
                }
                done += static_cast<ssize_t>(length);
            }
        }
        return done;
    }

    std::atomic<bool> m_skipZeros{false};
    std::atomic<int> m_writesLeft{0};
    std::atomic<int> m_error{0};
    std::atomic<std::size_t> m_partial{0};
    std::atomic<std::size_t> m_short{0};
};

// A folder that goes with the test, and the kernel.
class MediaTest : public testing::Test {
  protected:
    MediaTest() {
        char name[] = "/tmp/varno-media-XXXXXX";
        m_folder = mkdtemp(name);
    }
    ~MediaTest() override { std::filesystem::remove_all(m_folder); }
    std::string File(const std::string& name) const { return m_folder + "/" + name; }

    TestKernel m_kernel;

  private:
    std::string m_folder;
};
