#include "General/Config/CommandQueue.h"

#include <string>

#include <gtest/gtest.h>

namespace {

// Appends what happens to it to a shared journal, so order and deletion can be checked.
class TJournalCommand : public TCommand {
public:
    TJournalCommand(std::string *journal, char id) : m_Journal(journal), m_Id(id) {}
    ~TJournalCommand() override { *m_Journal += std::string("~") + m_Id; }
    void Execute() override { *m_Journal += std::string("+") + m_Id; }
    void UnExecute() override { *m_Journal += std::string("-") + m_Id; }

private:
    std::string *m_Journal; // not owned
    char m_Id;
};

TEST(CommandQueue, FullRingDropsOldestCommand) {
    std::string journal;
    TCommandQueue queue(2);
    queue.DoCommand(new TJournalCommand(&journal, 'a'));
    queue.DoCommand(new TJournalCommand(&journal, 'b'));
    queue.DoCommand(new TJournalCommand(&journal, 'c'));
    EXPECT_EQ(journal, "+a+b~a+c");
    EXPECT_EQ(queue.NumCommandsToUndo(), 2);
    queue.Undo();
    queue.Undo();
    queue.Undo(); // nothing left to undo
    EXPECT_EQ(journal, "+a+b~a+c-c-b");
    EXPECT_EQ(queue.NumCommandsToRedo(), 2);
    queue.Redo(); // the oldest undone one first
    EXPECT_EQ(journal, "+a+b~a+c-c-b+b");
}

TEST(CommandQueue, NewCommandDropsUndoneOnes) {
    std::string journal;
    TCommandQueue queue(4);
    queue.Redo(); // nothing to redo
    queue.DoCommand(new TJournalCommand(&journal, 'a'));
    queue.DoCommand(new TJournalCommand(&journal, 'b'));
    queue.DoCommand(new TJournalCommand(&journal, 'c'));
    queue.Undo();
    queue.Undo();
    queue.DoCommand(new TJournalCommand(&journal, 'd'));
    EXPECT_EQ(journal, "+a+b+c-c-b~b~c+d");
    EXPECT_EQ(queue.NumCommandsToRedo(), 0);
    EXPECT_EQ(queue.NumCommandsToUndo(), 2);
    queue.Undo();
    EXPECT_EQ(journal.substr(journal.size() - 2), "-d");
}

TEST(CommandQueue, ClearAndDestructorDeleteEveryCommandAcrossTheWrap) {
    std::string journal;
    {
        TCommandQueue queue(3);
        for (char id : std::string("abcde"))
            queue.DoCommand(new TJournalCommand(&journal, id)); // head has wrapped round
        queue.Undo();
        journal.clear();
        queue.Clear();
        EXPECT_EQ(journal, "~c~d~e");
        EXPECT_EQ(queue.NumCommandsToUndo() + queue.NumCommandsToRedo(), 0);
        queue.DoCommand(new TJournalCommand(&journal, 'f'));
        journal.clear();
    }
    EXPECT_EQ(journal, "~f");
}

} // namespace
