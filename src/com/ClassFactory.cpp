#include "com/ClassFactory.h"

#include "com/ErrorBoundary.h"
#include "com/ManagerObject.h"

namespace tsasync::com {

HRESULT ClassFactory::QueryInterface(REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    const bool known = riid == IID_IUnknown || riid == IID_IClassFactory;
    *object = known ? static_cast<IClassFactory*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG ClassFactory::AddRef() { return ++m_references; }

ULONG ClassFactory::Release() {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    host::ComPtr<ManagerObject> manager;
    const HRESULT created = Guarded(IID__CDLManager, [&] { *manager.Put() = new ManagerObject; });
    return FAILED(created) ? created : manager->QueryInterface(riid, object);
}

HRESULT ClassFactory::LockServer(BOOL lock) {
    if (lock != FALSE) {
        AddModuleLock();
    } else {
        ReleaseModuleLock();
    }
    return S_OK;
}

}  // namespace tsasync::com
