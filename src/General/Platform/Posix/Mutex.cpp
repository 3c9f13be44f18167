// TMutex over lock files and flock. flock excludes open file descriptions, not threads, so
// each name has one record per process: the record's owner and recursion count decide among
// the process's threads, and only the thread that takes the record goes on to the file lock.
#include "General/Platform/Mutex.h"

#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "General/Platform/Detail/ThreadIdentity.h"

namespace vlib::detail {

struct TNamedMutex {
    std::string key;
    int fd = -1;
    int users = 0; // TMutex objects of this name; guarded by the registry's lock

    std::mutex guard;
    std::condition_variable freed;
    uintptr_t owner = 0; // guarded by guard
    int recursion = 0;   // guarded by guard
};

namespace {

// The directory of the lock files: /dev/shm, where the system keeps its other named objects,
// or /tmp where there is none.
const char *LockDirectory() {
    static const char *const kDirectory = [] {
        struct stat info;
        if (stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode) &&
            access("/dev/shm", W_OK | X_OK) == 0)
            return "/dev/shm";
        return "/tmp";
    }();
    return kDirectory;
}

// The file name of a mutex name: letters, digits, '.', '_' and '-' stay, every other byte
// becomes %XX, so distinct names give distinct files and no name can climb out of the
// directory.
std::string LockFileName(const char *name) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string file = std::string(LockDirectory()) + "/vlib-mutex-";
    for (const char *p = name; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
            c == '.' || c == '_' || c == '-') {
            file += static_cast<char>(c);
        } else {
            file += '%';
            file += kHex[c >> 4];
            file += kHex[c & 15];
        }
    }
    return file;
}

class TNamedMutexTable {
public:
    TNamedMutex *Open(const char *name) {
        std::string file = LockFileName(name);
        std::lock_guard<std::mutex> held(m_Lock);
        auto it = m_Records.find(file);
        if (it != m_Records.end()) {
            ++it->second->users;
            return it->second;
        }
        const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (fd < 0)
            return nullptr;
        auto *record = new TNamedMutex;
        record->key = std::move(file);
        record->fd = fd;
        record->users = 1;
        m_Records[record->key] = record;
        return record;
    }
    void Close(TNamedMutex *record) {
        std::lock_guard<std::mutex> held(m_Lock);
        if (--record->users > 0)
            return;
        m_Records.erase(record->key);
        close(record->fd); // also drops a file lock the process may still hold
        delete record;
    }

private:
    std::mutex m_Lock;
    std::map<std::string, TNamedMutex *> m_Records;
};

// Never destroyed: mutexes in other statics may close after this file's statics are gone.
TNamedMutexTable &Table() {
    static TNamedMutexTable *table = new TNamedMutexTable;
    return *table;
}

bool FileLock(int fd, int operation) {
    while (flock(fd, operation) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

} // namespace
} // namespace vlib::detail

using vlib::detail::CurrentThreadIdentity;
using vlib::detail::FileLock;

TMutex::TMutex(const TDynamicString &name)
    : m_Name(name), m_Handle(vlib::detail::Table().Open(name.GetData())) {}

TMutex::~TMutex() {
    if (m_Handle != nullptr)
        vlib::detail::Table().Close(m_Handle);
}

TError TMutex::Lock() {
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    const uintptr_t self = CurrentThreadIdentity();
    std::unique_lock<std::mutex> held(m_Handle->guard);
    if (m_Handle->owner == self) {
        ++m_Handle->recursion;
        return TError(TError::kSuccess);
    }
    m_Handle->freed.wait(held, [&] { return m_Handle->owner == 0; });
    m_Handle->owner = self; // other threads of the process now wait on the record
    held.unlock();
    const bool locked = FileLock(m_Handle->fd, LOCK_EX); // waits for other processes
    held.lock();
    if (!locked) {
        m_Handle->owner = 0;
        m_Handle->freed.notify_one();
        return TError(TError::kFailure);
    }
    m_Handle->recursion = 1;
    return TError(TError::kSuccess);
}

TError TMutex::TryLock(bool &locked) {
    locked = false;
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    const uintptr_t self = CurrentThreadIdentity();
    std::lock_guard<std::mutex> held(m_Handle->guard);
    if (m_Handle->owner == self) {
        ++m_Handle->recursion;
        locked = true;
    } else if (m_Handle->owner == 0) {
        if (FileLock(m_Handle->fd, LOCK_EX | LOCK_NB)) {
            m_Handle->owner = self;
            m_Handle->recursion = 1;
            locked = true;
        } else if (errno != EWOULDBLOCK) {
            return TError(TError::kFailure);
        }
    }
    return TError(TError::kSuccess);
}

TError TMutex::IsLocked(bool &locked) {
    locked = false;
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    const uintptr_t self = CurrentThreadIdentity();
    std::lock_guard<std::mutex> held(m_Handle->guard);
    if (m_Handle->owner == self)
        return TError(TError::kSuccess); // ours: a wait would succeed at once
    if (m_Handle->owner != 0) {
        locked = true;
        return TError(TError::kSuccess);
    }
    if (FileLock(m_Handle->fd, LOCK_EX | LOCK_NB)) {
        (void)FileLock(m_Handle->fd, LOCK_UN);
    } else if (errno == EWOULDBLOCK) {
        locked = true;
    } else {
        return TError(TError::kFailure);
    }
    return TError(TError::kSuccess);
}

TError TMutex::Release() {
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    std::lock_guard<std::mutex> held(m_Handle->guard);
    if (m_Handle->owner != CurrentThreadIdentity() || m_Handle->recursion < 1)
        return TError(TError::kFailure);
    if (--m_Handle->recursion > 0)
        return TError(TError::kSuccess);
    const bool unlocked = FileLock(m_Handle->fd, LOCK_UN);
    m_Handle->owner = 0;
    m_Handle->freed.notify_one();
    return unlocked ? TError(TError::kSuccess) : TError(TError::kFailure);
}
