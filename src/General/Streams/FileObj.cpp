// The shared behaviour of file objects and filters: unlayering, name forwarding and the
// checks every filter's Open makes on the file it is asked to stand on.
#include "General/Streams/FileObj.h"

TError TFileObj::LastFileError = TError(TError::kSuccess);

TFileObj::~TFileObj() = default;

void TFileObj::CloseLayer() {
    if (IsWriteable())
        (void)Flush(); // a failed flush leaves Bad on this level and the ones beneath
    if (m_Lower != nullptr)
        m_Lower->ClearLayered();
    ClearOpen();
    m_Lower = nullptr;
}

TDynamicString &TFileObj::GetFileName() {
    if (m_Lower != nullptr)
        return m_Lower->GetFileName();
    static TDynamicString empty;
    return empty;
}

void TFileObj::MarkLayered(TFileObj *upper) {
    (void)upper;
    SetLayered();
}

bool TFilter::Close() {
    if (m_Lower == nullptr) {
        ClearOpen();
        return true;
    }
    if (!m_Lower->Close())
        return false;
    ClearOpen();
    return true;
}

bool TFilter::Flush() {
    if (m_Lower == nullptr)
        return false;
    if (!m_Lower->Flush()) {
        SetBad();
        return false;
    }
    return true;
}

bool TFilter::Seek(int offset, TSeekMode mode) {
    return m_Lower != nullptr && m_Lower->Seek(offset, mode);
}

int TFilter::GetPos() {
    return m_Lower != nullptr ? m_Lower->GetPos() : 0;
}

int TFilter::Length() {
    return m_Lower != nullptr ? m_Lower->Length() : 0;
}

int TFilter::AtEOF() {
    return m_Lower != nullptr ? m_Lower->AtEOF() : 1;
}

bool TFilter::FilterOpenValid(TFileObj *file) {
    return file != nullptr && file->IsOpen() && !file->IsLayered();
}

bool TFilter::ReadFilterOpenValid(TFileObj *file) {
    return FilterOpenValid(file) && file->IsReadable();
}

bool TFilter::WriteFilterOpenValid(TFileObj *file) {
    return FilterOpenValid(file) && file->IsWriteable();
}

bool TFilter::HandleOpenFailed(TFileObj *file) {
    if (file != nullptr)
        (void)file->Close();
    return false;
}

void TFilter::Layer(TFileObj *lower, uint32_t flags) {
    m_Flags = flags;
    m_Lower = lower;
    lower->MarkLayered(this);
}

void TFilter::MarkBad() {
    SetBad();
    if (m_Lower != nullptr)
        m_Lower->SetBad();
}

TDynamicString ConvertPath(const TDynamicString &path) {
    TDynamicString result(path);
    char *text = result.GetData();
    for (int i = 0, n = result.GetLength(); i < n; ++i) {
        if (text[i] == '/')
            text[i] = '\\';
    }
    return result;
}
