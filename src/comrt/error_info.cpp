// The error object of a thread, and the one class of error objects.
#include "tsasync/com.h"

#include <atomic>
#include <new>
#include <utility>

namespace {

class ErrorObject final : public ICreateErrorInfo, public IErrorInfo {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        if (object == nullptr) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_ICreateErrorInfo) {
            *object = static_cast<ICreateErrorInfo*>(this);
        } else if (riid == IID_IErrorInfo) {
            *object = static_cast<IErrorInfo*>(this);
        } else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID id) override {
        m_id = id;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR text) override { return Store(m_source, text); }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR text) override { return Store(m_description, text); }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR text) override { return Store(m_helpFile, text); }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD context) override {
        m_helpContext = context;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* id) override { return Give(m_id, id); }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* text) override { return Give(m_source, text); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* text) override { return Give(m_description, text); }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* text) override { return Give(m_helpFile, text); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override { return Give(m_helpContext, context); }

  private:
    ~ErrorObject() {
        SysFreeString(m_source);
        SysFreeString(m_description);
        SysFreeString(m_helpFile);
    }

    static HRESULT Store(BSTR& field, LPOLESTR text) {
        return SysReAllocString(&field, text) != FALSE ? S_OK : E_OUTOFMEMORY;
    }
    static HRESULT Give(BSTR field, BSTR* text) {
        if (text == nullptr) return E_POINTER;
        *text = field == nullptr ? nullptr : SysAllocStringLen(field, SysStringLen(field));
        return field != nullptr && *text == nullptr ? E_OUTOFMEMORY : S_OK;
    }
    template <typename T>
    static HRESULT Give(const T& field, T* value) {
        if (value == nullptr) return E_POINTER;
        *value = field;
        return S_OK;
    }

    std::atomic<ULONG> m_references{1};
    GUID m_id{};
    BSTR m_source = nullptr;
    BSTR m_description = nullptr;
    BSTR m_helpFile = nullptr;
    DWORD m_helpContext = 0;
};

// Released with its thread.
struct ThreadError {
    ~ThreadError() {
        if (error != nullptr) error->Release();
    }
    IErrorInfo* error = nullptr;
};

thread_local ThreadError t_error;

}  // namespace

HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* error) {
    if (reserved != 0) return E_INVALIDARG;
    if (error != nullptr) error->AddRef();
    if (IErrorInfo* earlier = std::exchange(t_error.error, error)) earlier->Release();
    return S_OK;
}

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** error) {
    if (reserved != 0 || error == nullptr) return E_INVALIDARG;
    *error = std::exchange(t_error.error, nullptr);
    return *error != nullptr ? S_OK : S_FALSE;
}

HRESULT CreateErrorInfo(ICreateErrorInfo** error) {
    if (error == nullptr) return E_INVALIDARG;
    *error = new (std::nothrow) ErrorObject;
    return *error != nullptr ? S_OK : E_OUTOFMEMORY;
}
