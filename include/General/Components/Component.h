// The base class of every node of the component tree: a named root object with children, an
// ordered list of the children that are processed, and the components it depends on. Concrete
// components live in client modules; TComponentManager owns them all and drives their life.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/RootObject.h"
#include "General/Core/StringInt.h"

class TAsciiOutFilter;
class TComponentManager;
class TComponentReport;
class TComponentTreeBuilder;
class TIOAdapter;
class TParameterList;
class TRootContainer;

/// A named node of the component tree. Owned by its TComponentManager, never by its parent.
class VLIB_API TComponent : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TComponent)

public:
    /// Whether the manager measures initialisation and processing times; true at start.
    static bool Timing;
    /// Stored for a host's own memory tracking; true at start and steers nothing here.
    static bool MemoryTracking;

    TComponent();
    TComponent(const TComponent &) = delete;
    TComponent &operator=(const TComponent &) = delete;

    // Stream operations: a component keeps no payload of its own in a container.
    TError ReadBinary(TFileObj &file) override;
    TError WriteBinary(TFileObj &file) override;
    TError ReadAscii(TAsciiInFilter &filter) override;
    TError WriteAscii(TAsciiOutFilter &filter) override;

protected:
    ~TComponent() override;

    /// Marks the component initialised. An override must call this base version.
    void Initialise() override;

public:
    /// True if this component or any of its descendants is bad.
    virtual bool IsBad();

protected:
    // The defaults are out of line, so that every module's vtable leads to this library's one
    // copy and the manager can recognise a default it need not call.
    /// Writes the component's state lines, and its children's one level deeper.
    virtual void Report(TAsciiOutFilter &filter, int depth);
    /// Runs once a frame before the children are processed.
    virtual void Preprocess();
    /// Runs once a frame after the children are processed.
    virtual void Process();
    /// How often the parent processes this component in each of its rounds.
    virtual int GetProcessCount();
    /// How many rounds over the active children make one frame.
    virtual int GetChildProcessCount();
    /// Asked after each round; true ends the frame's rounds early.
    virtual bool BreakChildProcess();
    /// Runs once, after the tree has been read and before any initialisation.
    virtual void Create();
    /// Runs once, after Uninitialise, just before the component is deleted.
    virtual void Destroy();
    /// Clears the initialised flag. An override must call this base version.
    virtual void Uninitialise();
    /// Marks a component initialised whose state will be loaded or filled in by its owner.
    virtual void InitialiseBlank();
    /// Forgets the running state before a state file is read.
    virtual void ClearState();
    /// Rebuilds what depends on the running state after a state file was read.
    virtual void InitState();
    /// Reads or writes the running state; must write the same bytes on every save.
    virtual void StreamState(TIOAdapter &adapter);
    /// Adds the containers to store beside the state file, each with its file name.
    virtual void StreamContainers(TLibVector<TRootContainer *> &containers,
                                  TLibVector<TDynamicString> &files);

public:
    const TDynamicString &GetName() const { return m_Name; }
    /// The definition path the manager held when this component was made.
    const TDynamicString &GetPathData() const { return m_PathData; }
    const TDynamicString &GetComment() const { return m_Comment; }
    int GetNumChildren() const { return static_cast<int>(m_Children.size()); }
    /// The child at `index`, or null when out of range.
    TComponent *GetChild(int index) const;
    /// The first child of that exact name, or null.
    TComponent *GetChild(const TDynamicString &name) const;
    bool IsInitialised() const { return m_Initialised; }
    bool IsActive() const { return m_Active; }
    /// Position in the manager's initialisation order, -1 while not initialised.
    int GetIndex() const { return m_Index; }
    /// The component's parameters, or null; owned by the component.
    TParameterList *GetParameters() const { return m_Parameters; }
    /// Gives the component `parameters` to own.
    void SetParameters(TParameterList *parameters);
    /// Writes the state lines of the whole sub-tree.
    void Report(TAsciiOutFilter &filter) { Report(filter, 0); }
    /// Clears the five flags and forgets the parameters without deleting them, for a component
    /// that was copied bit by bit and is to start clean.
    void ClearCrap();

    static void SetTiming(bool on) { Timing = on; }
    static bool GetTiming() { return Timing; }
    static void SetMemoryTracking(bool on) { MemoryTracking = on; }
    static bool GetMemoryTracking() { return MemoryTracking; }

protected:
    void SetActive(bool active);
    void SetBad(bool bad);
    /// Writes `count` tabs and a terminator to `buffer`; a count below 1 gives the empty text.
    static void MakeTab(int count, char *buffer);

private:
    friend class TComponentManager;
    friend class TComponentTreeBuilder;

    void SetName(const TDynamicString &name) { m_Name = name; }
    void SetComment(const TDynamicString &comment) { m_Comment = comment; }
    void SetPathData(const TDynamicString &pathData) { m_PathData = pathData; }
    void AddChild(TComponent *child);
    void RemoveChild(TComponent *child);
    void AddActiveComponent(TComponent *child);
    void InsertActiveComponent(TComponent *child, TComponent *before);
    void RemoveActiveComponent(TComponent *child);
    void AddDependency(TComponent *dependency);
    void RemoveDependency(TComponent *dependency);
    /// Feeds one of the nine running statistics; see the statistic numbers in Component.cpp.
    void RecordStatistic(int statType, float value);

    TDynamicString m_Name;
    TDynamicString m_PathData;
    TDynamicString m_Comment;
    TLibVector<TComponent *> m_Children;         // not owned: the manager owns every component
    TLibVector<TComponent *> m_ActiveComponents; // not owned; in process order
    TLibVector<TComponent *> m_Dependencies;     // not owned
    TParameterList *m_Parameters = nullptr;      // owned
    TComponentReport *m_Reports = nullptr;       // owned: nine reports, one per statistic
    bool m_Bad = false;
    bool m_Active = false;
    bool m_Initialised = false;
    bool m_Initialising = false;
    bool m_Processing = false;
    int32_t m_Index = -1;
};
