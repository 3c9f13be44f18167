// Debug services: message expansion, message selectors, debug copies (listeners that receive
// every line of debug text), alerts, and the function-tracker listener base. A small layer of
// our own that writes to standard error; it works before the library heap does.
#pragma once

#include "General/Core/Export.h"

/// Priority of an alert: three values whose meaning belongs to the caller.
class VLIB_API TDbgMsgPriority {
public:
    TDbgMsgPriority(int level = 0, int category = 0, int flags = 0)
        : m_Level(level), m_Category(category), m_Flags(flags) {}
    int m_Level;
    int m_Category;
    int m_Flags;
};

/// A filter text for debug messages, kept as given.
class VLIB_API TDbgMsgSelector {
public:
    void Initialise(const char *filter);
    const char *GetFilter() const { return m_Filter; }

private:
    char m_Filter[256] = {};
};

/// A listener that receives every line of debug text once registered.
class VLIB_API TFormatDebugCopy {
public:
    TFormatDebugCopy() = default;
    virtual ~TFormatDebugCopy();
    virtual void OutputFDString(const char *text) = 0;
};

/// The registered debug copies. Registration needs no heap.
class VLIB_API TFormatDebugCopies {
public:
    static constexpr int kMaxCopies = 32;
    void AddCopy(TFormatDebugCopy *copy);
    bool RemoveCopy(TFormatDebugCopy *copy);
    /// Hands `text` to every registered copy.
    void Output(const char *text);
    int GetCount() const;

private:
    TFormatDebugCopy *m_Copies[kMaxCopies] = {}; // not owned
};

/// Start and end of the debug services, tied to the allocator's life.
class VLIB_API TViewStack {
public:
    static bool Initialise();
    static void ShutDown();
    static bool IsInitialised();
};

/// Process-wide switches of the debug services.
class VLIB_API TDebugServices {
public:
    static void SetViewCulprits(bool on);
    static void SetViewAssertCulprits(bool on);
    static void SetIgnoreDuplicateAsserts(bool on);
    /// 0, 1 or 2.
    static void SetViewAlerts(int level);
    static bool GetViewCulprits();
    static bool GetViewAssertCulprits();
    static bool GetIgnoreDuplicateAsserts();
    static int GetViewAlerts();
};

/// Base of listeners told of tracked function entries and exits.
class VLIB_API TiFunctionTrackerListener {
public:
    virtual ~TiFunctionTrackerListener();
    virtual void OnFunctionEntry(const char *function, unsigned long data) = 0;
    virtual void OnFunctionExit(const char *function, unsigned long data) = 0;
};

/// printf-style expansion into a per-thread buffer that stays valid until the next call on
/// the same thread. Never allocates.
VLIB_API char *_VarnelExpandMsg(const char *format, ...) __attribute__((format(printf, 1, 2)));
/// Shows a blocking alert; here it is written to standard error and the debug copies.
VLIB_API void PopupAlert(TDbgMsgPriority &priority, char *title, char *text);
VLIB_API TDbgMsgSelector &GetDbgMsgSelector();
VLIB_API TDbgMsgSelector &GetAssertMsgSelector();
VLIB_API TFormatDebugCopies &GetFormatDebugCopies();
