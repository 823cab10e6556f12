#include "settings/CRegSettings.h"

#include "base/Text.h"
#include "platform/settings_store.h"

namespace tsasync {

namespace {

// "*" stands for the unnamed default value, which the store calls "".
std::u16string_view ValueName(std::u16string_view key) { return key == u"*" ? std::u16string_view() : key; }

std::u16string TrimmedOr(std::u16string_view value, std::u16string_view defaultValue) {
    return std::u16string(value.empty() ? defaultValue : Trim(value));
}

}  // namespace

void CRegSettings::SetCompany(std::u16string_view NewVal) { m_sCompany = TrimmedOr(NewVal, kDefaultCompany); }

void CRegSettings::SetAppName(std::u16string_view NewVal) { m_sAppName = TrimmedOr(NewVal, kDefaultAppName); }

bool CRegSettings::DeleteSetting(std::u16string_view Section, std::u16string_view Key,
                                 std::int32_t ROOT) const {
    if (Key.empty() && Section.empty()) return false;  // never the application's own key
    if (Key.empty()) return platform::DeleteSettingKey(ROOT, KeyPath({}), Section);
    return platform::DeleteSettingValue(ROOT, KeyPath(Section), ValueName(Key));
}

std::u16string CRegSettings::GetSetting(std::u16string_view Section, std::u16string_view Key,
                                        std::u16string_view Default, std::int32_t ROOT) const {
    return platform::ReadSetting(ROOT, KeyPath(Section), ValueName(Key)).value_or(std::u16string(Default));
}

bool CRegSettings::SaveSetting(std::u16string_view Section, std::u16string_view Key,
                               std::u16string_view Setting, std::int32_t ROOT) const {
    return platform::WriteSetting(ROOT, KeyPath(Section), ValueName(Key), Setting);
}

std::u16string CRegSettings::KeyPath(std::u16string_view Section) const {
    std::u16string path = u"Software\\" + m_sCompany + u"\\" + m_sAppName;
    if (!Section.empty()) {
        path += u'\\';
        path += Section;
    }
    return path;
}

}  // namespace tsasync
