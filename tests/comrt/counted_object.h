#pragma once

#include "tsasync/com.h"

namespace tsasync::test {

// An object on the stack that counts its references.
class CountedObject : public IDispatch {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        const bool known = riid == IID_IUnknown || riid == answersTo;
        *object = known ? static_cast<IDispatch*>(this) : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return E_NOTIMPL;
    }

    ULONG references = 1;
    IID answersTo = IID_IDispatch;  // besides IUnknown
};

}  // namespace tsasync::test
