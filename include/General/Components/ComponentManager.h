// The owner and driver of a component tree: creates components by class name, initialises
// them in dependency order, processes the tree once a frame and destroys components in the
// reverse order of their initialisation. TComponentTreeBuilder lets code build a tree without
// definition files.
#pragma once

#include <cstdint>

#include "General/Components/Component.h"
#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

class TParameterSubstituter;

/// Owns every component of one tree and drives it; a plain object, used from one thread.
class VLIB_API TComponentManager : public TBaseAllocator {
public:
    TComponentManager();
    /// Calls no Uninitialise or Destroy; it only frees the components still held, such as
    /// those an aborted start left uninitialised. Call UnloadRootComponents first.
    ~TComponentManager();
    TComponentManager(const TComponentManager &) = delete;
    TComponentManager &operator=(const TComponentManager &) = delete;

    /// Reads the tree `name` from definitions, creates it and initialises it in dependency
    /// order. False, with a debugger message and no root, when no tree could be read; test
    /// HasAborted() as well after a load that returned true.
    bool LoadRootComponents(const TDynamicString &name);
    /// Destroys the root's tree in reverse initialisation order and forgets the root.
    void UnloadRootComponents();
    /// Reads definitions through the resource system (the default).
    void UseResourceSystem();
    /// Reads definitions from files under `path`.
    void UseDirectory(const TDynamicString &path);
    /// Replaces the substitutions applied to definitions with a copy of `substituter`; null
    /// removes them.
    void SetParameterSubstituter(TParameterSubstituter *substituter);

    /// Processes the tree once: call once a frame.
    void ProcessRoot();

    TComponent *GetRoot() const { return m_Root; }
    /// The component of that exact name, or null.
    TComponent *GetComponent(const TDynamicString &name) const;
    /// The component at `index` in initialisation order, or null when out of range.
    TComponent *GetComponent(int index) const;
    /// The number of initialised components, the range of GetComponent(int).
    int CountComponents() const { return static_cast<int>(m_InitialisedList.size()); }
    /// Appends the names of all components held, in name order.
    void GetComponentNames(TLibVector<TDynamicString> &names) const;
    /// Seconds the component at `index` took in the last finished frame; 0 when out of range.
    float GetComponentProcessTime(int index) const;

    /// Creates, initialises and attaches a component of a registered class under `parent` (which
    /// may be null), with its active flag set to `active`; it is not put on the parent's active
    /// list. Null for an unknown class, a class that is no component, or a name already taken.
    TComponent *AddNewComponent(const TDynamicString &className, const TDynamicString &name,
                                TComponent *parent, bool active);
    /// Reads the components of a definition file and attaches each new top-level one like the
    /// form above; `*first` receives the first if it was null. False if the file was not read.
    bool AddNewComponent(const TDynamicString &definitionFile, TComponent *parent, bool active,
                         TComponent **first);
    /// Attaches a component that is initialised blank: neither Create nor Initialise runs, and
    /// its owner or loaded state fills it in. False, with `*result` untouched, under the
    /// conditions that make AddNewComponent return null.
    bool AddBlankComponent(const TDynamicString &className, const TDynamicString &name,
                           TComponent *parent, bool active, TComponent **result);
    /// Uninitialises, destroys and deletes `component` and its descendants, in reverse order of
    /// initialisation. Components of the sub-tree that were never initialised are left alone.
    void DestroyComponent(TComponent *component);
    /// Sets only the component's active flag; its place on its parent's active list stays.
    void SetComponentActive(TComponent *component, bool active);

    /// Called from a component's Initialise to cancel the start: no further component is
    /// initialised until the next LoadRootComponents.
    void AbortInitSequence() { m_Aborted = true; }
    bool HasAborted() const { return m_Aborted; }

    /// Saves or restores the running state of the tree under the directory prefix `path`.
    TError StreamState(const TDynamicString &path, int format, bool save);

private:
    friend class TComponentTreeBuilder;

    TComponent *CreateComponent(const TDynamicString &className, const TDynamicString &name);
    /// Enters `component` under its name; false if the name is taken.
    bool AddComponent(TComponent *component);
    void RemoveComponent(TComponent *component);
    void SetRoot(TComponent *root) { m_Root = root; }
    /// Reads a definition file in its two passes; false if either failed.
    bool LoadComponents(const TDynamicString &name);
    /// Create over the whole sub-tree, each component before its children.
    void CreateRecurse(TComponent *component);
    /// DoInitialise over the whole sub-tree, for components created during the walk.
    void InitialiseRecurse(TComponent *component);
    /// Initialises the dependencies, then the component, then its children.
    void DoInitialise(TComponent *component);
    /// Create and initialise a tree whose root is set.
    void StartTree();
    void DoProcess(TComponent *component);
    // The frame walk behind DoProcess; private to the library.
    struct TFrameDefaults;
    __attribute__((visibility("hidden"))) void RunProcess(TComponent *component,
                                                          const TFrameDefaults &defaults);
    __attribute__((visibility("hidden"))) void RunActiveList(TComponent *component,
                                                             const TFrameDefaults &defaults);
    /// The last component, in name order, that lists `component` as a child; null if none.
    TComponent *FindParent(TComponent *component) const;
    void ResetTimingStats();
    void AddTimingStat(TComponent *component, float seconds);
    /// Renumbers every component from the initialised list and sizes the timing arrays.
    void UpdateComponentIndices();
    /// Appends `component` to the initialised list and numbers it; the same as
    /// UpdateComponentIndices after an append, without touching the others.
    void AppendInitialised(TComponent *component);

    // FIXME: becomes a TDirectory once file-system operations exist; until then the path that
    // UseDirectory was given.
    TDynamicString m_Directory;
    TDynamicString m_PathData;
    bool m_UseResourceSystem = true;
    TLibMap<TDynamicString, TComponent *> m_Components; // owned
    TComponent *m_Root = nullptr;                       // not owned: an entry of m_Components
    TParameterSubstituter *m_Substitutions = nullptr;   // owned
    TLibVector<TComponent *> m_InitialisedList;         // not owned; in initialisation order
    TLibVector<float> m_Timings[2]; // seconds per component: frame being built, last frame
    uint32_t m_TimingIndex = 0;     // the array being built
    bool m_Aborted = false;
};

/// Builds a component tree in code, for hosts and tests without definition files: it makes the
/// links that definitions would make, names the root and starts the tree.
class VLIB_API TComponentTreeBuilder {
public:
    explicit TComponentTreeBuilder(TComponentManager &manager) : m_Manager(manager) {}
    TComponentTreeBuilder(const TComponentTreeBuilder &) = delete;
    TComponentTreeBuilder &operator=(const TComponentTreeBuilder &) = delete;

    /// Makes a component of a registered class and enters it in the manager, neither created
    /// nor initialised. Null for an unknown class, a class that is no component, or a name
    /// already taken.
    TComponent *Make(const TDynamicString &className, const TDynamicString &name);
    /// Makes a component as Make does, adds it as a child of `parent` and, with `active`, puts
    /// it at the end of the parent's active list.
    TComponent *MakeChild(TComponent *parent, const TDynamicString &className,
                          const TDynamicString &name, bool active);
    void SetRoot(TComponent *root) { m_Manager.SetRoot(root); }
    void SetComment(TComponent *component, const TDynamicString &comment);
    void AddChild(TComponent *parent, TComponent *child);
    void RemoveChild(TComponent *parent, TComponent *child);
    /// Sets the child's active flag and appends it to the parent's active list.
    void AddActive(TComponent *parent, TComponent *child);
    /// Sets the child's active flag and inserts it before `before`, or at the end when
    /// `before` is null or not on the list.
    void InsertActive(TComponent *parent, TComponent *child, TComponent *before);
    /// Takes the child off the parent's active list and clears its active flag.
    void RemoveActive(TComponent *parent, TComponent *child);
    void AddDependency(TComponent *component, TComponent *dependency);
    void RemoveDependency(TComponent *component, TComponent *dependency);
    /// Clears an earlier abort and runs Create, then initialisation, over the root's tree, as
    /// loading definitions does. False if there is no root or a component aborted the start.
    bool Start();

private:
    TComponentManager &m_Manager;
};
