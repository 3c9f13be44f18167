// Fuzz target of the line cutters. The first byte is the delimiter of the in-place split;
// the rest is the line, cut by the in-place split and by both quoting machines. Every field
// must lie inside what was given and the counts must agree with the fields.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "General/Text/SplitString.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

void FuzzPlain(char delimiter, const uint8_t *line, size_t size) {
    auto split = std::make_unique<TSplitString>(delimiter);
    const size_t copied = std::min(size, size_t(TSplitString::kBufferSize - 1));
    std::memcpy(split->GetBufferPtr(), line, copied);
    split->GetBufferPtr()[copied] = '\0';
    // A length beyond the buffer is held to it by the split itself.
    split->Split(static_cast<int>(std::min(size, size_t(1) << 30)));
    const int fields = split->GetNumFields();
    Check(fields >= 1 && fields <= TSplitString::kMaxFields);
    int filled = 0;
    for (int i = 0; i < fields; ++i) {
        const int len = split->StrLen(i);
        Check(len >= 0);
        Check(split->StrPtr(i) + len < split->GetBufferPtr() + TSplitString::kBufferSize);
        filled += len != 0;
    }
    Check(filled == split->GetNumFilled());
}

void FuzzQuoted(TQuotedSplitString::TSyntax syntax, const std::string &line) {
    TQuotedSplitString split(syntax, 0, 0);
    const bool ok = split.Split(line.c_str());
    size_t total = 0;
    unsigned int filled = 0;
    for (unsigned int i = 0; i < split.GetNumFields(); ++i) {
        const unsigned int len = split.GetFieldLength(i);
        Check(std::strlen(split.GetField(i)) <= len);
        total += len + 1;
        filled += len != 0;
    }
    // Every input byte gives at most one byte of field text.
    Check(total <= line.size() + 1);
    Check(split.GetNumFilled() == (ok ? filled : 0));
    Check(ok || !split.GetLastError().IsEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    FuzzPlain(static_cast<char>(data[0]), data + 1, size - 1);
    // The quoting machines read up to the first NUL, as a C string ends there.
    const std::string line(reinterpret_cast<const char *>(data + 1),
                           strnlen(reinterpret_cast<const char *>(data + 1), size - 1));
    FuzzQuoted(TQuotedSplitString::CSV, line);
    FuzzQuoted(TQuotedSplitString::Command, line);
    return 0;
}
