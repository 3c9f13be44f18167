// The component base: its class record, flags and the list operations through which the
// manager links a tree. Processing and the order of initialisation belong to the manager.
#include "General/Components/Component.h"

#include <algorithm>

#include "General/Streams/FileObj.h"

namespace {

// The statistics a component feeds itself, by their numbers in the report array.
constexpr int kStatBad = 4;
constexpr int kStatInit = 5;
constexpr int kStatActive = 6;

void EraseFirst(TLibVector<TComponent *> &list, const TComponent *entry) {
    auto it = std::find(list.begin(), list.end(), entry);
    if (it != list.end())
        list.erase(it);
}

} // namespace

VLIB_IMPLEMENT_RUNTIME_CLASS(TComponent, TRootObject);

bool TComponent::Timing = true;
bool TComponent::MemoryTracking = true;

TComponent::TComponent() {
    // FIXME: give the component its nine TComponentReport records (CreateReports) once
    // component statistics exist; until then m_Reports stays null.
}

TComponent::~TComponent() {
    // FIXME: delete m_Parameters and the report array once TParameterList and
    // TComponentReport are defined. Neither type can be constructed yet, so both pointers are
    // still null here and nothing is lost.
}

TError TComponent::ReadBinary(TFileObj &file) {
    return TError(file.IsBad() ? TError::kFailure : TError::kSuccess);
}

TError TComponent::WriteBinary(TFileObj &file) {
    return TError(file.IsBad() ? TError::kFailure : TError::kSuccess);
}

TError TComponent::ReadAscii(TAsciiInFilter &) {
    // FIXME: return 0x10000 when the filter's Bad flag is set, as ReadBinary does, once text
    // filters exist; no TAsciiInFilter can be made before then.
    return TError(TError::kSuccess);
}

TError TComponent::WriteAscii(TAsciiOutFilter &) {
    // FIXME: the Bad-flag test of ReadAscii applies here as well.
    return TError(TError::kSuccess);
}

void TComponent::Initialise() {
    m_Initialised = true;
    RecordStatistic(kStatInit, 1.0f);
}

bool TComponent::IsBad() {
    if (m_Bad)
        return true;
    for (TComponent *child : m_Children) {
        if (child->IsBad())
            return true;
    }
    return false;
}

void TComponent::Report(TAsciiOutFilter &, int) {
    // FIXME: write the "*** COMPONENT:" block and recurse into the children once text output
    // filters exist; nothing can be written before then.
}

void TComponent::Preprocess() {}

void TComponent::Process() {}

int TComponent::GetProcessCount() {
    return 1;
}

int TComponent::GetChildProcessCount() {
    return 1;
}

bool TComponent::BreakChildProcess() {
    return false;
}

void TComponent::Create() {}

void TComponent::Destroy() {}

void TComponent::Uninitialise() {
    m_Initialised = false;
    RecordStatistic(kStatInit, 0.0f);
}

void TComponent::InitialiseBlank() {
    m_Initialised = true;
}

void TComponent::ClearState() {}

void TComponent::InitState() {}

void TComponent::StreamState(TIOAdapter &) {}

void TComponent::StreamContainers(TLibVector<TRootContainer *> &, TLibVector<TDynamicString> &) {}

TComponent *TComponent::GetChild(int index) const {
    if (index < 0 || static_cast<size_t>(index) >= m_Children.size())
        return nullptr;
    return m_Children[static_cast<size_t>(index)];
}

TComponent *TComponent::GetChild(const TDynamicString &name) const {
    for (TComponent *child : m_Children) {
        if (child->m_Name == name)
            return child;
    }
    return nullptr;
}

void TComponent::SetParameters(TParameterList *parameters) {
    // FIXME: delete the list this replaces once TParameterList is defined; none can exist yet.
    m_Parameters = parameters;
}

void TComponent::ClearCrap() {
    m_Bad = false;
    m_Active = false;
    m_Initialised = false;
    m_Initialising = false;
    m_Processing = false;
    m_Parameters = nullptr; // the bitwise original still owns it
}

void TComponent::SetActive(bool active) {
    m_Active = active;
    RecordStatistic(kStatActive, active ? 1.0f : 0.0f);
}

void TComponent::SetBad(bool bad) {
    m_Bad = bad;
    RecordStatistic(kStatBad, bad ? 1.0f : 0.0f);
}

void TComponent::MakeTab(int count, char *buffer) {
    int i = 0;
    for (; i < count; ++i)
        buffer[i] = '\t';
    buffer[i] = '\0';
}

void TComponent::AddChild(TComponent *child) {
    m_Children.push_back(child);
}

void TComponent::RemoveChild(TComponent *child) {
    EraseFirst(m_Children, child);
}

void TComponent::AddActiveComponent(TComponent *child) {
    if (!child->m_Active)
        child->RecordStatistic(kStatActive, 1.0f);
    child->m_Active = true;
    m_ActiveComponents.push_back(child);
}

void TComponent::InsertActiveComponent(TComponent *child, TComponent *before) {
    if (!child->m_Active)
        child->RecordStatistic(kStatActive, 1.0f);
    child->m_Active = true;
    auto it = std::find(m_ActiveComponents.begin(), m_ActiveComponents.end(), before);
    // A null `before` is never in the list, so it appends as an absent one does.
    m_ActiveComponents.insert(it, child);
}

void TComponent::RemoveActiveComponent(TComponent *child) {
    EraseFirst(m_ActiveComponents, child);
    if (child->m_Active)
        child->RecordStatistic(kStatActive, 0.0f);
    child->m_Active = false;
}

void TComponent::AddDependency(TComponent *dependency) {
    m_Dependencies.push_back(dependency);
}

void TComponent::RemoveDependency(TComponent *dependency) {
    EraseFirst(m_Dependencies, dependency);
}

void TComponent::RecordStatistic(int statType, float value) {
    // FIXME: record `value` in m_Reports[statType] once component statistics exist.
    (void)statType;
    (void)value;
}
