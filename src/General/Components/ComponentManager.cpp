// The component manager: creation by class name, initialisation in dependency order, the
// once-a-frame walk over the active lists, and destruction in reverse initialisation order.
#include "General/Components/ComponentManager.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "General/Components/Detail/VirtualSlot.h"
#include "General/Components/ParameterList.h"
#include "General/Core/RuntimeClass.h"
#include "General/Platform/DebugOutput.h"

namespace {

// DestroyComponent calls made on this thread, by which a destruction walk notices that an
// Uninitialise or Destroy it called destroyed components of its own.
thread_local uint64_t tDestroyCalls = 0;

} // namespace

TComponentManager::TComponentManager()
    // An empty table from the start, so that a definition's `define` always has one to go into.
    : m_Substitutions(new (std::nothrow) TParameterSubstituter) {}

TComponentManager::~TComponentManager() {
    // Whatever is still held was never destroyed, typically the components an aborted start
    // left uninitialised; their memory goes, without Uninitialise or Destroy.
    for (auto &entry : m_Components)
        TRootObject::Delete(entry.second);
    delete m_Substitutions;
}

bool TComponentManager::LoadRootComponents(const TDynamicString &name) {
    m_Root = nullptr;
    m_Aborted = false;
    if (!LoadComponents(name) || m_Root == nullptr) {
        // A definition that yields no root leaves nothing to create or initialise.
        m_Root = nullptr;
        char text[512];
        std::snprintf(text, sizeof(text),
                      "TComponentManager: no root component could be read from \"%s\"\n",
                      name.GetData());
        OutputDebugStringA(text);
        return false;
    }
    StartTree();
    return true;
}

void TComponentManager::UnloadRootComponents() {
    if (m_Root != nullptr)
        DestroyComponent(m_Root);
    m_Root = nullptr;
}

void TComponentManager::UseResourceSystem() {
    m_UseResourceSystem = true;
}

void TComponentManager::UseDirectory(const TDynamicString &path) {
    m_Directory = path;
    m_UseResourceSystem = false;
}

void TComponentManager::SetParameterSubstituter(TParameterSubstituter *substituter) {
    // The manager keeps its own copy, so a host may preset entries on a table it then reuses.
    TParameterSubstituter *copy = nullptr;
    if (substituter != nullptr) {
        try {
            copy = new TParameterSubstituter(*substituter);
        } catch (const std::bad_alloc &) {
            // Out of memory: keep the current table rather than lose it.
            return;
        }
    }
    delete m_Substitutions;
    m_Substitutions = copy;
}

bool TComponentManager::LoadComponents(const TDynamicString &name) {
    // FIXME: run the two definition passes (create by name, then link) once component
    // definitions can be read; until then no tree can come from a file.
    (void)name;
    return false;
}

void TComponentManager::ProcessRoot() {
    m_TimingIndex = (m_TimingIndex - 1) & 1;
    ResetTimingStats();
    if (m_Root != nullptr)
        DoProcess(m_Root);
}

TComponent *TComponentManager::GetComponent(const TDynamicString &name) const {
    auto it = m_Components.find(name);
    return it != m_Components.end() ? it->second : nullptr;
}

TComponent *TComponentManager::GetComponent(int index) const {
    if (index < 0 || static_cast<size_t>(index) >= m_InitialisedList.size())
        return nullptr;
    return m_InitialisedList[static_cast<size_t>(index)];
}

void TComponentManager::GetComponentNames(TLibVector<TDynamicString> &names) const {
    for (const auto &entry : m_Components)
        names.push_back(entry.first);
}

float TComponentManager::GetComponentProcessTime(int index) const {
    // The other array holds the last finished frame, never the one being built.
    const TLibVector<float> &finished = m_Timings[m_TimingIndex ^ 1u];
    if (index < 0 || static_cast<size_t>(index) >= finished.size())
        return 0.0f;
    return finished[static_cast<size_t>(index)];
}

TComponent *TComponentManager::AddNewComponent(const TDynamicString &className,
                                               const TDynamicString &name, TComponent *parent,
                                               bool active) {
    TComponent *component = CreateComponent(className, name);
    if (component == nullptr)
        return nullptr;
    CreateRecurse(component);
    InitialiseRecurse(component);
    if (parent != nullptr)
        parent->AddChild(component);
    component->SetActive(active);
    return component;
}

bool TComponentManager::AddNewComponent(const TDynamicString &definitionFile, TComponent *parent,
                                        bool active, TComponent **first) {
    // FIXME: read `definitionFile` in its two passes and attach each new component that has no
    // parent, once component definitions can be read. Nothing can be read before then.
    (void)definitionFile;
    (void)parent;
    (void)active;
    (void)first;
    return false;
}

bool TComponentManager::AddBlankComponent(const TDynamicString &className,
                                          const TDynamicString &name, TComponent *parent,
                                          bool active, TComponent **result) {
    TComponent *component = CreateComponent(className, name);
    if (component == nullptr)
        return false;
    if (parent != nullptr)
        parent->AddChild(component);
    component->SetActive(active);
    if (result != nullptr)
        *result = component;
    AppendInitialised(component);
    component->InitialiseBlank();
    return true;
}

void TComponentManager::DestroyComponent(TComponent *component) {
    if (component == nullptr)
        return;
    ++tDestroyCalls;

    // The sub-tree, gathered breadth first. A component met twice (a child listed under two
    // parents of the sub-tree, or a cycle in bad data) is expanded once.
    TLibSet<TComponent *> doomed;
    TLibVector<TComponent *> queue{component};
    for (size_t next = 0; next < queue.size(); ++next) {
        TComponent *entry = queue[next];
        if (!doomed.insert(entry).second)
            continue;
        queue.insert(queue.end(), entry->m_Children.begin(), entry->m_Children.end());
    }

    // FindParent walks every component; for a whole tree that is a walk per component. The
    // parents of the doomed, in name order, give the same answer: the last one that still
    // lists the child and has not been deleted here. Should an Uninitialise or Destroy destroy
    // components itself, the index may hold deleted parents, and FindParent takes over.
    TLibMap<TComponent *, TLibVector<TComponent *>> parents;
    for (const auto &holder : m_Components) {
        for (TComponent *child : holder.second->m_Children) {
            if (doomed.count(child) != 0)
                parents[child].push_back(holder.second);
        }
    }
    TLibSet<TComponent *> deleted;
    bool indexed = true;
    auto findParent = [&](TComponent *child) -> TComponent * {
        if (!indexed)
            return FindParent(child);
        auto found = parents.find(child);
        if (found == parents.end())
            return nullptr;
        for (auto it = found->second.rbegin(); it != found->second.rend(); ++it) {
            TComponent *parent = *it;
            if (deleted.count(parent) == 0 &&
                std::find(parent->m_Children.begin(), parent->m_Children.end(), child) !=
                    parent->m_Children.end())
                return parent;
        }
        return nullptr;
    };

    // Newest first, so that nothing is uninitialised before what was initialised after it.
    for (size_t i = m_InitialisedList.size(); i-- > 0 && !doomed.empty();) {
        TComponent *entry = m_InitialisedList[i];
        auto found = doomed.find(entry);
        if (found == doomed.end())
            continue;
        doomed.erase(found);

        if (TComponent *parent = findParent(entry)) {
            parent->RemoveActiveComponent(entry);
            parent->RemoveChild(entry);
        }
        if (entry->m_Active)
            entry->SetActive(false);
        const uint64_t destroyCalls = tDestroyCalls;
        entry->Uninitialise();
        entry->Destroy();
        if (tDestroyCalls != destroyCalls)
            indexed = false;
        RemoveComponent(entry);

        // Uninitialise or Destroy may have changed the list; find the entry again.
        if (i >= m_InitialisedList.size() || m_InitialisedList[i] != entry) {
            auto it = std::find(m_InitialisedList.begin(), m_InitialisedList.end(), entry);
            i = static_cast<size_t>(it - m_InitialisedList.begin());
        }
        if (i < m_InitialisedList.size())
            m_InitialisedList.erase(m_InitialisedList.begin() + static_cast<std::ptrdiff_t>(i));
        deleted.insert(entry);
        TRootObject::Delete(entry);
    }
    UpdateComponentIndices();
}

void TComponentManager::SetComponentActive(TComponent *component, bool active) {
    component->SetActive(active);
}

TError TComponentManager::StreamState(const TDynamicString &path, int format, bool save) {
    // FIXME: write or read "components.ini" and the containers beside it once the streaming
    // adapter and root containers exist. Nothing is touched until then.
    (void)path;
    (void)format;
    (void)save;
    return TError(TError::kFailure);
}

TComponent *TComponentManager::CreateComponent(const TDynamicString &className,
                                               const TDynamicString &name) {
    TRuntimeClass *cls = TRuntimeClass::GetRuntimeClass(className);
    // Only a component class may be made here: anything else would be used as one.
    if (cls == nullptr || !cls->IsSubclass(&TComponent::ClassTComponent))
        return nullptr;
    auto *component = static_cast<TComponent *>(cls->CreateObject());
    if (component == nullptr)
        return nullptr;
    component->SetName(name);
    component->SetPathData(m_PathData);
    if (!AddComponent(component)) {
        // Names are the components' keys: the one that stands keeps it.
        TRootObject::Delete(component);
        return nullptr;
    }
    return component;
}

bool TComponentManager::AddComponent(TComponent *component) {
    return m_Components.emplace(component->GetName(), component).second;
}

void TComponentManager::RemoveComponent(TComponent *component) {
    auto it = m_Components.find(component->GetName());
    if (it != m_Components.end() && it->second == component)
        m_Components.erase(it);
}

void TComponentManager::CreateRecurse(TComponent *component) {
    component->Create();
    // By index: a Create may add components to the tree.
    for (size_t i = 0; i < component->m_Children.size(); ++i)
        CreateRecurse(component->m_Children[i]);
}

void TComponentManager::InitialiseRecurse(TComponent *component) {
    DoInitialise(component);
    for (size_t i = 0; i < component->m_Children.size(); ++i)
        InitialiseRecurse(component->m_Children[i]);
}

void TComponentManager::DoInitialise(TComponent *component) {
    // A component already on its way in is skipped as well, so that a dependency cycle in bad
    // data ends instead of recursing for ever.
    if (m_Aborted || component->m_Initialised || component->m_Initialising)
        return;
    component->m_Initialising = true;
    // By index: an Initialise may add dependencies or children.
    for (size_t i = 0; i < component->m_Dependencies.size(); ++i)
        DoInitialise(component->m_Dependencies[i]);
    // FIXME: report the start to the resource error log, fire "TComponent_PreInitialisation"
    // and time Initialise under INITTIME once component statistics exist.
    component->Initialise();
    AppendInitialised(component);
    for (size_t i = 0; i < component->m_Children.size(); ++i)
        DoInitialise(component->m_Children[i]);
    component->m_Initialising = false;
}

void TComponentManager::StartTree() {
    CreateRecurse(m_Root);
    InitialiseRecurse(m_Root);
}

// What TComponent's own frame hooks lead to. The frame walk does not call a hook that still
// leads there: the defaults do nothing and answer constants, and most components override
// only one or two of the five.
struct TComponentManager::TFrameDefaults {
    const void *preprocess;
    const void *process;
    const void *processCount;
    const void *childProcessCount;
    const void *breakChildProcess;
};

void TComponentManager::DoProcess(TComponent *component) {
    static const TFrameDefaults defaults = [] {
        using vlib::detail::GetVirtualTarget;
        const TComponent probe;
        return TFrameDefaults{
            GetVirtualTarget(&probe, &TComponent::Preprocess),
            GetVirtualTarget(&probe, &TComponent::Process),
            GetVirtualTarget(&probe, &TComponent::GetProcessCount),
            GetVirtualTarget(&probe, &TComponent::GetChildProcessCount),
            GetVirtualTarget(&probe, &TComponent::BreakChildProcess),
        };
    }();
    RunProcess(component, defaults);
}

// The body of DoProcess. It is inlined into the walk over the parent's active list, and calls
// out only to walk a non-empty list of its own, so that the leaves, most of any tree, cost no
// call of their own.
__attribute__((always_inline)) inline void
TComponentManager::RunProcess(TComponent *component, const TFrameDefaults &defaults) {
    using vlib::detail::GetVirtualTarget;
    component->m_Processing = true;
    if (GetVirtualTarget(component, &TComponent::Preprocess) != defaults.preprocess)
        component->Preprocess();
    int rounds = 1;
    if (GetVirtualTarget(component, &TComponent::GetChildProcessCount) !=
        defaults.childProcessCount)
        rounds = component->GetChildProcessCount();
    const bool breaks =
        GetVirtualTarget(component, &TComponent::BreakChildProcess) != defaults.breakChildProcess;
    for (; rounds > 0; --rounds) {
        if (!component->m_ActiveComponents.empty())
            RunActiveList(component, defaults);
        if (breaks && component->BreakChildProcess())
            break;
    }
    // FIXME: time Preprocess and Process (PROCESSTIME, AddTimingStat) and count CALLS once
    // component statistics exist.
    if (GetVirtualTarget(component, &TComponent::Process) != defaults.process)
        component->Process();
    component->m_Processing = false;
}

// One round over a component's active list.
__attribute__((noinline)) void TComponentManager::RunActiveList(TComponent *component,
                                                                const TFrameDefaults &defaults) {
    using vlib::detail::GetVirtualTarget;
    const TLibVector<TComponent *> &active = component->m_ActiveComponents;
    // The length is read at each step: a component may change the list while it runs.
    for (size_t i = 0; i < active.size(); ++i) {
        TComponent *child = active[i];
        if (!child->m_Active)
            continue;
        int count = 1;
        if (GetVirtualTarget(child, &TComponent::GetProcessCount) != defaults.processCount)
            count = child->GetProcessCount();
        for (; count > 0; --count)
            RunProcess(child, defaults);
    }
}

TComponent *TComponentManager::FindParent(TComponent *component) const {
    TComponent *parent = nullptr;
    for (const auto &entry : m_Components) {
        const TLibVector<TComponent *> &children = entry.second->m_Children;
        if (std::find(children.begin(), children.end(), component) != children.end())
            parent = entry.second;
    }
    return parent;
}

void TComponentManager::ResetTimingStats() {
    TLibVector<float> &building = m_Timings[m_TimingIndex];
    std::fill(building.begin(), building.end(), 0.0f);
}

void TComponentManager::AddTimingStat(TComponent *component, float seconds) {
    TLibVector<float> &building = m_Timings[m_TimingIndex];
    if (component->m_Index >= 0 && static_cast<size_t>(component->m_Index) < building.size())
        building[static_cast<size_t>(component->m_Index)] += seconds;
}

void TComponentManager::UpdateComponentIndices() {
    for (auto &entry : m_Components)
        entry.second->m_Index = -1;
    for (size_t i = 0; i < m_InitialisedList.size(); ++i)
        m_InitialisedList[i]->m_Index = static_cast<int32_t>(i);
    for (TLibVector<float> &timings : m_Timings)
        timings.resize(m_InitialisedList.size(), 0.0f);
}

void TComponentManager::AppendInitialised(TComponent *component) {
    // Every component off the list already has index -1 and those on it keep their places, so
    // numbering the newcomer is all that UpdateComponentIndices would change.
    m_InitialisedList.push_back(component);
    component->m_Index = static_cast<int32_t>(m_InitialisedList.size() - 1);
    for (TLibVector<float> &timings : m_Timings)
        timings.resize(m_InitialisedList.size(), 0.0f);
}

TComponent *TComponentTreeBuilder::Make(const TDynamicString &className,
                                        const TDynamicString &name) {
    return m_Manager.CreateComponent(className, name);
}

TComponent *TComponentTreeBuilder::MakeChild(TComponent *parent, const TDynamicString &className,
                                             const TDynamicString &name, bool active) {
    TComponent *child = m_Manager.CreateComponent(className, name);
    if (child == nullptr)
        return nullptr;
    parent->AddChild(child);
    if (active)
        parent->AddActiveComponent(child);
    return child;
}

void TComponentTreeBuilder::SetComment(TComponent *component, const TDynamicString &comment) {
    component->SetComment(comment);
}

void TComponentTreeBuilder::AddChild(TComponent *parent, TComponent *child) {
    parent->AddChild(child);
}

void TComponentTreeBuilder::RemoveChild(TComponent *parent, TComponent *child) {
    parent->RemoveChild(child);
}

void TComponentTreeBuilder::AddActive(TComponent *parent, TComponent *child) {
    parent->AddActiveComponent(child);
}

void TComponentTreeBuilder::InsertActive(TComponent *parent, TComponent *child,
                                         TComponent *before) {
    parent->InsertActiveComponent(child, before);
}

void TComponentTreeBuilder::RemoveActive(TComponent *parent, TComponent *child) {
    parent->RemoveActiveComponent(child);
}

void TComponentTreeBuilder::AddDependency(TComponent *component, TComponent *dependency) {
    component->AddDependency(dependency);
}

void TComponentTreeBuilder::RemoveDependency(TComponent *component, TComponent *dependency) {
    component->RemoveDependency(dependency);
}

bool TComponentTreeBuilder::Start() {
    m_Manager.m_Aborted = false;
    if (m_Manager.m_Root == nullptr)
        return false;
    m_Manager.StartTree();
    return !m_Manager.m_Aborted;
}
