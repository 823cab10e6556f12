#include "platform/version_resource.h"

#include "platform/windows/base/wide.h"

#include <windows.h>

#include <array>
#include <cstdio>

namespace tsasync::platform {

namespace {

// What the system finds in `block` under `name`; its length is in units for texts and in bytes for the rest.
template <typename T>
const T* Query(const std::vector<std::byte>& block, const wchar_t* name, UINT& length) {
    void* found = nullptr;
    if (VerQueryValueW(block.data(), name, &found, &length) == FALSE || length == 0) return nullptr;
    return static_cast<const T*>(found);
}

}  // namespace

std::optional<VersionResource> VersionResource::Read(std::u16string_view path) {
    const std::u16string file(path);
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(Wide(file), &ignored);
    if (size == 0) return std::nullopt;
    VersionResource resource;
    resource.m_block.resize(size);
    if (GetFileVersionInfoW(Wide(file), 0, size, resource.m_block.data()) == FALSE) return std::nullopt;
    return resource;
}

std::optional<FixedVersion> VersionResource::Fixed() const {
    UINT length = 0;
    const auto* fixed = Query<VS_FIXEDFILEINFO>(m_block, L"\\", length);
    if (fixed == nullptr || length < sizeof *fixed) return std::nullopt;
    return FixedVersion{static_cast<std::uint32_t>(fixed->dwStrucVersion),
                        static_cast<std::uint32_t>(fixed->dwFileVersionMS),
                        static_cast<std::uint32_t>(fixed->dwFileVersionLS),
                        static_cast<std::uint32_t>(fixed->dwProductVersionMS),
                        static_cast<std::uint32_t>(fixed->dwProductVersionLS),
                        static_cast<std::uint32_t>(fixed->dwFileFlags),
                        static_cast<std::uint32_t>(fixed->dwFileOS),
                        static_cast<std::uint32_t>(fixed->dwFileType),
                        static_cast<std::uint32_t>(fixed->dwFileSubtype)};
}

std::optional<Translation> VersionResource::FirstTranslation() const {
    UINT length = 0;
    const auto* entry = Query<WORD>(m_block, L"\\VarFileInfo\\Translation", length);
    if (entry == nullptr || length < 2 * sizeof *entry) return std::nullopt;
    return Translation{entry[0], entry[1]};
}

std::optional<std::u16string> VersionResource::String(Translation translation,
                                                      std::u16string_view name) const {
    std::array<wchar_t, 40> prefix{};
    std::swprintf(prefix.data(), prefix.size(), L"\\StringFileInfo\\%04X%04X\\", translation.language,
                  translation.codePage);
    const std::wstring path = prefix.data() + std::wstring(name.begin(), name.end());
    UINT length = 0;
    const auto* text = Query<wchar_t>(m_block, path.c_str(), length);
    if (text == nullptr) return std::nullopt;
    return FromWide(std::wstring_view(text, wcsnlen(text, length)));
}

}  // namespace tsasync::platform
