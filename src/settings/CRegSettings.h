#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync {

// Named text settings of one application, below Software\<Company>\<AppName>[\<Section>] of a root key. No
// operation throws: a failed read gives the default, a failed write or deletion False.
class CRegSettings {
  public:
    static constexpr std::u16string_view kDefaultCompany = u"VB and VBA Program Settings";
    static constexpr std::u16string_view kDefaultAppName = u"QMASYN10";

    // Leading and trailing spaces are removed; an empty text restores the default.
    void SetCompany(std::u16string_view NewVal);
    const std::u16string& Company() const { return m_sCompany; }
    void SetAppName(std::u16string_view NewVal);
    const std::u16string& AppName() const { return m_sAppName; }

    // `Key` "*" is the section's default value in all three. An empty `Key` deletes the whole section, which
    // must hold no sections of its own; without a section nothing is deleted.
    bool DeleteSetting(std::u16string_view Section, std::u16string_view Key, std::int32_t ROOT) const;
    std::u16string GetSetting(std::u16string_view Section, std::u16string_view Key,
                              std::u16string_view Default, std::int32_t ROOT) const;
    bool SaveSetting(std::u16string_view Section, std::u16string_view Key, std::u16string_view Setting,
                     std::int32_t ROOT) const;

  private:
    std::u16string KeyPath(std::u16string_view Section) const;

    std::u16string m_sCompany{kDefaultCompany};
    std::u16string m_sAppName{kDefaultAppName};
};

}  // namespace tsasync
