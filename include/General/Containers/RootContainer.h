// The abstract owner of root objects and the only way such objects reach a file. A container
// file lists every object's class and id before any payload, so that every object exists
// before the first payload is read and references between objects resolve while reading.
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/RootObject.h"
#include "General/Core/StringInt.h"

class TIOAdapter;
class TRuntimeClass;

/// An owner of root objects, each under an id unique in it; loads and saves them.
class VLIB_API TRootContainer : public TBaseAllocator {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;
    /// The container id of a container that is not registered.
    static constexpr uint32_t kUnregistered = 0xFFFFFFFFu;
    /// The three file forms.
    enum TFormat { FormatBinary = 0, FormatText = 1, FormatDeflate = 2 };

    TRootContainer() = default;
    TRootContainer(const TRootContainer &) = delete;
    TRootContainer &operator=(const TRootContainer &) = delete;

    virtual TRootObject *GetObject(int id) = 0;
    virtual void AddObject(TRootObject *object) = 0;
    virtual bool RemoveObject(TRootObject *object) = 0;
    virtual void DeleteAll() = 0;
    virtual int Size() = 0;
    virtual int GetType() = 0;
    virtual void Initialise() {}
    virtual ~TRootContainer();
    virtual int ObjectToID(TRootObject *object);
    virtual void ResetCursor() = 0;
    virtual void NextCursor() = 0;
    virtual TRootObject *GetCursor() = 0;
    virtual void PushCursor() = 0;
    virtual void PopCursor() = 0;
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
    virtual bool IsLocked() = 0;
    /// True keeps an object out of files.
    virtual bool SkipObject(TRootObject *object);
    /// True if every object names this container and has an id of 0 or more.
    virtual bool ValidateData();

    TError Load(const TString &file, int format, bool merge);
    TError Save(const TString &file, int format, bool merge);
    /// Loads or saves several containers at once, so references may cross them.
    static TError MultiLoad(TLibVector<TRootContainer *> &containers, TLibVector<TString> &files,
                            int format, bool merge);
    static TError MultiSave(TLibVector<TRootContainer *> &containers, TLibVector<TString> &files,
                            int format, bool merge);
    /// The whole of a load or save on an adapter that the caller built.
    TError Stream(TIOAdapter &adapter, bool merge);
    /// The header stage alone; `ids` receives the ids of the objects created.
    TError StreamHeaders(TIOAdapter &adapter, bool merge, int count, TLibVector<int> &ids);
    /// The data stage alone.
    TError StreamData(TIOAdapter &adapter, bool merge, int count);

    const TString &GetIdentifier() const { return m_Identifier; }
    void SetIdentifier(const TString &identifier) { m_Identifier = identifier; }
    uint32_t GetContainerID() const { return m_ContainerID; }
    void SetContainerID(unsigned long id) { m_ContainerID = static_cast<uint32_t>(id); }
    const TString &GetDebugIdentifier() const { return m_DebugIdentifier; }
    void SetDebugIdentifier(const TString &text) { m_DebugIdentifier = text; }
    bool GetMergeOnLoad() const { return m_MergeOnLoad; }

    /// Registers this container with the bank under its identifier.
    void RegisterMe();
    /// Removes this container from the bank, if a bank exists.
    void DeRegisterMe();
    /// -1 gives null, anything else GetObject.
    TRootObject *IDToObject(int id);
    /// True if the object's id finds this very object here.
    bool ContainsObject(TRootObject *object);
    /// Initialise on every object, in cursor order, under Lock.
    void InitialiseAll();
    void GetObjectsOfClass(const TString &name, bool includeDerived,
                           TLibVector<TRootObject *> &out);
    void GetObjectsOfClass(TRuntimeClass *cls, TLibVector<TRootObject *> &out);
    void GetObjectsOfClasses(TLibVector<TString> &names, bool includeDerived,
                             TLibVector<TRootObject *> &out);
    /// Appends, without emptying `out`, the objects whose class has exactly this name.
    void GetAllOfClass(const TString &name, TLibVector<TRootObject *> &out);

    /// Overwrites `target` with `source`'s state through its persistent form, in a buffer
    /// shared by the process; not re-entrant. Stream results are dropped.
    static void CopyObject(TRootObject *source, TRootObject *target, bool ascii);
    /// Copies the objects of `sources` into this container under new ids; references among
    /// them, also across sources, land on the copies. `selections` (null, or one set a
    /// source, each possibly null) limits what is taken; `copies` (may be null) receives
    /// source object to copy. The sources are left as they were.
    void Merge(TLibVector<TRootContainer *> &sources, TLibSet<TRootObject *> **selections,
               bool ascii, TLibMap<TRootObject *, TRootObject *> *copies);
    /// Copies every source (key) into its target (value) in binary form, with references
    /// among the sources landing on the copies.
    static void CopyRootContainers(TLibMap<TRootContainer *, TRootContainer *> &targets);
    /// A sum of the pointers that client streaming announces and a sum of the bytes of the
    /// container's persistent form in `format`.
    void Checksum(int &pointerSum, int &dataSum, int format);
    /// Writes, per class, how many bytes the objects take in binary form and on what.
    void TrackStats(const char *file);
    /// Writes one "name=count" line per class of object held.
    void DumpObjectCounts(const char *file);
    /// The id map in force while this container is the source of a copy; null otherwise.
    TLibMap<int, int> *GetIdMap() const { return m_IdMap; }

    /// Progress lines of multi-loads and multi-saves.
    static void (*ReportCallback)(const char *format, ...);
    /// Called once per object when reading headers, reading data and writing data.
    static void (*TickCallback)();
    /// Called by client pointer-streaming code with each pointer it writes or reads.
    static void (*WritePtrCallback)(TRootObject *);
    static void (*ReadPtrCallback)(TRootObject *);
    /// Above 0 while a store deletes all its objects.
    static int DoNotDeleteDependencies;

    static TRootObject *AddNewObject(TRootContainer *container, TRuntimeClass *cls, int id) {
        return container->AddNewObject(cls, id);
    }

protected:
    virtual int AllocateID() = 0;
    /// The id after `id`; past the largest id the count wraps as a 32-bit word does.
    static int NextAfter(int id) { return static_cast<int>(static_cast<uint32_t>(id) + 1u); }
    virtual void InsertObject(TRootObject *object) = 0;
    /// Creates an object of `cls` under `id`, enters it and tells it of its container.
    virtual TRootObject *AddNewObject(TRuntimeClass *cls, int id);
    /// Container-level data behind all objects; nothing here.
    virtual void StreamExtra(TIOAdapter &adapter);

    void OrderLast(const TLibVector<TRuntimeClass *> &classes) { m_OrderLast = classes; }
    void SetIdMap(TLibMap<int, int> *map) { m_IdMap = map; }
    void SetMergeOnLoad(bool on) { m_MergeOnLoad = on; }
    /// Gives the object its id and this container, then calls its UpdateContainer.
    void SetContainer(TRootObject *object, int id);
    /// Marks the object as removed.
    static void ClearContainer(TRootObject *object);
    /// Destroys the object without touching the store; null is accepted.
    static void Delete(TRootObject *object);

private:
    struct TChain;
    class TCopyMappings;
    static TError DoMultiLoadSave(TLibVector<TRootContainer *> &containers,
                                  TLibVector<TString> &files, bool save, int format, bool merge);
    static TError DoMultiStages(TLibVector<TRootContainer *> &containers,
                                TLibVector<TString> &files, bool save, int format, bool merge);
    TError DoStream(TIOAdapter &adapter, bool merge);
    TError DoLoadSave(const TString &file, bool save, int format, bool merge);
    TError StreamInit(TIOAdapter &adapter, bool &merge, int &count, TRootContainer *&target);
    static void StreamSectionHeader(const char *name, int number, TIOAdapter &adapter);
    TError ReadObjectHeaders(TIOAdapter &adapter, bool merge, int count, TLibVector<int> &ids);
    TError WriteObjectHeaders(TIOAdapter &adapter);
    TError ReadObjectData(TIOAdapter &adapter, int count);
    TError WriteObjectData(TIOAdapter &adapter);
    TError WriteOneObjectData(TIOAdapter &adapter, TRootObject *object);
    bool IsOrderLast(TRuntimeClass *cls) const;

    TString m_Identifier;
    uint32_t m_ContainerID = kUnregistered;
    bool m_MergeOnLoad = false;
    TLibMap<int, int> *m_IdMap = nullptr; // not owned
    TLibVector<TRuntimeClass *> m_OrderLast;
    TString m_DebugIdentifier;
};
