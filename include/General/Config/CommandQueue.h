// Undo and redo: TCommandQueue keeps a ring of the commands last done and undone, owns them,
// and drops the oldest when the ring is full. Editors derive their actions from TCommand.
#pragma once

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

/// An action that can be done, undone and described.
class VLIB_API TCommand : public TBaseAllocator {
public:
    TCommand() = default;
    TCommand(const TCommand &) = delete;
    TCommand &operator=(const TCommand &) = delete;
    virtual ~TCommand();
    virtual void Execute() = 0;
    /// Undoes Execute; does nothing unless overridden.
    virtual void UnExecute();
    /// Describes the command; leaves `text` alone unless overridden.
    virtual void GetTextRepresentation(TDynamicString &text);
};

/// A ring of commands: those done (which Undo takes back, newest first) followed by those
/// undone (which Redo does again, oldest first). Owns every command it holds.
class VLIB_API TCommandQueue : public TBaseAllocator {
public:
    /// `capacity` below 1 is taken as 1. If the buffer cannot be allocated the queue holds
    /// nothing: DoCommand executes and deletes its command at once.
    explicit TCommandQueue(int capacity);
    TCommandQueue(const TCommandQueue &) = delete;
    TCommandQueue &operator=(const TCommandQueue &) = delete;
    ~TCommandQueue();

    /// Takes `command` over, drops the undone commands (or the oldest done one when the ring
    /// is full), stores it and then executes it. Null is ignored.
    void DoCommand(TCommand *command);
    /// UnExecute of the newest done command; nothing when there is none.
    void Undo();
    /// Execute of the oldest undone command; nothing when there is none.
    void Redo();
    /// Deletes every command.
    void Clear();
    int NumCommandsToUndo() const { return m_UndoCount; }
    int NumCommandsToRedo() const { return m_RedoCount; }

private:
    TCommand *&Slot(int offset) { return m_Buffer[(m_Head + offset) % m_Capacity]; }
    void DeleteRange(int first, int count);

    int m_Capacity;
    int m_Head = 0;
    int m_UndoCount = 0;
    int m_RedoCount = 0;
    TCommand **m_Buffer; // owned, with the commands in it
};
