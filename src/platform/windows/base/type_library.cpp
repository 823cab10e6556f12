#include "platform/type_library.h"

#include "platform/module.h"
#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <string>

namespace tsasync::platform {

namespace {

using Library = host::ComPtr<ITypeLib>;

constexpr LCID kLibraryLocale = 0x0409;
constexpr SYSKIND kLibrarySystem = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;

std::basic_string<OLECHAR> OwnPath() {
    const std::u16string path = ModulePath();
    return {path.begin(), path.end()};
}

// Null when it can't be read.
Library LoadOwn() {
    Library library;
    LoadTypeLibEx(OwnPath().c_str(), REGKIND_NONE, library.Put());
    return library;
}

bool IsRegistered() {
    host::Bstr path;
    return SUCCEEDED(QueryPathOfRegTypeLib(LIBID_TSAsync, TSAsync_MajorVersion, TSAsync_MinorVersion,
                                           kLibraryLocale, path.Put()));
}

}  // namespace

bool HasTypeLibrary() { return LoadOwn().Get() != nullptr; }

bool RegisterTypeLibrary() {
    const Library library = LoadOwn();
    return library.Get() != nullptr && SUCCEEDED(RegisterTypeLib(library.Get(), OwnPath().data(), nullptr));
}

bool UnregisterTypeLibrary() {
    return !IsRegistered() ||
           SUCCEEDED(UnRegisterTypeLib(LIBID_TSAsync, TSAsync_MajorVersion, TSAsync_MinorVersion,
                                       kLibraryLocale, kLibrarySystem));
}

ITypeInfo* TypeDescription(REFGUID id) {
    const Library library = LoadOwn();
    ITypeInfo* description = nullptr;
    if (library.Get() == nullptr || FAILED(library->GetTypeInfoOfGuid(id, &description))) return nullptr;
    return description;
}

}  // namespace tsasync::platform
