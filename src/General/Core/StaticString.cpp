// TStaticString compares the texts it points at, never the pointers, and searches through a
// temporary dynamic string so that it shares the one search routine of the string template.
#include "General/Core/StaticString.h"

#include <cstring>

#include "General/Core/StringInt.h"

namespace {

const char *OrEmpty(const char *text) {
    return text != nullptr ? text : "";
}

} // namespace

int TStaticString::GetLength() const {
    return m_Text != nullptr ? static_cast<int>(std::strlen(m_Text)) : 0;
}

bool TStaticString::operator<(const TStaticString &other) const {
    return std::strcmp(OrEmpty(m_Text), OrEmpty(other.m_Text)) < 0;
}

bool TStaticString::operator>(const TStaticString &other) const {
    return std::strcmp(OrEmpty(m_Text), OrEmpty(other.m_Text)) > 0;
}

bool TStaticString::operator==(const TStaticString &other) const {
    return std::strcmp(OrEmpty(m_Text), OrEmpty(other.m_Text)) == 0;
}

int TStaticString::FindSubstring(const char *needle, int start, bool caseSensitive) const {
    return TDynamicString(m_Text).FindSubstring(needle, start, caseSensitive);
}
