// A text of up to 1023 bytes held inside the object, for records of fixed size. Unlike the
// string template it offers only storage and ordering.
#pragma once

#include "General/Core/Export.h"

/// 1024 bytes of text in place; longer texts are cut at 1023 bytes. The default constructor
/// leaves the bytes unset.
class VLIB_API TFixedString {
public:
    static constexpr int kCapacity = 1024;

    TFixedString() {}
    /// Null is the empty text.
    TFixedString(const char *text) { Set(text); }
    TFixedString(const TFixedString &other) { Set(other.m_Text); }
    TFixedString &operator=(const char *text) {
        Set(text);
        return *this;
    }
    TFixedString &operator=(const TFixedString &other) {
        if (this != &other)
            Set(other.m_Text);
        return *this;
    }

    const char *GetData() const { return m_Text; }
    char *GetData() { return m_Text; }

    /// Orderings on unsigned bytes.
    bool operator<(const TFixedString &other) const;
    bool operator>(const TFixedString &other) const;
    bool operator==(const TFixedString &other) const;

private:
    void Set(const char *text);

    char m_Text[kCapacity];
};
