// A guard for the disk file's fault switches: whatever a test arms is disarmed when the
// guard leaves scope, so one failing test cannot make the next one's files fail.
#pragma once

#include "General/Streams/RealFile.h"

namespace vlib::test {

/// Disarms every TRealFile fault switch on construction and again on destruction.
class TFileFaultGuard {
public:
    TFileFaultGuard() { TRealFile::Faults().DisarmAll(); }
    ~TFileFaultGuard() { TRealFile::Faults().DisarmAll(); }
    TFileFaultGuard(const TFileFaultGuard &) = delete;
    TFileFaultGuard &operator=(const TFileFaultGuard &) = delete;

    TFileFaults &operator*() const { return TRealFile::Faults(); }
    TFileFaults *operator->() const { return &TRealFile::Faults(); }
};

} // namespace vlib::test
