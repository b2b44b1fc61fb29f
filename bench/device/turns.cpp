#include "bench/device/turns.h"

#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

// The linker's --wrap sends the program's calls of X to __wrap_X, and calls of __real_X to X.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                     void* argument);
extern "C" int __real_pthread_join(pthread_t thread, void** result);
// NOLINTEND(bugprone-reserved-identifier)

namespace device {
namespace {

constexpr std::size_t kStackBytes = 1024 * 1024;
constexpr unsigned char kPaint = 0xA5;

[[noreturn]] void Fail(const char* what) {
    std::perror(what);
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

struct Turns::Thread {
    pthread_t handle{};
    void* (*entry)(void*) = nullptr;
    void* argument = nullptr;
    int turn = -1;  // eventfd: one system call for each hand-over, whoever comes first
    bool ended = false;
    bool frozen = false;
    const void* object = nullptr;  // waited for
    Time wake{0};
    std::uint64_t order = 0;
    const char* name = nullptr;
    unsigned char* stack = nullptr;  // painted, from its lowest address
    const unsigned char* first_frame = nullptr;

    std::size_t DeepestUse() const {
        const unsigned char* deepest = stack;
        while (deepest < first_frame && *deepest == kPaint)
            ++deepest;
        return static_cast<std::size_t>(first_frame - deepest);
    }
    void TakeTurn() const {
        eventfd_t count = 0;
        if (eventfd_read(turn, &count) != 0) Fail("eventfd_read");
    }
};

namespace {

thread_local void* t_self = nullptr;

}  // namespace

Turns& Turns::Instance() {
    static auto& instance = *new Turns;
    return instance;
}

Turns::Turns() {
    m_threads.push_back(std::make_unique<Thread>());
    m_threads.back()->turn = eventfd(0, EFD_CLOEXEC);
    t_self = m_threads.back().get();
}

Turns::Thread* Turns::Next() {
    Thread* next = nullptr;
    for (const auto& thread : m_threads) {
        if (thread->ended || thread->frozen) continue;
        if (!next || thread->wake < next->wake || (thread->wake == next->wake && thread->order < next->order)) {
            next = thread.get();
        }
    }
    if (!next || next->wake == kForever) {
        std::fprintf(stderr, "turns: every thread waits for another\n");
        std::_Exit(EXIT_FAILURE);
    }
    return next;
}

void Turns::PassOn(Thread* me) {
    Thread* next = Next();
    m_now = std::max(m_now, next->wake);
    if (next != me) eventfd_write(next->turn, 1);
    if (next != me && !me->ended) me->TakeTurn();
}

bool Turns::Wait(const void* object, Time deadline) {
    auto* me = static_cast<Thread*>(t_self);
    me->object = object;
    me->wake = deadline;
    me->order = ++m_waits;
    PassOn(me);
    const bool notified = object && !me->object;
    me->object = nullptr;
    return notified;
}

void Turns::Notify(const void* object, bool all) {
    for (const auto& thread : m_threads) {
        if (thread->object != object || thread->ended) continue;
        thread->object = nullptr;
        thread->wake = m_now;
        thread->order = ++m_waits;
        if (!all) return;
    }
}

void Turns::End(int status) {
    constexpr std::timespec kMoment{0, 20000000};
    nanosleep(&kMoment, nullptr);
    std::_Exit(status);
}

void Turns::FreezeOthers() {
    for (const auto& thread : m_threads)
        thread->frozen = thread != m_threads.front() && thread.get() != t_self;
}

void Turns::NameThread(const char* name) {
    auto* me = static_cast<Thread*>(t_self);
    if (!me->name) me->name = name;
}

// A thread that ended before it did anything to be known by is called like others of the same worker object.
const char* Turns::NameOf(const Thread& thread) const {
    if (thread.name) return thread.name;
    for (const auto& other : m_threads) {
        if (other->name && other->argument == thread.argument) return other->name;
    }
    return "stack-unnamed";
}

std::vector<Turns::StackUse> Turns::StackUses() const {
    std::vector<StackUse> uses;
    for (const auto& thread : m_threads) {
        if (!thread->stack) continue;
        const char* const name = NameOf(*thread);
        const auto same = [name](const StackUse& use) { return std::strcmp(use.name, name) == 0; };
        const auto known = std::find_if(uses.begin(), uses.end(), same);
        if (known == uses.end()) {
            uses.push_back({name, thread->DeepestUse()});
        } else {
            known->deepest = std::max(known->deepest, thread->DeepestUse());
        }
    }
    return uses;
}

int Turns::Create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument) {
    auto created = std::make_unique<Thread>();
    created->entry = entry;
    created->argument = argument;
    created->turn = eventfd(0, EFD_CLOEXEC);
    created->wake = m_now;
    created->order = ++m_waits;
    pthread_attr_t painted;
    if (m_paint) {
        void* memory =
            mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) Fail("mmap");
        std::memset(memory, kPaint, kStackBytes);
        created->stack = static_cast<unsigned char*>(memory);
        pthread_attr_init(&painted);
        pthread_attr_setstack(&painted, memory, kStackBytes);
        attributes = &painted;
    }
    const int error = __real_pthread_create(&created->handle, attributes, &Turns::Run, created.get());
    if (m_paint) pthread_attr_destroy(&painted);
    if (error) return error;
    *thread = created->handle;
    m_threads.push_back(std::move(created));
    return 0;
}

void* Turns::Run(void* self) {
    auto* me = static_cast<Thread*>(self);
    const unsigned char here = 0;
    t_self = me;
    me->TakeTurn();
    me->first_frame = &here;
    void* const result = me->entry(me->argument);
    me->ended = true;
    Turns& turns = Instance();
    turns.Notify(me, true);
    turns.PassOn(me);
    return result;
}

void Turns::AwaitEnd(pthread_t thread) {
    for (const auto& known : m_threads) {
        if (!known->ended && pthread_equal(known->handle, thread)) {
            Wait(known.get(), kForever);
            return;
        }
    }
}

}  // namespace device

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument) {
    return device::Turns::Instance().Create(thread, attributes, entry, argument);
}

int __wrap_pthread_join(pthread_t thread, void** result) {
    device::Turns::Instance().AwaitEnd(thread);
    return __real_pthread_join(thread, result);
}

std::time_t __wrap_time(std::time_t* result) {
    const auto now = device::Turns::Instance().Now();
    const auto seconds = static_cast<std::time_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count());
    if (result) *result = seconds;
    return seconds;
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const std::timespec* deadline) {
    const auto time = std::chrono::seconds(deadline->tv_sec) + std::chrono::nanoseconds(deadline->tv_nsec);
    device::Turns& turns = device::Turns::Instance();
    if (time <= turns.Now()) return ETIMEDOUT;
    pthread_mutex_unlock(mutex);
    const bool notified = turns.Wait(condition, time);
    pthread_mutex_lock(mutex);
    return notified ? 0 : ETIMEDOUT;
}

// std::condition_variable's wait, notify_one and notify_all; its native handle is its own address here, as
// pthread_cond_timedwait sees it.
void __wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(std::condition_variable* condition,
                                                                      std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    device::Turns::Instance().Wait(condition->native_handle(), device::Turns::kForever);
    lock.lock();
}

void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable* condition) {
    device::Turns::Instance().Notify(condition->native_handle(), false);
}

void __wrap__ZNSt18condition_variable10notify_allEv(std::condition_variable* condition) {
    device::Turns::Instance().Notify(condition->native_handle(), true);
}
}
// NOLINTEND(bugprone-reserved-identifier)
