#include "platform/settings_store.h"

#include "platform/windows/base/wide.h"

#include <windows.h>

namespace tsasync::platform {

namespace {

// An open key of the registry; closed with the object.
class Key {
  public:
    Key() = default;
    ~Key() {
        if (m_key != nullptr) RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    LSTATUS Open(std::int32_t root, std::u16string_view path, REGSAM access) {
        return RegOpenKeyExW(Root(root), Wide(std::u16string(path)), 0, access, &m_key);
    }
    bool Create(std::int32_t root, std::u16string_view path) {
        return RegCreateKeyExW(Root(root), Wide(std::u16string(path)), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               KEY_ALL_ACCESS, nullptr, &m_key, nullptr) == ERROR_SUCCESS;
    }
    HKEY Get() const { return m_key; }

  private:
    // The predefined roots are handles made of sign-extended numbers.
    static HKEY Root(std::int32_t root) { return reinterpret_cast<HKEY>(static_cast<LONG_PTR>(root)); }

    HKEY m_key = nullptr;
};

}  // namespace

std::optional<std::u16string> ReadSetting(std::int32_t root, std::u16string_view keyPath,
                                          std::u16string_view valueName) {
    const std::u16string name(valueName);
    Key key;
    DWORD size = 0;  // bytes
    if (key.Open(root, keyPath, KEY_ALL_ACCESS) != ERROR_SUCCESS) return std::nullopt;
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
    Key key;
    return key.Create(root, keyPath) &&
           RegSetValueExW(key.Get(), Wide(std::u16string(valueName)), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(data.c_str()), size) == ERROR_SUCCESS;
}

bool DeleteSettingValue(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName) {
    Key key;
    return key.Open(root, keyPath, KEY_ALL_ACCESS) == ERROR_SUCCESS &&
           RegDeleteValueW(key.Get(), Wide(std::u16string(valueName))) == ERROR_SUCCESS;
}

// A key that can't be opened is there: what is to be done with it will fail, and is reported then.
bool SettingKeyExists(std::int32_t root, std::u16string_view keyPath) {
    Key key;
    const LSTATUS opened = key.Open(root, keyPath, KEY_READ);
    return opened != ERROR_FILE_NOT_FOUND && opened != ERROR_PATH_NOT_FOUND;
}

bool DeleteSettingKey(std::int32_t root, std::u16string_view parentPath, std::u16string_view name) {
    Key parent;
    return parent.Open(root, parentPath, KEY_ALL_ACCESS) == ERROR_SUCCESS &&
           RegDeleteKeyW(parent.Get(), Wide(std::u16string(name))) == ERROR_SUCCESS;
}

}  // namespace tsasync::platform
