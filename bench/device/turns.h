// Threads that take turns, on a clock that only moves when all of them wait.
#pragma once

#include <pthread.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace device {

// Runs the threads of the process one at a time and always in the same order, so that a program with threads executes
// the same instructions every time. A thread keeps the turn until it sleeps, waits or ends; then the one with the
// earliest wake-up goes on, and the clock is moved there. The link wraps pthread_create, pthread_join,
// pthread_cond_timedwait, the operations of std::condition_variable and time(2) in the program's own objects (see
// CMakeLists.txt), so that all its waiting ends up here. All members are for the thread that has the turn.
//
// Only the last steps of a thread that ends run beside the one that joins it: works that end threads differ by some
// hundred instructions from run to run.
class Turns {
  public:
    using Time = std::chrono::nanoseconds;
    static constexpr Time kForever = Time::max();

    // Made on first use, which makes the calling thread the one that has the turn. Never destroyed.
    static Turns& Instance();

    // Time since the machine was started.
    Time Now() const { return m_now; }
    void SleepUntil(Time time) { Wait(nullptr, time); }
    // Waits for Notify(object) until `deadline`; whether it came.
    bool Wait(const void* object, Time deadline);
    // Wakes one or all of the threads that wait for `object`.
    void Notify(const void* object, bool all);
    // Ends the process at once. Whoever passed the turn on last needs some 160 instructions more before it sleeps; it
    // is given a moment for them, so that they are in every count.
    [[noreturn]] static void End(int status);

    // From now on only the process's first thread and the calling one get a turn.
    void FreezeOthers();

    // Gives threads that start from now on stacks of their own, whose use can be told afterwards.
    void PaintStacks() { m_paint = true; }
    // What the calling thread does, for the report on stacks; the first name counts.
    void NameThread(const char* name);
    struct StackUse {
        const char* name;
        std::size_t deepest;  // bytes below the thread's first frame
    };
    // The deepest use of every kind of thread so far; those without a name are one kind.
    std::vector<StackUse> StackUses() const;

    // What stands in for the wrapped functions.
    int Create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument);
    void AwaitEnd(pthread_t thread);

  private:
    struct Thread;

    Turns();
    static void* Run(void* self);
    Thread* Next();
    const char* NameOf(const Thread& thread) const;
    void PassOn(Thread* me);

    std::vector<std::unique_ptr<Thread>> m_threads;
    Time m_now{std::chrono::seconds(1000)};
    std::uint64_t m_waits = 0;  // so far: threads that wake at the same time go on in the order in which they waited
    bool m_paint = false;
};

}  // namespace device
