#pragma once

#include "com/DispatchObject.h"
#include "manager/CDLItem.h"
#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <memory>

namespace tsasync::com {

// The members of _CDLItem.
const MemberTable& ItemMembers();

// The public object of a record. It owns the record; a record has one such object at a time.
class ItemObject final : public DispatchObject<_CDLItem>, public IHostObject {
  public:
    // The record's object, made where there is none.
    static host::ComPtr<ItemObject> Of(const std::shared_ptr<CDLItem>& record);

    HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE put_Attempts(SHORT value) override;
    HRESULT STDMETHODCALLTYPE get_Attempts(SHORT* result) override;
    HRESULT STDMETHODCALLTYPE put_FinalPath(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_FinalPath(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE put_TmpPath(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_TmpPath(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE put_Start(DATE value) override;
    HRESULT STDMETHODCALLTYPE get_Start(DATE* result) override;
    HRESULT STDMETHODCALLTYPE put_Size(LONG value) override;
    HRESULT STDMETHODCALLTYPE get_Size(LONG* result) override;
    HRESULT STDMETHODCALLTYPE put_State(::TSDLStateEnum value) override;
    HRESULT STDMETHODCALLTYPE get_TotalSize(LONG* result) override;
    HRESULT STDMETHODCALLTYPE put_TotalSize(LONG value) override;
    HRESULT STDMETHODCALLTYPE get_State(::TSDLStateEnum* result) override;
    HRESULT STDMETHODCALLTYPE put_URL(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_URL(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE put_Handle(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_Handle(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE get_RefCount(LONG* result) override;
    HRESULT STDMETHODCALLTYPE put_RefCount(LONG value) override;
    HRESULT STDMETHODCALLTYPE put_MIMEType(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_MIMEType(BSTR* result) override;

  private:
    explicit ItemObject(std::shared_ptr<CDLItem> record);
    ~ItemObject() override;

    std::shared_ptr<CDLItem> m_record;
};

}  // namespace tsasync::com
