// A joinable worker thread.
#pragma once

#include <pthread.h>

#include <atomic>

namespace Varno {

// One thread that is started at most once at a time and joined by its owner. Start and Join belong to one thread, the
// owner's; a call of Join from the worker itself is refused. SIGINT and SIGTERM are blocked in the worker. It asks for
// a stack of 8192 bytes and takes the system's default where that is too small.
class WorkerThread {
  public:
    using Entry = void* (*)(void* argument);

    WorkerThread() = default;
    // Joins; destroyed by the worker itself, it lets the thread run out on its own.
    ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Runs entry(argument) on a new thread; its result is dropped. False, with errno set, when the system has no more
    // threads to give (EAGAIN) or this one was not joined yet (EBUSY).
    bool Start(Entry entry, void* argument);
    // Waits for the end of the thread. False, without waiting, when none was started or the worker calls it itself.
    bool Join();
    // Started and not joined yet (it may have run to its end already). Thread-safe.
    bool Joinable() const { return m_joinable; }

  private:
    static void* Run(void* self);
    bool IsCurrent() const;

    Entry m_entry = nullptr;
    void* m_argument = nullptr;
    pthread_t m_thread{};
    std::atomic<bool> m_joinable{false};
};

}  // namespace Varno
