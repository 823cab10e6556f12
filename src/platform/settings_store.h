#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The hierarchical store of named texts: the registry, or what stands in for it. A key path is a list of
// names separated by "\" on every system ("Software\Corvane\Quillmark\Assets"); names compare without regard
// to letter case. The value name "" is the key's default value. Nothing is kept open between calls; every
// change is on disk, whole, when the call returns.
namespace tsasync::platform {

inline constexpr std::int32_t kClassesRoot = static_cast<std::int32_t>(0x80000000u);
inline constexpr std::int32_t kCurrentUserRoot = static_cast<std::int32_t>(0x80000001u);

// The value's text. Nothing when the key or the value does not exist, can't be read, or holds no data at all.
std::optional<std::u16string> ReadSetting(std::int32_t root, std::u16string_view keyPath,
                                          std::u16string_view valueName);

// Creates the key and every missing level, and stores the value. False when the store refuses.
bool WriteSetting(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName,
                  std::u16string_view text);

// False when the key or the value does not exist or the store refuses.
bool DeleteSettingValue(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName);

bool SettingKeyExists(std::int32_t root, std::u16string_view keyPath);

// Deletes the key `name` (never empty) below `parentPath` (empty: the root itself) with its values. False
// when there is none, when it has keys below it, or when the store refuses. Its parent stays, unless that is
// a key of the classes root that has nothing in it and the store is our own.
bool DeleteSettingKey(std::int32_t root, std::u16string_view parentPath, std::u16string_view name);

}  // namespace tsasync::platform
