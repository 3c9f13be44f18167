// Parameter lists and substitution: lookups by exact name, by case-blind name and by id, the
// line-by-line text form of definitions, the interning hash and the text stream form.
#include "General/Components/ParameterList.h"

#include <cctype>
#include <cstdlib>
#include <utility>

#include "General/Config/IniFile.h"
#include "General/Core/StrToID.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/IOAdapter.h"

void TParameterSubstituter::SetSubstitution(TString &name, TString &value) {
    m_Table[name] = value;
}

int TParameterSubstituter::Apply(TString &text) const {
    int rounds = 0;
    while (rounds < kMaxRounds) {
        bool replaced = false;
        for (const auto &[key, value] : m_Table) {
            if (key.IsEmpty())
                continue; // an empty key occurs everywhere and would never settle
            int pos = text.FindSubstring(key);
            if (pos < 0)
                continue;
            text.ReplaceSubstring(pos, key.GetLength(), value.GetData());
            replaced = true;
            break;
        }
        if (!replaced)
            break;
        ++rounds;
    }
    return rounds;
}

void TParameterList::AddParameter(const TString &name, const TString &value,
                                  TParameterSubstituter *substituter) {
    TString copy(value);
    if (substituter != nullptr)
        (void)substituter->Apply(copy); // the count is only of interest to tests
    m_Parameters.emplace_back(name, std::move(copy));
}

bool TParameterList::RemoveParameter(const TString &name) {
    for (auto it = m_Parameters.begin(); it != m_Parameters.end(); ++it) {
        if (it->first == name) {
            m_Parameters.erase(it);
            return true;
        }
    }
    return false;
}

const TParameterList::TString *TParameterList::FindNoCase(const char *name) const {
    for (const auto &pair : m_Parameters) {
        if (pair.first.Compare(name, false) == 0)
            return &pair.second;
    }
    return nullptr;
}

bool TParameterList::GetBoolParameter(const char *name, bool defaultValue) const {
    const TString *value = FindNoCase(name);
    if (value == nullptr)
        return defaultValue;
    return value->Compare("true", false) == 0;
}

bool TParameterList::CheckNumeric(const TString &text) {
    bool seenMinusOrDigit = false;
    bool seenPoint = false;
    for (char c : text) {
        if (c == '-') {
            if (seenMinusOrDigit)
                return false;
            seenMinusOrDigit = true;
        } else if (c == '.') {
            if (seenPoint)
                return false;
            seenPoint = true;
        } else if (std::isdigit(static_cast<unsigned char>(c))) {
            seenMinusOrDigit = true;
        } else {
            return false;
        }
    }
    return true;
}

int TParameterList::GetIntegerParameter(const char *name, int defaultValue) const {
    const TString *value = FindNoCase(name);
    if (value == nullptr || !CheckNumeric(*value))
        return defaultValue;
    return std::atoi(value->GetData());
}

float TParameterList::GetFloatParameter(const char *name, float defaultValue) const {
    const TString *value = FindNoCase(name);
    if (value == nullptr || !CheckNumeric(*value))
        return defaultValue;
    return static_cast<float>(std::atof(value->GetData()));
}

TParameterList::TString *TParameterList::GetParameter(unsigned long id) {
    for (auto &pair : m_Parameters) {
        if (StrToID(pair.first.GetData()) == static_cast<uint32_t>(id))
            return &pair.second;
    }
    return nullptr;
}

TParameterList::TString *TParameterList::GetParameter(const TString &name) {
    return const_cast<TString *>(std::as_const(*this).GetParameter(name));
}

const TParameterList::TString *TParameterList::GetParameter(const TString &name) const {
    for (const auto &pair : m_Parameters) {
        if (pair.first == name)
            return &pair.second;
    }
    return nullptr;
}

TParameterList::TString TParameterList::GetCheckedParameter(const TString &name,
                                                            const TString &defaultValue,
                                                            bool /*unused*/) const {
    const TString *value = GetParameter(name);
    return value != nullptr ? *value : defaultValue;
}

TParameterList::TString *TParameterList::GetParameter(int index, TString &name) {
    return const_cast<TString *>(std::as_const(*this).GetParameter(index, name));
}

const TParameterList::TString *TParameterList::GetParameter(int index, TString &name) const {
    if (index < 1)
        index = 0;
    name = m_Parameters[static_cast<size_t>(index)].first;
    return GetParameter(name);
}

int TParameterList::AddParametersFromString(const char *text) {
    if (text == nullptr)
        return 0;
    TString all(text);
    int count = 0;
    for (const TString &line : all.Split("\r\n")) {
        if (line.IsEmpty())
            continue;
        ++count;
        char first = line.GetCharacter(0);
        if (first == '#' || first == '-')
            continue;
        TString name;
        TString value;
        int piece = 0;
        for (const TString &part : line.Split("=")) {
            if (part.IsEmpty())
                continue;
            if (piece == 0)
                name = part;
            else if (piece == 1)
                value = part;
            ++piece;
        }
        name.RemoveLeadingWhiteSpace(" \t\r\n").RemoveTrailingWhiteSpace(" \t\r\n");
        value.RemoveLeadingWhiteSpace(" \t\r\n").RemoveTrailingWhiteSpace(" \t\r\n");
        if (piece < 2)
            value = "true";
        AddParameter(name, value, nullptr);
    }
    return count;
}

uint32_t TParameterList::GetHash() const {
    uint32_t h = 0x811C9DC5u;
    auto mix = [&h](const TString &s) {
        for (char c : s) {
            h *= 16777619u;
            h ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
        }
    };
    for (const auto &pair : m_Parameters) {
        mix(pair.first);
        mix(pair.second);
    }
    return h;
}

void TParameterList::ReadAscii(TAsciiInFilter &filter) {
    TIOAdapter io(&filter);
    unsigned int count = 0;
    io.StreamUnsignedInt(count, "Count");
    // The pairs are read as the adapter reads strings, but with each read's result: past
    // the end of the text a read fails without marking anything bad, and a count larger
    // than the text must not add empty pairs.
    for (unsigned int i = 0; i < count && !io.IsBad(); ++i) {
        TString name;
        TString value;
        if (!TIniFile::GetNextIniString(name, filter) || !TIniFile::GetNextIniString(value, filter))
            break;
        m_Parameters.emplace_back(std::move(name), std::move(value));
    }
}

void TParameterList::WriteAscii(TAsciiOutFilter &filter) const {
    TIOAdapter io(&filter);
    unsigned int count = static_cast<unsigned int>(m_Parameters.size());
    io.StreamUnsignedInt(count, "Count");
    for (const auto &pair : m_Parameters) {
        TString name(pair.first);
        TString value(pair.second);
        io.StreamString(name, "Name");
        io.StreamString(value, "Value");
    }
}
