// TFixedString copies with a bound, so a text longer than its buffer is cut rather than
// written past the object.
#include "General/Core/FixedString.h"

#include <cstring>

void TFixedString::Set(const char *text) {
    if (text == nullptr) {
        m_Text[0] = '\0';
        return;
    }
    const size_t length = strnlen(text, kCapacity - 1);
    std::memmove(m_Text, text, length);
    m_Text[length] = '\0';
}

bool TFixedString::operator<(const TFixedString &other) const {
    return std::strcmp(m_Text, other.m_Text) < 0;
}

bool TFixedString::operator>(const TFixedString &other) const {
    return std::strcmp(m_Text, other.m_Text) > 0;
}

bool TFixedString::operator==(const TFixedString &other) const {
    return std::strcmp(m_Text, other.m_Text) == 0;
}
