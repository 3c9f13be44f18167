// Named string parameters and textual substitutions. A TParameterList is an ordered list of
// name/value pairs that component definitions, resource rules and banks carry; a
// TParameterSubstituter rewrites parameter values by replacing keys with their values.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

class TAsciiInFilter;
class TAsciiOutFilter;

/// A table of plain-substring replacements applied until none matches.
class VLIB_API TParameterSubstituter {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Rounds after which Apply gives up, so a key whose value contains the key ends.
    static constexpr int kMaxRounds = 1000;

    /// Sets or replaces the entry of that name.
    void SetSubstitution(TString &name, TString &value);
    /// Replaces the first occurring key (in key order) and starts again, until no key occurs
    /// or kMaxRounds replacements were made. Returns the number of replacements.
    int Apply(TString &text) const;
    void Clear() { m_Table.clear(); }

private:
    TLibMap<TString, TString> m_Table;
};

/// An ordered list of name/value strings; names may repeat.
class VLIB_API TParameterList {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Appends the pair, the value passed through `substituter` when it is not null.
    void AddParameter(const TString &name, const TString &value,
                      TParameterSubstituter *substituter);
    /// Erases the first pair of that exact name; false when there is none.
    bool RemoveParameter(const TString &name);

    /// Names compared without regard to case; true only for a value equal to "true" (any
    /// case).
    bool GetBoolParameter(const char *name, bool defaultValue) const;
    /// `atoi` of the value; the default when the name is absent or the value not numeric.
    int GetIntegerParameter(const char *name, int defaultValue) const;
    /// `atof` of the value; the default as for GetIntegerParameter.
    float GetFloatParameter(const char *name, float defaultValue) const;

    /// The value of the first pair whose name has this StrToID; null if none.
    TString *GetParameter(unsigned long id);
    /// The value of the first pair of exactly this name; null if none.
    TString *GetParameter(const TString &name);
    const TString *GetParameter(const TString &name) const;
    /// A copy of the value of the first pair of exactly this name, else of the default.
    TString GetCheckedParameter(const TString &name, const TString &defaultValue,
                                bool unused) const;
    /// Stores the name of the pair at `index` (below 1 means 0) and returns the value of the
    /// first pair of that name. The index is not checked against the count.
    TString *GetParameter(int index, TString &name);
    const TString *GetParameter(int index, TString &name) const;
    int GetParameterCount() const { return static_cast<int>(m_Parameters.size()); }

    /// Adds one parameter per line ("name=value", "name" alone meaning "true"; lines starting
    /// with '#' or '-' are skipped). Returns the number of non-empty lines.
    int AddParametersFromString(const char *text);
    int AddParametersFromString(const TString &text) {
        return AddParametersFromString(text.GetData());
    }

    /// 32-bit FNV-1 style hash over all names and values, used to intern lists.
    uint32_t GetHash() const;

    /// Reads a count and that many name/value pairs, appending them.
    void ReadAscii(TAsciiInFilter &filter);
    void WriteAscii(TAsciiOutFilter &filter) const;

    bool operator==(const TParameterList &other) const {
        return m_Parameters == other.m_Parameters;
    }

private:
    using TPair = std::pair<TString, TString>;

    static bool CheckNumeric(const TString &text);
    /// The value of the first pair whose name equals `name` without regard to case.
    const TString *FindNoCase(const char *name) const;

    TLibVector<TPair> m_Parameters;
};
