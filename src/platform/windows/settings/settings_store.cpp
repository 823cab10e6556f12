#include "platform/settings_store.h"

#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

namespace tsasync::platform {

namespace {

// The predefined roots are handles made of sign-extended numbers.
HKEY Root(std::int32_t root) { return reinterpret_cast<HKEY>(static_cast<LONG_PTR>(root)); }

KeyHandle OpenKey(std::int32_t root, std::u16string_view path) {
    KeyHandle key;
    RegOpenKeyExW(Root(root), Wide(std::u16string(path)), 0, KEY_ALL_ACCESS, key.Put());
    return key;
}

}  // namespace

std::optional<std::u16string> ReadSetting(std::int32_t root, std::u16string_view keyPath,
                                          std::u16string_view valueName) {
    const std::u16string name(valueName);
    const KeyHandle key = OpenKey(root, keyPath);
    DWORD size = 0;  // bytes
    if (!key) return std::nullopt;
    if (RegQueryValueExW(key.Get(), Wide(name), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS ||
        size == 0) {
        return std::nullopt;
    }
    std::u16string text((size + 1) / sizeof(char16_t), u'\0');
    if (RegQueryValueExW(key.Get(), Wide(name), nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()),
                         &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    text.resize(size / sizeof(char16_t));
    if (!text.empty() && text.back() == u'\0') text.pop_back();
    return text;
}

bool WriteSetting(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName,
                  std::u16string_view text) {
    const std::u16string data(text);
    const auto size = static_cast<DWORD>((data.size() + 1) * sizeof(char16_t));  // with the terminating NUL
    KeyHandle key;
    return RegCreateKeyExW(Root(root), Wide(std::u16string(keyPath)), 0, nullptr, REG_OPTION_NON_VOLATILE,
                           KEY_ALL_ACCESS, nullptr, key.Put(), nullptr) == ERROR_SUCCESS &&
           RegSetValueExW(key.Get(), Wide(std::u16string(valueName)), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(data.c_str()), size) == ERROR_SUCCESS;
}

bool DeleteSettingValue(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName) {
    const KeyHandle key = OpenKey(root, keyPath);
    return key && RegDeleteValueW(key.Get(), Wide(std::u16string(valueName))) == ERROR_SUCCESS;
}

// A key that can't be opened is there: what is to be done with it will fail, and is reported then.
bool SettingKeyExists(std::int32_t root, std::u16string_view keyPath) {
    KeyHandle key;
    const LSTATUS opened = RegOpenKeyExW(Root(root), Wide(std::u16string(keyPath)), 0, KEY_READ, key.Put());
    return opened != ERROR_FILE_NOT_FOUND && opened != ERROR_PATH_NOT_FOUND;
}

bool DeleteSettingKey(std::int32_t root, std::u16string_view parentPath, std::u16string_view name) {
    const KeyHandle parent = OpenKey(root, parentPath);
    return parent && RegDeleteKeyW(parent.Get(), Wide(std::u16string(name))) == ERROR_SUCCESS;
}

}  // namespace tsasync::platform
