// The asynchronous importer's queue and worker. The queue and its map share one re-entrant
// lock; the worker sleeps on a condition variable with a pending flag, so a resource queued
// between its last look at the queue and its going to sleep still wakes it.
#include "General/Resources/AsyncImporter.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <new>
#include <sched.h>

#include "General/Platform/Thread.h"
#include "General/Resources/Detail/AsyncImportRoutine.h"
#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/Detail/ResourceBank.h"
#include "General/Resources/Resource.h"

TLibVector<TBankResourcePair> TAsyncImporter::TheQueue;
TLibMap<uint32_t, TResource *> TAsyncImporter::TheMap;
TCriticalSection TAsyncImporter::QueueLock;
std::atomic<bool> TAsyncImporter::ThreadRunning{false};
std::atomic<int> TAsyncImporter::ThreadHandle{0};
std::atomic<uint32_t> TAsyncImporter::ThreadID{0};
std::atomic<uint32_t> TAsyncImporter::m_uThreadAffinity{0};
std::atomic<uint32_t> TAsyncImporter::m_uThreadAffinityPrevious{0};
std::atomic<uint32_t> TAsyncImporter::CurrentAsyncResourceID{0};

namespace {

constexpr const char *kQueueHolder = "AsyncImporter";

TError ImportThroughBank(TBankResourcePair &pair) {
    return static_cast<TResourceBank *>(pair.bank)->ImportEntry(pair.resource);
}

std::atomic<vlib::detail::TAsyncImportRoutine> g_ImportRoutine{&ImportThroughBank};

// The worker's sleep. `pending` remembers a wake-up that came while the worker was awake.
std::mutex g_WakeMutex;
std::condition_variable g_WakeSignal;
bool g_WakePending = false; // guarded by g_WakeMutex

// Serialises StartUp and ShutDown against each other.
std::mutex g_LifeMutex;

} // namespace

vlib::detail::TAsyncImportRoutine
vlib::detail::SetAsyncImportRoutine(vlib::detail::TAsyncImportRoutine routine) {
    return g_ImportRoutine.exchange(routine != nullptr ? routine : &ImportThroughBank);
}

void TAsyncImporter::StartUp() {
    std::lock_guard<std::mutex> life(g_LifeMutex);
    if (ThreadHandle.load() != 0)
        return;
    ThreadRunning.store(true);
    int handle = 0;
    unsigned long id = 0;
    if (!SpawnThread(&TAsyncImporter::MainProc, &handle, &id)) {
        ThreadRunning.store(false);
        return;
    }
    ThreadHandle.store(handle);
    ThreadID.store(static_cast<uint32_t>(id));
}

void TAsyncImporter::ShutDown() {
    std::lock_guard<std::mutex> life(g_LifeMutex);
    const int handle = ThreadHandle.load();
    if (handle == 0)
        return;
    ThreadRunning.store(false);
    Wake();
    (void)WaitForThreadEnd(handle, nullptr);
    ThreadHandle.store(0);
    ThreadID.store(0);
}

unsigned long TAsyncImporter::GetThreadID() {
    return ThreadID.load();
}

void *TAsyncImporter::MainProc(void *unused, int handle) {
    (void)unused;
    (void)handle;
    SetThreadName(-1, "AsyncImpt");
    while (ThreadRunning.load()) {
        const uint32_t affinity = m_uThreadAffinity.load();
        if (affinity != m_uThreadAffinityPrevious.load()) {
            m_uThreadAffinityPrevious.store(affinity);
            SetThreadAffinity(affinity);
            sched_yield();
        }
        for (;;) {
            TBankResourcePair pair{nullptr, nullptr};
            {
                vlib::TCriticalSectionGuard guard(QueueLock);
                if (TheQueue.empty())
                    break;
                pair = PopFront();
                // Set before the lock goes, so QuitAsyncRead never sees the resource nowhere.
                CurrentAsyncResourceID.store(pair.resource->GetID());
            }
            // The resource's state says how the load ended.
            (void)g_ImportRoutine.load()(pair);
            pair.resource->ReleaseRef(kQueueHolder);
            CurrentAsyncResourceID.store(0);
            if (!ThreadRunning.load())
                break;
        }
        std::unique_lock<std::mutex> lock(g_WakeMutex);
        g_WakeSignal.wait(lock, [] { return g_WakePending || !ThreadRunning.load(); });
        g_WakePending = false;
    }
    return nullptr;
}

void TAsyncImporter::Wake() {
    {
        std::lock_guard<std::mutex> lock(g_WakeMutex);
        g_WakePending = true;
    }
    g_WakeSignal.notify_one();
}

void TAsyncImporter::AddToQueue(TBankResourcePair &pair) {
    if (pair.resource == nullptr)
        return;
    pair.resource->AcquireRef(kQueueHolder);
    bool queued = true;
    (void)QueueLock.Lock();
    try {
        TheQueue.push_back(pair);
        try {
            TheMap[pair.resource->GetID()] = pair.resource;
        } catch (const std::bad_alloc &) {
            TheQueue.pop_back();
            queued = false;
        }
    } catch (const std::bad_alloc &) {
        queued = false;
    }
    (void)QueueLock.Release();
    if (!queued) {
        // Nothing will load it: it goes back to idle, as a failed load would leave it.
        vlib::detail::TResourceAccess::SetAsyncState(*pair.resource, AS_Idle);
        pair.resource->ReleaseRef(kQueueHolder);
        return;
    }
    Wake();
}

TBankResourcePair TAsyncImporter::PopFront() {
    TBankResourcePair pair = TheQueue.front();
    TheQueue.erase(TheQueue.begin());
    TheMap.erase(pair.resource->GetID());
    return pair;
}

TResource *TAsyncImporter::IsResourceInAsyncQueue(unsigned long id) {
    vlib::TCriticalSectionGuard guard(QueueLock);
    auto it = TheMap.find(static_cast<uint32_t>(id));
    return it != TheMap.end() ? it->second : nullptr;
}

bool TAsyncImporter::RemoveFromQueue(unsigned long id) {
    const uint32_t key = static_cast<uint32_t>(id);
    TResource *resource = nullptr;
    {
        vlib::TCriticalSectionGuard guard(QueueLock);
        auto it = std::find_if(TheQueue.begin(), TheQueue.end(), [key](const TBankResourcePair &p) {
            return p.resource->GetID() == key;
        });
        if (it == TheQueue.end())
            return false;
        resource = it->resource;
        vlib::detail::TResourceAccess::SetAsyncState(*resource, AS_Idle);
        TheQueue.erase(it);
        TheMap.erase(key);
    }
    // Released outside the lock: the last reference deletes the resource, which reaches
    // its bank.
    resource->ReleaseRef(kQueueHolder);
    return true;
}

unsigned long TAsyncImporter::GetCurrentAsyncResource() {
    return CurrentAsyncResourceID.load();
}

void TAsyncImporter::QuitAsyncRead(unsigned long id) {
    if (RemoveFromQueue(id))
        return;
    const uint32_t key = static_cast<uint32_t>(id);
    while (CurrentAsyncResourceID.load() == key && key != 0)
        sched_yield();
}

void TAsyncImporter::SetAffinity(unsigned long mask) {
    m_uThreadAffinity.store(static_cast<uint32_t>(mask));
    // The worker applies it when it next wakes.
}

size_t TAsyncImporter::GetQueueLength() {
    vlib::TCriticalSectionGuard guard(QueueLock);
    return TheQueue.size();
}
