// The four entry points of the component, all that it exports.
#include "com/ClassFactory.h"
#include "com/ErrorBoundary.h"
#include "com/ModuleLock.h"
#include "com/Registration.h"
#include "com/TypeLibrary.h"
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
    bool written = false;
    const HRESULT done = com::Guarded(IID_NULL, [&] { written = com::RegisterClass(); });
    if (FAILED(done)) return done;
    if (!written) return SELFREG_E_CLASS;
    return com::RegisterTypeLibrary() ? S_OK : SELFREG_E_TYPELIB;
}

extern "C" HRESULT STDMETHODCALLTYPE DllUnregisterServer() {
    bool removed = false;
    const bool typeLibraryRemoved = com::UnregisterTypeLibrary();
    const HRESULT done = com::Guarded(IID_NULL, [&] { removed = com::UnregisterClass(); });
    if (FAILED(done)) return done;
    if (!removed) return SELFREG_E_CLASS;
    return typeLibraryRemoved ? S_OK : SELFREG_E_TYPELIB;
}
