// The debug services: a process-wide registry of debug copies guarded by a plain mutex (no
// heap use, since the allocator reports through here), and switches read by the host.
#include "General/Core/DebugServices.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "General/Platform/DebugOutput.h"

namespace {
std::mutex &CopiesLock() {
    static std::mutex lock;
    return lock;
}
std::atomic<bool> gViewStackUp{false};
std::atomic<bool> gViewCulprits{false};
std::atomic<bool> gViewAssertCulprits{false};
std::atomic<bool> gIgnoreDuplicateAsserts{false};
std::atomic<int> gViewAlerts{0};
} // namespace

void TDbgMsgSelector::Initialise(const char *filter) {
    std::snprintf(m_Filter, sizeof(m_Filter), "%s", filter ? filter : "");
}

TFormatDebugCopy::~TFormatDebugCopy() = default;
TiFunctionTrackerListener::~TiFunctionTrackerListener() = default;

void TFormatDebugCopies::AddCopy(TFormatDebugCopy *copy) {
    if (copy == nullptr)
        return;
    std::lock_guard<std::mutex> hold(CopiesLock());
    for (auto &slot : m_Copies) {
        if (slot == copy)
            return;
    }
    for (auto &slot : m_Copies) {
        if (slot == nullptr) {
            slot = copy;
            return;
        }
    }
    std::fputs("TFormatDebugCopies: too many debug copies, one was not registered\n", stderr);
}

bool TFormatDebugCopies::RemoveCopy(TFormatDebugCopy *copy) {
    std::lock_guard<std::mutex> hold(CopiesLock());
    for (auto &slot : m_Copies) {
        if (slot == copy && copy != nullptr) {
            slot = nullptr;
            return true;
        }
    }
    return false;
}

void TFormatDebugCopies::Output(const char *text) {
    // Copy the list first so that a copy may output or unregister itself without deadlock.
    TFormatDebugCopy *copies[kMaxCopies];
    {
        std::lock_guard<std::mutex> hold(CopiesLock());
        std::memcpy(copies, m_Copies, sizeof(copies));
    }
    for (TFormatDebugCopy *copy : copies) {
        if (copy != nullptr)
            copy->OutputFDString(text);
    }
}

int TFormatDebugCopies::GetCount() const {
    std::lock_guard<std::mutex> hold(CopiesLock());
    int count = 0;
    for (TFormatDebugCopy *copy : m_Copies)
        count += copy != nullptr;
    return count;
}

bool TViewStack::Initialise() {
    gViewStackUp.store(true);
    return true;
}
void TViewStack::ShutDown() { gViewStackUp.store(false); }
bool TViewStack::IsInitialised() { return gViewStackUp.load(); }

void TDebugServices::SetViewCulprits(bool on) { gViewCulprits.store(on); }
void TDebugServices::SetViewAssertCulprits(bool on) { gViewAssertCulprits.store(on); }
void TDebugServices::SetIgnoreDuplicateAsserts(bool on) { gIgnoreDuplicateAsserts.store(on); }
void TDebugServices::SetViewAlerts(int level) { gViewAlerts.store(level); }
bool TDebugServices::GetViewCulprits() { return gViewCulprits.load(); }
bool TDebugServices::GetViewAssertCulprits() { return gViewAssertCulprits.load(); }
bool TDebugServices::GetIgnoreDuplicateAsserts() { return gIgnoreDuplicateAsserts.load(); }
int TDebugServices::GetViewAlerts() { return gViewAlerts.load(); }

char *_VarnelExpandMsg(const char *format, ...) {
    thread_local char buffer[16384];
    if (format == nullptr) {
        buffer[0] = '\0';
        return buffer;
    }
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof(buffer), format, args);
    va_end(args);
    return buffer;
}

void PopupAlert(TDbgMsgPriority &, char *title, char *text) {
    char line[16384];
    std::snprintf(line, sizeof(line), "%s: %s\n", title ? title : "", text ? text : "");
    OutputDebugStringA(line);
}

TDbgMsgSelector &GetDbgMsgSelector() {
    static TDbgMsgSelector selector;
    return selector;
}

TDbgMsgSelector &GetAssertMsgSelector() {
    static TDbgMsgSelector selector;
    return selector;
}

TFormatDebugCopies &GetFormatDebugCopies() {
    // Never destroyed: debug text may arrive from destructors of other statics at exit.
    static TFormatDebugCopies *copies = new TFormatDebugCopies;
    return *copies;
}
