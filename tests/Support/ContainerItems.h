// Small persistent classes shared by the container tests, fuzz targets and benchmark: values,
// a name, references by id, by persistent reference and by plain pointer, streamed the same
// way in binary and text.
#pragma once

#include <cstdint>
#include <cstring>

#include "General/Containers/RootContainer.h"
#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootObjectRef.h"
#include "General/Core/RuntimeClass.h"
#include "General/Streams/FileObj.h"
#include "General/Streams/IOAdapter.h"

namespace vlib::test {

/// A root object whose four stream operations run one routine through the adapter.
class TAdapterStreamed : public TRootObject {
public:
    TError ReadBinary(TFileObj &file) override {
        TIOAdapter adapter(&file, false);
        return Stream(adapter);
    }
    TError WriteBinary(TFileObj &file) override {
        TIOAdapter adapter(&file, true);
        return Stream(adapter);
    }
    TError ReadAscii(TAsciiInFilter &filter) override {
        TIOAdapter adapter(&filter);
        return Stream(adapter);
    }
    TError WriteAscii(TAsciiOutFilter &filter) override {
        TIOAdapter adapter(&filter);
        return Stream(adapter);
    }

protected:
    /// Reads or writes every field; the failure value when the adapter went bad.
    virtual TError Stream(TIOAdapter &adapter) = 0;
};

/// An object with an int, a float, a string and the id of another object (-1 for none).
class TTestItem : public TAdapterStreamed {
    VLIB_DECLARE_RUNTIME_CLASS(TTestItem)
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;
    int Value = 0;
    float Weight = 0.0f;
    TString Name;
    int Other = -1;
    int AfterLoadCalls = 0;
    /// When set, a read returns this failure code.
    static inline uint32_t ReadFailure = 0;

    TError ReadBinary(TFileObj &file) override {
        if (ReadFailure != 0)
            return TError(static_cast<long>(ReadFailure));
        // By hand, so that a payload cut short is noticed.
        int length = 0;
        uint32_t weight = 0;
        if (!ReadWord(file, Value) || !ReadWord(file, weight) || !ReadWord(file, length) ||
            length < 0 || length > kMaxName)
            return TError::kFailure;
        char text[kMaxName + 1];
        if (file.Read(text, length) != length || !ReadWord(file, Other))
            return TError::kFailure;
        text[length] = '\0';
        std::memcpy(&Weight, &weight, sizeof Weight);
        if (length != 0)
            Name = text; // as the adapter does, an empty name on file keeps the old one
        return TError::kSuccess;
    }
    void InitialiseAfterLoad() override { ++AfterLoadCalls; }

private:
    static constexpr int kMaxName = 4096;

    template <class Word> static bool ReadWord(TFileObj &file, Word &value) {
        unsigned char b[4];
        if (file.Read(b, 4) != 4)
            return false;
        value =
            static_cast<Word>(b[0] | b[1] << 8 | b[2] << 16 | static_cast<uint32_t>(b[3]) << 24);
        return true;
    }

protected:
    TError Stream(TIOAdapter &adapter) override {
        if (!adapter.GetWriting() && ReadFailure != 0)
            return TError(static_cast<long>(ReadFailure));
        adapter.StreamInt(Value, "Value");
        adapter.StreamFloat(Weight, "Weight");
        adapter.StreamString(Name, "Name");
        adapter.StreamInt(Other, "Other");
        return adapter.IsBad() ? TError(TError::kFailure) : TError(TError::kSuccess);
    }
};

/// A second class, derived from the first, for class filters, order-last lists and files that
/// hold several classes.
class TTestLateItem : public TTestItem {
    VLIB_DECLARE_RUNTIME_CLASS(TTestLateItem)
};

/// A class that cannot be created by name.
class TTestAbstractItem : public TTestItem {
    VLIB_DECLARE_RUNTIME_CLASS(TTestAbstractItem)
};

/// An object that refers to another, possibly in another container, by a persistent reference.
class TTestLinkItem : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TTestLinkItem)
public:
    TRootObjectRefBase Link;
    /// The object the link found while the payload was read.
    TRootObject *FoundWhileReading = nullptr;

    TError ReadBinary(TFileObj &file) override {
        TError result = Link.ReadBinary(file);
        FoundWhileReading = Link.Get();
        return result;
    }
    TError WriteBinary(TFileObj &file) override { return Link.WriteBinary(file); }
    TError ReadAscii(TAsciiInFilter &filter) override {
        TError result = Link.ReadAscii(filter, "Link");
        FoundWhileReading = Link.Get();
        return result;
    }
    TError WriteAscii(TAsciiOutFilter &filter) override { return Link.WriteAscii(filter, "Link"); }
};

/// Client pointer streaming: a plain pointer written as its container's id and the id the
/// container gives the object, announced to the pointer hooks and resolved again on read.
class TTestPtrItem : public TAdapterStreamed {
    VLIB_DECLARE_RUNTIME_CLASS(TTestPtrItem)
public:
    TRootObject *Target = nullptr; // not owned
    int Value = 0;

protected:
    TError Stream(TIOAdapter &adapter) override {
        unsigned long container = TRootContainerBank::ObjectToContainerID(Target);
        int id = Target != nullptr && Target->GetContainer() != nullptr
                     ? Target->GetContainer()->ObjectToID(Target)
                     : -1;
        if (adapter.GetWriting() && TRootContainer::WritePtrCallback != nullptr)
            TRootContainer::WritePtrCallback(Target);
        adapter.StreamLong(container, "Container");
        adapter.StreamInt(id, "Target");
        adapter.StreamInt(Value, "Value");
        if (!adapter.GetWriting()) {
            TRootContainer *owner = container == 0xFFFFFFFFul || TRootContainerBank::Bank == nullptr
                                        ? nullptr
                                        : TRootContainerBank::Bank->GetContainer(container);
            Target = owner != nullptr ? owner->IDToObject(id) : nullptr;
            if (TRootContainer::ReadPtrCallback != nullptr)
                TRootContainer::ReadPtrCallback(Target);
        }
        return adapter.IsBad() ? TError(TError::kFailure) : TError(TError::kSuccess);
    }
};

/// Makes a TTestItem with these values; the caller adds it to a container.
inline TTestItem *MakeItem(int value, const char *name, int other = -1, float weight = 0.0f) {
    auto *item = new TTestItem;
    item->Value = value;
    item->Weight = weight;
    item->Name = name;
    item->Other = other;
    return item;
}

} // namespace vlib::test
