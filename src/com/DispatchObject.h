#pragma once

#include "com/Dispatch.h"
#include "com/ErrorBoundary.h"
#include "com/ModuleLock.h"
#include "platform/type_library.h"

#include <span>

namespace tsasync::com {

// A public object: the reference count, the interface under all of its identifiers, IDispatch and
// ISupportErrorInfo. It is used on one thread only, like everything of the component.
template <typename Interface>
class DispatchObject : public Interface, public ISupportErrorInfo {
  public:
    // `identifiers` are the current one and the earlier ones, in this order.
    DispatchObject(const MemberTable& members, std::span<const IID> identifiers)
        : m_members(members), m_identifiers(identifiers) {}
    DispatchObject(const DispatchObject&) = delete;
    DispatchObject& operator=(const DispatchObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        if (object == nullptr) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IDispatch || IsOwn(riid)) {
            *object = static_cast<Interface*>(this);
        } else if (riid == IID_ISupportErrorInfo) {
            *object = static_cast<ISupportErrorInfo*>(this);
        } else {
            *object = FindOther(riid);
        }
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            ++m_references;  // what the end calls may take and drop references
            if (End()) delete this;
        }
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (count == nullptr) return E_POINTER;
        *count = 0;
        return Guarded(IID_NULL, [&] { *count = platform::HasTypeLibrary() ? 1 : 0; });
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** description) override {
        if (description == nullptr) return E_POINTER;
        *description = nullptr;
        const HRESULT read = Guarded(IID_NULL, [&] {
            if (index == 0) *description = platform::TypeDescription(m_identifiers.front());
        });
        if (FAILED(read)) return read;
        return *description != nullptr ? S_OK : DISP_E_BADINDEX;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override {
        return riid == IID_NULL ? FindNames(m_members, names, count, ids) : DISP_E_UNKNOWNINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID riid, LCID, WORD flags, DISPPARAMS* arguments,
                                     VARIANT* result, EXCEPINFO* error, UINT* badArgument) override {
        if (!(riid == IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
        if (arguments == nullptr) return E_INVALIDARG;
        return InvokeMember(m_members, *this, member, flags, *arguments, result, error, badArgument);
    }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
        return IsOwn(riid) ? S_OK : S_FALSE;
    }

  protected:
    virtual ~DispatchObject() = default;

    // The last reference has been dropped. Whether the object may go.
    virtual bool End() noexcept { return true; }
    // A further interface of the object, not counted; null when it has none of this identifier.
    virtual void* FindOther(REFIID) { return nullptr; }

  private:
    bool IsOwn(REFIID riid) const {
        for (const IID& identifier : m_identifiers) {
            if (riid == identifier) return true;
        }
        return false;
    }

    LiveObject m_live;
    const MemberTable& m_members;
    std::span<const IID> m_identifiers;
    ULONG m_references = 1;
};

}  // namespace tsasync::com
