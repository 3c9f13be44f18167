// The undo ring. Slots are counted from the head and read modulo the capacity.
#include "General/Config/CommandQueue.h"

TCommand::~TCommand() = default;

void TCommand::UnExecute() {}

void TCommand::GetTextRepresentation(TDynamicString & /*text*/) {}

TCommandQueue::TCommandQueue(int capacity) : m_Capacity(capacity < 1 ? 1 : capacity) {
    m_Buffer = reinterpret_cast<TCommand **>(
        GetAllocatorInstance().Alloc(static_cast<unsigned long>(m_Capacity) * sizeof(TCommand *)));
}

TCommandQueue::~TCommandQueue() {
    Clear();
    GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(m_Buffer));
}

void TCommandQueue::DeleteRange(int first, int count) {
    for (int i = 0; i < count; ++i) {
        TCommand *&slot = Slot(first + i);
        delete slot;
        slot = nullptr;
    }
}

void TCommandQueue::DoCommand(TCommand *command) {
    if (command == nullptr)
        return;
    if (m_Buffer == nullptr) {
        command->Execute();
        delete command;
        return;
    }
    if (m_RedoCount != 0) {
        DeleteRange(m_UndoCount, m_RedoCount);
        m_RedoCount = 0;
    } else if (m_UndoCount == m_Capacity) {
        DeleteRange(0, 1);
        m_Head = (m_Head + 1) % m_Capacity;
        --m_UndoCount;
    }
    Slot(m_UndoCount) = command;
    ++m_UndoCount;
    // Stored before it runs, so a command that looks at the queue sees itself as done.
    command->Execute();
}

void TCommandQueue::Undo() {
    if (m_UndoCount == 0)
        return;
    Slot(m_UndoCount - 1)->UnExecute();
    --m_UndoCount;
    ++m_RedoCount;
}

void TCommandQueue::Redo() {
    if (m_RedoCount == 0)
        return;
    Slot(m_UndoCount)->Execute();
    --m_RedoCount;
    ++m_UndoCount;
}

void TCommandQueue::Clear() {
    if (m_Buffer != nullptr)
        DeleteRange(0, m_UndoCount + m_RedoCount);
    m_Head = 0;
    m_UndoCount = 0;
    m_RedoCount = 0;
}
