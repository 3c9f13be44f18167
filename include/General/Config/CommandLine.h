// Splitting a process's command line into switches with the parameters behind them. The
// layered configuration reads its "--cfg Section Key Value" overrides through it; hosts use it
// for their own switches.
#pragma once

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

/// One switch and the tokens that follow it, up to the next switch.
class VLIB_API TCommandLineArg {
public:
    /// The switch as typed, with its switch character; empty for the parameters that stand
    /// before the first switch.
    TDynamicString name;
    /// The tokens behind the switch, in order, without their quotes.
    TLibVector<TDynamicString> parameters;
};

/// A command line as a list of switches. A value type: copies are independent.
class VLIB_API TCommandLine {
public:
    /// Appends the switches of `text` to those already parsed. Tokens are separated by
    /// blanks (character 32 only); a token that starts with a double quote runs to the next
    /// double quote or the end of the text, with no escapes. A token opens a switch when its
    /// first character is `switchChar`, quoted or not; every caller in the library passes
    /// '-'. A '/' opens nothing, since on Linux it starts a path. `delimiters` is accepted
    /// for the callers' sake and does not change the parse. A null text adds nothing.
    void Parse(const char *text, char switchChar, const char *delimiters);

    /// The inverse of Parse for a process's arguments: `args` joined by blanks, each one that
    /// is empty or holds a blank put in double quotes. An argument that holds a double quote
    /// cannot be written back and is taken as it stands.
    static TDynamicString Join(int count, const char *const *args);

    int GetNumArgs() const { return static_cast<int>(m_Args.size()); }
    /// `index` must be below GetNumArgs(); it is not checked.
    const TCommandLineArg &GetArg(int index) const { return m_Args[static_cast<size_t>(index)]; }
    /// The first switch named `name` (its switch character included), ignoring case; null
    /// when there is none.
    const TCommandLineArg *GetArg(const TDynamicString &name) const;

private:
    TLibVector<TCommandLineArg> m_Args;
};
