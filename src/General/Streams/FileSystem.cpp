// Path arithmetic on text: drives, splitting, joining and terminating, with either separator.
// Nothing here touches the disk.
#include "General/Streams/FileSystem.h"

namespace vlfs::path {

namespace {

TDynamicString Part(const char *text, int count) {
    return TDynamicString(text, static_cast<unsigned>(count));
}

} // namespace

bool IsAbs(const TDynamicString &path) {
    const TDynamicString rest = SplitDrive(path).second;
    return !rest.IsEmpty() && IsSep(rest.GetCharacter(0));
}

std::pair<TDynamicString, TDynamicString> SplitDrive(const TDynamicString &path) {
    if (path.GetLength() >= 2 && path.GetCharacter(1) == ':')
        return {Part(path.GetData(), 2), TDynamicString(path.GetData() + 2)};
    return {TDynamicString(), path};
}

std::pair<TDynamicString, TDynamicString> Split(const TDynamicString &path) {
    const auto [drive, rest] = SplitDrive(path);
    const char *text = rest.GetData();
    int tailStart = rest.GetLength();
    while (tailStart > 0 && !IsSep(text[tailStart - 1]))
        --tailStart;
    // The head loses its closing separators, unless it is nothing but separators (a root).
    int headEnd = tailStart;
    while (headEnd > 0 && IsSep(text[headEnd - 1]))
        --headEnd;
    if (headEnd == 0)
        headEnd = tailStart;
    TDynamicString head(drive);
    head.Append(Part(text, headEnd).GetData());
    return {head, TDynamicString(text + tailStart)};
}

TDynamicString Join(const TDynamicString &a, const TDynamicString &b) {
    const int lengthA = a.GetLength();
    if (lengthA == 0)
        return b;
    // GetCharacter(1) reads the terminator of a one-character text, which is no colon.
    if (IsAbs(b) && (a.GetCharacter(1) != ':' || (b.GetLength() >= 2 && b.GetCharacter(1) == ':') ||
                     lengthA > 3 || (lengthA == 3 && !IsSep(a.GetCharacter(2)))))
        return b;
    const char last = a.GetCharacter(lengthA - 1);
    TDynamicString result(a);
    if (IsSep(last)) {
        result.Append(!b.IsEmpty() && IsSep(b.GetCharacter(0)) ? b.GetData() + 1 : b.GetData());
    } else if (last == ':') {
        result.Append(b.GetData());
    } else if (b.IsEmpty()) {
        result.Append('/');
    } else if (!IsSep(b.GetCharacter(0))) {
        result.Append('/');
        result.Append(b.GetData());
    } else {
        result.Append(b.GetData());
    }
    return result;
}

TDynamicString &Terminate(TDynamicString &path) {
    const int length = path.GetLength();
    if (length == 0 || !IsSep(path.GetCharacter(length - 1)))
        path.Append('/');
    return path;
}

} // namespace vlfs::path
