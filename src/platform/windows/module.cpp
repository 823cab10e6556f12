#include "platform/module.h"

#include "own_module.h"
#include "tsasync/TSAsync.h"
#include "wide.h"

namespace tsasync::platform {

namespace {

constexpr LCID kLibraryLocale = 0x0409;
constexpr SYSKIND kLibrarySystem = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;

// The component's type library, counted for the caller; null when it can't be read.
ITypeLib* LoadLibraryOfTypes() {
    ITypeLib* library = nullptr;
    if (FAILED(LoadTypeLibEx(Wide(ModulePath()), REGKIND_NONE, &library))) return nullptr;
    return library;
}

bool IsRegistered() {
    BSTR path = nullptr;
    const HRESULT found = QueryPathOfRegTypeLib(LIBID_TSAsync, TSAsync_MajorVersion, TSAsync_MinorVersion,
                                                kLibraryLocale, &path);
    SysFreeString(path);
    return SUCCEEDED(found);
}

}  // namespace

std::u16string ModulePath() {
    std::u16string path(MAX_PATH, u'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(OwnModule(), Wide(path), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

bool HasTypeLibrary() { return FindResourceW(OwnModule(), MAKEINTRESOURCEW(1), L"TYPELIB") != nullptr; }

bool RegisterTypeLibrary() {
    ITypeLib* const library = LoadLibraryOfTypes();
    if (library == nullptr) return false;
    std::u16string path = ModulePath();
    const HRESULT registered = RegisterTypeLib(library, Wide(path), nullptr);
    library->Release();
    return SUCCEEDED(registered);
}

bool UnregisterTypeLibrary() {
    return !IsRegistered() ||
           SUCCEEDED(UnRegisterTypeLib(LIBID_TSAsync, TSAsync_MajorVersion, TSAsync_MinorVersion,
                                       kLibraryLocale, kLibrarySystem));
}

ITypeInfo* InterfaceDescription(REFGUID id) {
    ITypeLib* const library = LoadLibraryOfTypes();
    if (library == nullptr) return nullptr;
    ITypeInfo* description = nullptr;
    if (FAILED(library->GetTypeInfoOfGuid(id, &description))) description = nullptr;
    library->Release();
    return description;
}

}  // namespace tsasync::platform
