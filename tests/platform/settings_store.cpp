#include "tests/platform/settings_store.h"

#include "base/KeyFold.h"
#include "platform/settings_store.h"

#include <map>

namespace tsasync {

namespace {

using Values = std::map<std::u16string, std::u16string>;

// Every key that exists, by its root and path; a key's path begins with its parent's path and "\".
thread_local std::map<std::pair<std::int32_t, std::u16string>, Values> g_keys;
thread_local bool g_refuseWrites = false;

Values* FindKey(std::int32_t root, std::u16string_view path) {
    const auto key = g_keys.find({root, FoldKey(path)});
    return key == g_keys.end() ? nullptr : &key->second;
}

bool HasKeysBelow(std::int32_t root, const std::u16string& path) {
    const auto next = g_keys.lower_bound({root, path + u"\\"});
    return next != g_keys.end() && next->first.first == root && next->first.second.starts_with(path + u"\\");
}

}  // namespace

std::optional<std::u16string> platform::ReadSetting(std::int32_t root, std::u16string_view keyPath,
                                                    std::u16string_view valueName) {
    const Values* key = FindKey(root, keyPath);
    if (key == nullptr) return {};
    const auto value = key->find(FoldKey(valueName));
    if (value == key->end()) return {};
    return value->second;
}

bool platform::WriteSetting(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName,
                            std::u16string_view text) {
    if (g_refuseWrites) return false;
    const std::u16string path = FoldKey(keyPath);
    for (auto end = path.find(u'\\'); end != path.npos; end = path.find(u'\\', end + 1)) {
        g_keys[{root, path.substr(0, end)}];
    }
    g_keys[{root, path}][FoldKey(valueName)] = text;
    return true;
}

bool platform::DeleteSettingValue(std::int32_t root, std::u16string_view keyPath,
                                  std::u16string_view valueName) {
    if (g_refuseWrites) return false;
    Values* key = FindKey(root, keyPath);
    return key != nullptr && key->erase(FoldKey(valueName)) != 0;
}

bool platform::SettingKeyExists(std::int32_t root, std::u16string_view keyPath) {
    return FindKey(root, keyPath) != nullptr;
}

bool platform::DeleteSettingKey(std::int32_t root, std::u16string_view parentPath, std::u16string_view name) {
    if (g_refuseWrites) return false;
    const std::u16string parent = parentPath.empty() ? u"" : std::u16string(parentPath) + u"\\";
    const std::u16string path = FoldKey(parent + std::u16string(name));
    return !HasKeysBelow(root, path) && g_keys.erase({root, path}) != 0;
}

void testplatform::ClearSettings() { g_keys.clear(); }

void testplatform::RefuseSettingWrites(bool refuse) { g_refuseWrites = refuse; }

}  // namespace tsasync
