#include "sys/worker_thread.h"

#include <cerrno>
#include <csignal>

namespace Varno {
namespace {

constexpr std::size_t kStackSize = 8192;

thread_local const WorkerThread* t_current = nullptr;

// Creates the thread with the wanted stack, or, where the system refuses so small a stack, with its default.
int CreateThread(pthread_t* thread, WorkerThread::Entry entry, void* argument) {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error) return error;
    error = pthread_attr_setstacksize(&attributes, kStackSize);
    if (!error) error = pthread_create(thread, &attributes, entry, argument);
    pthread_attr_destroy(&attributes);
    return error == EINVAL ? pthread_create(thread, nullptr, entry, argument) : error;
}

}  // namespace

WorkerThread::~WorkerThread() {
    if (!Join() && IsCurrent()) pthread_detach(m_thread);
}

bool WorkerThread::Start(Entry entry, void* argument) {
    if (m_joinable) {
        errno = EBUSY;
        return false;
    }
    m_entry = entry;
    m_argument = argument;
    m_joinable = true;

    // A new thread inherits the mask of the one that makes it.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &ending, &before);
    const int error = CreateThread(&m_thread, &WorkerThread::Run, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    if (error) {
        m_joinable = false;
        errno = error;
    }
    return error == 0;
}

bool WorkerThread::Join() {
    if (!m_joinable || IsCurrent()) return false;
    pthread_join(m_thread, nullptr);
    m_joinable = false;
    return true;
}

void* WorkerThread::Run(void* self) {
    const auto* worker = static_cast<const WorkerThread*>(self);
    t_current = worker;
    return worker->m_entry(worker->m_argument);
}

bool WorkerThread::IsCurrent() const {
    return t_current == this;
}

}  // namespace Varno
