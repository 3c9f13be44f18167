// A comparable handle on a text that lives elsewhere, usually a literal: it neither owns nor
// copies the text, so it costs one pointer and suits keys of sorted tables.
#pragma once

#include "General/Core/Export.h"

/// A `const char *` with ordering and equality on unsigned bytes; null reads as empty.
class VLIB_API TStaticString {
public:
    TStaticString() : m_Text(nullptr) {}
    TStaticString(const char *text) : m_Text(text) {}
    TStaticString(const TStaticString &other) = default;
    TStaticString &operator=(const TStaticString &other) = default;

    /// The pointer as given, null included.
    const char *GetData() const { return m_Text; }
    operator char *() const { return const_cast<char *>(m_Text); }
    /// 0 for null.
    int GetLength() const;

    bool operator<(const TStaticString &other) const;
    bool operator>(const TStaticString &other) const;
    bool operator==(const TStaticString &other) const;

    /// Position of `needle` from `start`, or -1; case-blind when `caseSensitive` is false.
    int FindSubstring(const char *needle, int start = 0, bool caseSensitive = true) const;

private:
    const char *m_Text; // not owned
};
