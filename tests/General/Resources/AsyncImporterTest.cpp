// Tests of the asynchronous importer's queue and worker with a stand-in load routine: order,
// removal and waiting, shutdown with loads queued, and queueing from the main thread while
// the worker loads (also run under ThreadSanitizer).
#include "General/Resources/AsyncImporter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "General/Resources/Detail/AsyncImportRoutine.h"
#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/Resource.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Resources/ResourceManager.h"
#include "ResourceTestTypes.h"
#include "Support/TempDir.h"

namespace {

using vlib::detail::TResourceAccess;

class TQueuedResource : public TResource {
public:
    TError LoadAscii(TFileObj *) override { return TError::kSuccess; }
    TError LoadBinary(TFileObj *) override { return TError::kSuccess; }
    TError SaveBinary(TFileObj *) override { return TError::kSuccess; }
    bool IsValidVersion(uint32_t, bool) override { return true; }
    TResourceFactory *GetFactory() override;

    std::atomic<int> loads{0};
};

vlib::test::TTestFactory<TQueuedResource> gFactory{"TQueuedResource"};
TResourceFactory *TQueuedResource::GetFactory() {
    return &gFactory;
}

// What the stand-in routine saw, and a gate that can hold the worker inside a load.
struct TWorkerLog {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<uint32_t> order;
    uint32_t holdId = 0;  // a load of this id waits until released
    bool holding = false; // the worker is waiting at the gate
    bool released = false;
};
TWorkerLog *gLog = nullptr;

TError RecordingImport(TBankResourcePair &pair) {
    TQueuedResource *resource = static_cast<TQueuedResource *>(pair.resource);
    TResourceAccess::SetAsyncState(*resource, AS_Loading);
    std::unique_lock<std::mutex> lock(gLog->mutex);
    if (resource->GetID() == gLog->holdId) {
        gLog->holding = true;
        gLog->changed.notify_all();
        gLog->changed.wait(lock, [] { return gLog->released; });
        gLog->holding = false;
    }
    gLog->order.push_back(resource->GetID());
    ++resource->loads;
    TResourceAccess::SetAsyncState(*resource, AS_Loaded);
    gLog->changed.notify_all();
    return TError::kSuccess;
}

class AsyncImporterTest : public testing::Test {
protected:
    void SetUp() override {
        gLog = &m_Log;
        m_Previous = vlib::detail::SetAsyncImportRoutine(&RecordingImport);
        TAsyncImporter::StartUp();
    }
    void TearDown() override {
        Release();
        TAsyncImporter::ShutDown();
        // Whatever the test left queued goes, with the queue's reference.
        for (auto &resource : m_Resources)
            TAsyncImporter::RemoveFromQueue(resource->GetID());
        vlib::detail::SetAsyncImportRoutine(m_Previous);
        for (auto &resource : m_Resources)
            resource.release()->ReleaseRef();
        gLog = nullptr;
    }

    TQueuedResource *Make(uint32_t id) {
        m_Resources.emplace_back(new TQueuedResource);
        TResourceAccess::Attach(*m_Resources.back(), id, nullptr);
        return m_Resources.back().get();
    }
    void Queue(TQueuedResource *resource) {
        TResourceAccess::SetAsyncState(*resource, AS_Queued);
        TBankResourcePair pair{nullptr, resource};
        TAsyncImporter::AddToQueue(pair);
    }
    void Hold(uint32_t id) {
        std::lock_guard<std::mutex> lock(m_Log.mutex);
        m_Log.holdId = id;
    }
    void WaitHolding() {
        std::unique_lock<std::mutex> lock(m_Log.mutex);
        ASSERT_TRUE(m_Log.changed.wait_for(lock, std::chrono::seconds(10),
                                           [this] { return m_Log.holding; }));
    }
    void Release() {
        std::lock_guard<std::mutex> lock(m_Log.mutex);
        m_Log.released = true;
        m_Log.changed.notify_all();
    }
    std::vector<uint32_t> WaitLoaded(size_t count) {
        std::unique_lock<std::mutex> lock(m_Log.mutex);
        m_Log.changed.wait_for(lock, std::chrono::seconds(10),
                               [&] { return m_Log.order.size() >= count; });
        return m_Log.order;
    }

    TWorkerLog m_Log;
    vlib::detail::TAsyncImportRoutine m_Previous = nullptr;
    // Each resource keeps the creator's reference until TearDown.
    std::vector<std::unique_ptr<TQueuedResource>> m_Resources;
};

TEST_F(AsyncImporterTest, LoadsInQueueOrderAndDropsTheQueueReference) {
    TQueuedResource *first = Make(101);
    Hold(101);
    Queue(first);
    WaitHolding();
    const uint32_t later[] = {7, 300, 2, 55};
    for (uint32_t id : later)
        Queue(Make(id));
    EXPECT_EQ(TAsyncImporter::GetQueueLength(), 4u);
    Release();
    EXPECT_EQ(WaitLoaded(5), (std::vector<uint32_t>{101, 7, 300, 2, 55}));
    for (auto &resource : m_Resources) {
        SCOPED_TRACE(resource->GetID());
        EXPECT_EQ(resource->loads.load(), 1);
        EXPECT_EQ(resource->GetAsyncState(), AS_Loaded);
    }
    // The worker releases its reference after the routine returns, then clears the id.
    while (TAsyncImporter::GetCurrentAsyncResource() != 0)
        std::this_thread::yield();
    for (auto &resource : m_Resources)
        EXPECT_EQ(resource->GetRefCount(), 1u);
}

TEST_F(AsyncImporterTest, RemovesOnlyWaitingLoads) {
    TQueuedResource *running = Make(11);
    TQueuedResource *waiting = Make(12);
    TQueuedResource *other = Make(13);
    Hold(11);
    Queue(running);
    WaitHolding();
    Queue(waiting);
    Queue(other);

    EXPECT_EQ(TAsyncImporter::GetCurrentAsyncResource(), 11u);
    EXPECT_EQ(TAsyncImporter::IsResourceInAsyncQueue(11), nullptr);
    EXPECT_EQ(TAsyncImporter::IsResourceInAsyncQueue(12), waiting);
    EXPECT_EQ(waiting->GetRefCount(), 2u);

    struct Case {
        uint32_t id;
        bool removed;
    };
    constexpr Case kCases[] = {{11, false}, {99, false}, {12, true}, {12, false}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.id);
        EXPECT_EQ(TAsyncImporter::RemoveFromQueue(c.id), c.removed);
    }
    EXPECT_EQ(waiting->GetAsyncState(), AS_Idle);
    EXPECT_EQ(waiting->GetRefCount(), 1u);
    EXPECT_EQ(TAsyncImporter::IsResourceInAsyncQueue(12), nullptr);

    Release();
    EXPECT_EQ(WaitLoaded(2), (std::vector<uint32_t>{11, 13}));
    EXPECT_EQ(waiting->loads.load(), 0);
}

TEST_F(AsyncImporterTest, QuitAsyncReadWaitsForTheRunningLoad) {
    TAsyncImporter::QuitAsyncRead(4242); // unknown: returns at once
    TQueuedResource *running = Make(21);
    Hold(21);
    Queue(running);
    WaitHolding();
    std::atomic<bool> returned{false};
    std::thread quitter([&] {
        TAsyncImporter::QuitAsyncRead(21);
        returned = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(returned.load());
    Release();
    quitter.join();
    EXPECT_EQ(running->loads.load(), 1);
    EXPECT_NE(TAsyncImporter::GetCurrentAsyncResource(), 21u);

    // A waiting load is taken off the queue instead.
    TQueuedResource *waiting = Make(22);
    ASSERT_EQ(WaitLoaded(1).size(), 1u);
    Hold(23);
    {
        std::lock_guard<std::mutex> lock(m_Log.mutex);
        m_Log.released = false;
    }
    Queue(Make(23));
    WaitHolding();
    Queue(waiting);
    TAsyncImporter::QuitAsyncRead(22);
    EXPECT_EQ(TAsyncImporter::IsResourceInAsyncQueue(22), nullptr);
    EXPECT_EQ(waiting->GetAsyncState(), AS_Idle);
    Release();
    EXPECT_EQ(WaitLoaded(2), (std::vector<uint32_t>{21, 23}));
}

TEST_F(AsyncImporterTest, ShutDownFinishesTheRunningLoadAndLeavesTheQueue) {
    TQueuedResource *running = Make(31);
    Hold(31);
    Queue(running);
    WaitHolding();
    TQueuedResource *left = Make(32);
    Queue(left);
    ASSERT_NE(TAsyncImporter::GetThreadID(), 0u);

    std::thread stopper([] { TAsyncImporter::ShutDown(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    Release();
    stopper.join();
    EXPECT_EQ(TAsyncImporter::GetThreadID(), 0u);
    EXPECT_EQ(running->loads.load(), 1);
    EXPECT_EQ(left->loads.load(), 0);
    EXPECT_EQ(TAsyncImporter::IsResourceInAsyncQueue(32), left);
    EXPECT_EQ(left->GetRefCount(), 2u);

    // A new worker picks up what was left.
    TAsyncImporter::StartUp();
    EXPECT_EQ(WaitLoaded(2), (std::vector<uint32_t>{31, 32}));
    TAsyncImporter::ShutDown();
    TAsyncImporter::ShutDown(); // a second stop finds no worker
    EXPECT_EQ(TAsyncImporter::GetThreadID(), 0u);
}

TEST_F(AsyncImporterTest, QueueingWhileTheWorkerLoadsLosesNothing) {
    constexpr uint32_t kCount = 2000;
    std::vector<TQueuedResource *> all;
    for (uint32_t i = 1; i <= kCount; ++i)
        all.push_back(Make(i));
    // Bursts with pauses, so the worker is caught both asleep and awake.
    for (uint32_t i = 0; i < kCount; ++i) {
        Queue(all[i]);
        if (i % 97 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        if (i % 13 == 0)
            TAsyncImporter::IsResourceInAsyncQueue(i);
    }
    const std::vector<uint32_t> order = WaitLoaded(kCount);
    ASSERT_EQ(order.size(), kCount);
    for (uint32_t i = 0; i < kCount; ++i)
        ASSERT_EQ(order[i], i + 1);
    for (TQueuedResource *resource : all)
        ASSERT_EQ(resource->loads.load(), 1);
}

// The worker running real bank imports while the main thread imports other resources.
class AsyncImporterBankTest : public testing::Test {
protected:
    static constexpr int kFiles = 60;

    void SetUp() override {
        TResourceManager_I &manager = GetResourceManager();
        ASSERT_TRUE(manager.AddFactory(&vlib::test::TTextResource::Factory));
        manager.SetUseSourceResources(true);
        manager.SetStoreAutocompiledResources(false);
        std::ofstream(m_Dir.File("rules.rre"))
            << "PATHRULE \"...<*>.txt\" tag=\"$1\" type=\"testtext\"\n";
        std::vector<std::pair<std::string, std::string>> files;
        for (int i = 0; i < kFiles; ++i)
            files.emplace_back("./r" + std::to_string(i) + ".txt",
                               i % 10 == 9 ? "fail\n" : "n=" + std::to_string(i) + "\nkind=text\n");
        const std::string location = m_Dir.File("tree");
        ASSERT_TRUE(vlib::test::WriteTree(0, location, files));
        ASSERT_NE(manager.OpenBank(0, location.c_str(), m_Dir.File("rules.rre").c_str(), true,
                                   TDynamicString()),
                  nullptr);
        TAsyncImporter::StartUp();
    }
    void TearDown() override {
        TAsyncImporter::ShutDown();
        TResourceManager_I &manager = GetResourceManager();
        while (manager.GetNumBanks() > 0)
            manager.CloseBank(manager.GetBank(0));
        (void)manager.RemoveFactory(&vlib::test::TTextResource::Factory);
    }
    // Waits until the worker has nothing queued and nothing in hand. Both are read under the
    // importer's own synchronisation, so what the worker did is visible afterwards.
    static void WaitForWorker() {
        while (TAsyncImporter::GetQueueLength() != 0 ||
               TAsyncImporter::GetCurrentAsyncResource() != 0)
            std::this_thread::yield();
    }

    vlib::test::TTempDir m_Dir;
};

TEST_F(AsyncImporterBankTest, LoadsEveryQueuedResourceOnceBesideMainThreadImports) {
    TResourceManager_I &manager = GetResourceManager();
    std::vector<TResource *> queued;
    std::vector<TResource *> direct;
    for (int i = 0; i < kFiles; ++i) {
        const std::string name = "r" + std::to_string(i);
        if (i % 3 == 2) {
            // Imported here, synchronously, while the worker is busy with the others.
            TResource *resource = manager.ImportResource(name.c_str(), 0);
            EXPECT_EQ(resource == nullptr, i % 10 == 9) << name;
            if (resource != nullptr)
                direct.push_back(resource);
            continue;
        }
        TResource *resource = manager.ImportResource(name.c_str(), kImportAsync);
        ASSERT_NE(resource, nullptr) << name;
        queued.push_back(resource);
    }
    WaitForWorker();
    for (TResource *resource : queued) {
        const int index = std::stoi(std::string(resource->GetTag().GetData() + 1));
        SCOPED_TRACE(index);
        auto *text = static_cast<vlib::test::TTextResource *>(resource);
        if (index % 10 == 9) {
            // A failed load leaves the resource idle, still the client's to release.
            EXPECT_EQ(resource->GetAsyncState(), AS_Idle);
            EXPECT_TRUE(text->Pairs.empty());
        } else {
            EXPECT_EQ(resource->GetAsyncState(), AS_Loaded);
            ASSERT_EQ(text->Pairs.size(), 2u); // loaded once
            EXPECT_EQ(text->Value("n"), std::to_string(index));
        }
        EXPECT_EQ(resource->GetRefCount(), 1u);
        manager.ReleaseResource(resource);
    }
    for (TResource *resource : direct)
        manager.ReleaseResource(resource);
}

TEST_F(AsyncImporterBankTest, ShutDownWithLoadsQueuedLeavesThemUnloaded) {
    TResourceManager_I &manager = GetResourceManager();
    std::vector<TResource *> queued;
    for (int i = 0; i < kFiles; ++i) {
        TResource *resource =
            manager.ImportResource(("r" + std::to_string(i)).c_str(), kImportAsync);
        ASSERT_NE(resource, nullptr);
        queued.push_back(resource);
    }
    TAsyncImporter::ShutDown();
    EXPECT_EQ(TAsyncImporter::GetThreadID(), 0u);
    for (TResource *resource : queued) {
        SCOPED_TRACE(resource->GetID());
        const bool waiting = TAsyncImporter::IsResourceInAsyncQueue(resource->GetID()) != nullptr;
        // Every resource either went through the worker or still waits, with its reference.
        EXPECT_EQ(resource->GetRefCount(), waiting ? 2u : 1u);
        if (waiting) {
            EXPECT_EQ(resource->GetAsyncState(), AS_Queued);
            EXPECT_TRUE(TAsyncImporter::RemoveFromQueue(resource->GetID()));
            EXPECT_EQ(resource->GetAsyncState(), AS_Idle);
        } else {
            EXPECT_NE(resource->GetAsyncState(), AS_Queued);
        }
        manager.ReleaseResource(resource);
    }
    EXPECT_EQ(TAsyncImporter::GetQueueLength(), 0u);
}

} // namespace
