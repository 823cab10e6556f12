#include "com/ItemObject.h"

#include "com/ComText.h"
#include "com/ErrorBoundary.h"

#include <string>
#include <utility>

namespace tsasync::com {

namespace {

constexpr IID kIdentifiers[] = {IID__CDLItem, IID_CDLItem___v0};

template <typename T, typename Value>
HRESULT Give(T* result, Value value) {
    if (result == nullptr) return E_POINTER;
    *result = static_cast<T>(value);
    return S_OK;
}

HRESULT Give(BSTR* result, const std::u16string& text) {
    if (result == nullptr) return E_POINTER;
    *result = nullptr;
    return Guarded(IID__CDLItem, [&] { *result = NewString(text); });
}

}  // namespace

const MemberTable& ItemMembers() {
    static const MemberTable members{
        Put<&_CDLItem::put_Name>(u"Name", DISPID_CDLItem_Name, VT_BSTR),
        Get<&_CDLItem::get_Name>(u"Name", DISPID_CDLItem_Name, VT_BSTR),
        Put<&_CDLItem::put_Attempts>(u"Attempts", DISPID_CDLItem_Attempts, VT_I2),
        Get<&_CDLItem::get_Attempts>(u"Attempts", DISPID_CDLItem_Attempts, VT_I2),
        Put<&_CDLItem::put_FinalPath>(u"FinalPath", DISPID_CDLItem_FinalPath, VT_BSTR),
        Get<&_CDLItem::get_FinalPath>(u"FinalPath", DISPID_CDLItem_FinalPath, VT_BSTR),
        Put<&_CDLItem::put_TmpPath>(u"TmpPath", DISPID_CDLItem_TmpPath, VT_BSTR),
        Get<&_CDLItem::get_TmpPath>(u"TmpPath", DISPID_CDLItem_TmpPath, VT_BSTR),
        Put<&_CDLItem::put_Start>(u"Start", DISPID_CDLItem_Start, VT_DATE),
        Get<&_CDLItem::get_Start>(u"Start", DISPID_CDLItem_Start, VT_DATE),
        Put<&_CDLItem::put_Size>(u"Size", DISPID_CDLItem_Size, VT_I4),
        Get<&_CDLItem::get_Size>(u"Size", DISPID_CDLItem_Size, VT_I4),
        Put<&_CDLItem::put_State>(u"State", DISPID_CDLItem_State, VT_I4),
        Get<&_CDLItem::get_TotalSize>(u"TotalSize", DISPID_CDLItem_TotalSize, VT_I4),
        Put<&_CDLItem::put_TotalSize>(u"TotalSize", DISPID_CDLItem_TotalSize, VT_I4),
        Get<&_CDLItem::get_State>(u"State", DISPID_CDLItem_State, VT_I4),
        Put<&_CDLItem::put_URL>(u"URL", DISPID_CDLItem_URL, VT_BSTR),
        Get<&_CDLItem::get_URL>(u"URL", DISPID_CDLItem_URL, VT_BSTR),
        Put<&_CDLItem::put_Handle>(u"Handle", DISPID_CDLItem_Handle, VT_BSTR),
        Get<&_CDLItem::get_Handle>(u"Handle", DISPID_CDLItem_Handle, VT_BSTR),
        Get<&_CDLItem::get_RefCount>(u"RefCount", DISPID_CDLItem_RefCount, VT_I4),
        Put<&_CDLItem::put_RefCount>(u"RefCount", DISPID_CDLItem_RefCount, VT_I4),
        Put<&_CDLItem::put_MIMEType>(u"MIMEType", DISPID_CDLItem_MIMEType, VT_BSTR),
        Get<&_CDLItem::get_MIMEType>(u"MIMEType", DISPID_CDLItem_MIMEType, VT_BSTR),
    };
    return members;
}

ItemObject::ItemObject(std::shared_ptr<CDLItem> record)
    : DispatchObject(ItemMembers(), kIdentifiers), m_record(std::move(record)) {
    m_record->SetHostObject(this);
}

ItemObject::~ItemObject() { m_record->SetHostObject(nullptr); }

host::ComPtr<ItemObject> ItemObject::Of(const std::shared_ptr<CDLItem>& record) {
    if (auto* const existing = record->HostObject())
        return host::ComPtr(static_cast<ItemObject*>(existing));  // there are no other ones
    host::ComPtr<ItemObject> made;
    *made.Put() = new ItemObject(record);
    return made;
}

HRESULT ItemObject::put_Name(BSTR value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetName(Text(value)); });
}
HRESULT ItemObject::get_Name(BSTR* result) { return Give(result, m_record->Name()); }

HRESULT ItemObject::put_Attempts(SHORT value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetAttempts(value); });
}
HRESULT ItemObject::get_Attempts(SHORT* result) { return Give(result, m_record->Attempts()); }

HRESULT ItemObject::put_FinalPath(BSTR value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetFinalPath(Text(value)); });
}
HRESULT ItemObject::get_FinalPath(BSTR* result) { return Give(result, m_record->FinalPath()); }

HRESULT ItemObject::put_TmpPath(BSTR value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetTmpPath(Text(value)); });
}
HRESULT ItemObject::get_TmpPath(BSTR* result) { return Give(result, m_record->TmpPath()); }

HRESULT ItemObject::put_Start(DATE value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetStart(value); });
}
HRESULT ItemObject::get_Start(DATE* result) { return Give(result, m_record->Start()); }

HRESULT ItemObject::put_Size(LONG value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetSize(value); });
}
HRESULT ItemObject::get_Size(LONG* result) { return Give(result, m_record->Size()); }

HRESULT ItemObject::put_State(::TSDLStateEnum value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetState(static_cast<TSDLStateEnum>(value)); });
}
HRESULT ItemObject::get_State(::TSDLStateEnum* result) { return Give(result, m_record->State()); }

HRESULT ItemObject::put_TotalSize(LONG value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetTotalSize(value); });
}
HRESULT ItemObject::get_TotalSize(LONG* result) { return Give(result, m_record->TotalSize()); }

HRESULT ItemObject::put_URL(BSTR value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetURL(Text(value)); });
}
HRESULT ItemObject::get_URL(BSTR* result) { return Give(result, m_record->URL()); }

HRESULT ItemObject::put_Handle(BSTR value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetHandle(Text(value)); });
}
HRESULT ItemObject::get_Handle(BSTR* result) { return Give(result, m_record->Handle()); }

HRESULT ItemObject::put_RefCount(LONG value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetRefCount(value); });
}
HRESULT ItemObject::get_RefCount(LONG* result) { return Give(result, m_record->RefCount()); }

HRESULT ItemObject::put_MIMEType(BSTR value) {
    return Guarded(IID__CDLItem, [&] { m_record->SetMIMEType(Text(value)); });
}
HRESULT ItemObject::get_MIMEType(BSTR* result) { return Give(result, m_record->MIMEType()); }

}  // namespace tsasync::com
