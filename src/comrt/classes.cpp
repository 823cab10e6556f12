// Classes by identifier, from the registration that their servers keep in the settings store.
#include "platform/settings_store.h"
#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace {

using tsasync::platform::kClassesRoot;
using tsasync::platform::ReadSetting;

std::u16string IdText(REFGUID id) {
    OLECHAR text[39];
    StringFromGUID2(id, text, 39);
    return text;
}

std::u16string ClassKey(REFCLSID classId) { return u"CLSID\\" + IdText(classId); }

// The server's entry point; its library stays loaded until the process ends, because objects may be alive on
// any thread.
HRESULT LoadServer(const std::u16string& path, tsasync::host::GetClassObject& entry) {
    void* library = dlopen(tsasync::host::Utf8(path).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) return CO_E_DLLNOTFOUND;
    entry = reinterpret_cast<tsasync::host::GetClassObject>(dlsym(library, "DllGetClassObject"));
    dlclose(library);
    return entry != nullptr ? S_OK : CO_E_ERRORINDLL;
}

HRESULT Find(REFCLSID classId, REFIID riid, void** object) {
    const std::optional<std::u16string> path =
        ReadSetting(kClassesRoot, ClassKey(classId) + u"\\InprocServer32", u"");
    if (!path || path->empty()) return REGDB_E_CLASSNOTREG;
    tsasync::host::GetClassObject entry = nullptr;
    const HRESULT loaded = LoadServer(*path, entry);
    return FAILED(loaded) ? loaded : entry(classId, riid, object);
}

// What runs out of memory fails with E_OUTOFMEMORY; nothing else can be thrown here.
template <typename Operation>
HRESULT Guarded(const Operation& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* classId) {
    if (progId == nullptr || classId == nullptr) return E_INVALIDARG;
    return Guarded([&]() -> HRESULT {
        *classId = CLSID_NULL;
        const auto text = ReadSetting(kClassesRoot, std::u16string(progId) + u"\\CLSID", u"");
        return text ? CLSIDFromString(text->c_str(), classId) : CO_E_CLASSSTRING;
    });
}

HRESULT ProgIDFromCLSID(REFCLSID classId, LPOLESTR* progId) {
    if (progId == nullptr) return E_INVALIDARG;
    return Guarded([&]() -> HRESULT {
        *progId = nullptr;
        const auto text = ReadSetting(kClassesRoot, ClassKey(classId) + u"\\ProgID", u"");
        if (!text) return REGDB_E_CLASSNOTREG;
        auto* copy = static_cast<LPOLESTR>(CoTaskMemAlloc((text->size() + 1) * sizeof(OLECHAR)));
        if (copy == nullptr) return E_OUTOFMEMORY;
        std::copy_n(text->c_str(), text->size() + 1, copy);
        *progId = copy;
        return S_OK;
    });
}

HRESULT CoGetClassObject(REFCLSID classId, DWORD context, void* reserved, REFIID riid, void** object) {
    if (object == nullptr || reserved != nullptr) return E_INVALIDARG;
    *object = nullptr;
    if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
    return Guarded([&] { return Find(classId, riid, object); });
}

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    tsasync::host::ComPtr<IClassFactory> factory;
    const HRESULT found = CoGetClassObject(classId, context, nullptr, IID_IClassFactory, factory.PutVoid());
    return FAILED(found) ? found : factory->CreateInstance(outer, riid, object);
}
