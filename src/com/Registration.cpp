#include "com/Registration.h"

#include "com/ComText.h"
#include "platform/module.h"
#include "platform/settings_store.h"
#include "tsasync/TSAsync.h"

#include <string>
#include <string_view>

namespace tsasync::com {

namespace {

using platform::kClassesRoot;

constexpr std::u16string_view kClasses = u"CLSID";
constexpr std::u16string_view kServer = u"InprocServer32";
constexpr std::u16string_view kProgId = u"ProgID";

std::u16string ClassId() {
    OLECHAR text[39];
    StringFromGUID2(CLSID_CDLManager, text, 39);
    return ZeroEndedText(text);
}

std::u16string ProgId() { return ZeroEndedText(ProgID_CDLManager); }

std::u16string Path(std::u16string_view parent, std::u16string_view name) {
    return std::u16string(parent) + u"\\" + std::u16string(name);
}

bool Write(const std::u16string& key, std::u16string_view valueName, std::u16string_view text) {
    return platform::WriteSetting(kClassesRoot, key, valueName, text);
}

bool Remove(std::u16string_view parent, std::u16string_view name) {
    const std::u16string key = parent.empty() ? std::u16string(name) : Path(parent, name);
    return !platform::SettingKeyExists(kClassesRoot, key) ||
           platform::DeleteSettingKey(kClassesRoot, parent, name);
}

}  // namespace

bool RegisterClass() {
    const std::u16string module = platform::ModulePath();
    if (module.empty()) return false;
    const std::u16string classKey = Path(kClasses, ClassId());
    const std::u16string serverKey = Path(classKey, kServer);
    return Write(classKey, u"", ProgId()) && Write(serverKey, u"", module) &&
           Write(serverKey, u"ThreadingModel", u"Apartment") &&
           Write(Path(classKey, kProgId), u"", ProgId()) && Write(ProgId(), u"", ProgId()) &&
           Write(Path(ProgId(), kClasses), u"", ClassId());
}

// Every step is taken, so that a registration that is not whole goes, too.
bool UnregisterClass() {
    const std::u16string classKey = Path(kClasses, ClassId());
    bool removed = Remove(classKey, kServer);
    removed = Remove(classKey, kProgId) && removed;
    removed = Remove(kClasses, ClassId()) && removed;
    removed = Remove(ProgId(), kClasses) && removed;
    return Remove(u"", ProgId()) && removed;
}

}  // namespace tsasync::com
