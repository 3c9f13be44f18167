// Windows into the disk file's chunk or whole-file image and into the memory files.
#include "General/Streams/Detail/FileWindow.h"

#include <typeinfo>

#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"

namespace vlib::detail {

TWindowKind TFileWindow::Classify(TFileObj *file) {
    if (file == nullptr)
        return TWindowKind::None;
    const std::type_info &type = typeid(*file);
    if (type == typeid(TRealFile))
        return TWindowKind::RealFile;
    if (type == typeid(TFixedFileBuf))
        return TWindowKind::FixedBuf;
    if (type == typeid(TManagedFileBuf))
        return TWindowKind::ManagedBuf;
    return TWindowKind::None;
}

} // namespace vlib::detail
