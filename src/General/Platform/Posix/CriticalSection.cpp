// TCriticalSection over a recursive pthread mutex.
#include "General/Platform/CriticalSection.h"

#include <pthread.h>

namespace {
pthread_mutex_t *Native(void *section) { return static_cast<pthread_mutex_t *>(section); }
} // namespace

TCriticalSection::TCriticalSection() {
    // The runtime's own new, never the library heap: the allocator locks with this class.
    auto *mutex = new pthread_mutex_t;
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    m_Section = mutex;
}

TCriticalSection::~TCriticalSection() {
    pthread_mutex_destroy(Native(m_Section));
    delete Native(m_Section);
}

TError TCriticalSection::Release() {
    pthread_mutex_unlock(Native(m_Section));
    return TError(0);
}

TError TCriticalSection::Lock() {
    pthread_mutex_lock(Native(m_Section));
    return TError(0);
}
