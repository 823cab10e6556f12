// The four entry points of the component, all that it exports.
#include "com/ClassFactory.h"
#include "com/ErrorBoundary.h"
#include "com/ModuleLock.h"
#include "com/Registration.h"
#include "platform/type_library.h"
#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

namespace com = tsasync::com;

extern "C" HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (!(rclsid == CLSID_CDLManager)) return CLASS_E_CLASSNOTAVAILABLE;
    tsasync::host::ComPtr<com::ClassFactory> factory;
    const HRESULT made = com::Guarded(IID_NULL, [&] { *factory.Put() = new com::ClassFactory; });
    return FAILED(made) ? made : factory->QueryInterface(riid, ppv);
}

extern "C" HRESULT STDMETHODCALLTYPE DllCanUnloadNow() { return com::IsModuleLocked() ? S_FALSE : S_OK; }

extern "C" HRESULT STDMETHODCALLTYPE DllRegisterServer() {
    HRESULT outcome = S_OK;
    const HRESULT done = com::Guarded(IID_NULL, [&] {
        if (!com::RegisterClass()) {
            outcome = SELFREG_E_CLASS;
        } else if (!tsasync::platform::RegisterTypeLibrary()) {
            outcome = SELFREG_E_TYPELIB;
        }
    });
    return FAILED(done) ? done : outcome;
}

extern "C" HRESULT STDMETHODCALLTYPE DllUnregisterServer() {
    HRESULT outcome = S_OK;
    const HRESULT done = com::Guarded(IID_NULL, [&] {
        if (!tsasync::platform::UnregisterTypeLibrary()) outcome = SELFREG_E_TYPELIB;
        if (!com::UnregisterClass()) outcome = SELFREG_E_CLASS;
    });
    return FAILED(done) ? done : outcome;
}
