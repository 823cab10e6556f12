#include "platform/string_tables.h"

#include "platform/windows/base/own_module.h"

#include <windows.h>

namespace tsasync::platform {

namespace {

constexpr std::int32_t kOwnModule = -1;  // a handle may not fit the 32 bits of a module's number

HMODULE ModuleOf(std::int32_t module) {
    return module == kOwnModule ? OwnModule() : reinterpret_cast<HMODULE>(static_cast<LONG_PTR>(module));
}

}  // namespace

std::int32_t OwnResourceModule() { return kOwnModule; }

std::optional<std::span<const std::byte>> FindStringTable(std::int32_t module, std::int32_t block,
                                                          std::int32_t language) {
    const HMODULE handle = ModuleOf(module);
    const HRSRC found =
        FindResourceExW(handle, RT_STRING, MAKEINTRESOURCEW(block), static_cast<WORD>(language));
    if (found == nullptr) return std::nullopt;
    const HGLOBAL loaded = LoadResource(handle, found);
    const void* bytes = loaded == nullptr ? nullptr : LockResource(loaded);
    if (bytes == nullptr) return std::nullopt;
    return std::span(static_cast<const std::byte*>(bytes), SizeofResource(handle, found));
}

}  // namespace tsasync::platform
