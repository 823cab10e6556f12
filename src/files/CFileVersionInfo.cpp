#include "files/CFileVersionInfo.h"

#include "base/Text.h"
#include "platform/file_system.h"
#include "platform/locale.h"

#include <array>
#include <utility>

namespace tsasync {

namespace {

std::uint32_t HighHalf(std::uint32_t word) { return word >> 16; }
std::uint32_t LowHalf(std::uint32_t word) { return word & 0xFFFF; }

// Plain decimal with at least `digits` digits.
std::u16string Padded(std::uint32_t value, std::size_t digits) {
    std::u16string text = Decimal(value);
    if (text.size() < digits) text.insert(0, digits - text.size(), u'0');
    return text;
}

std::u16string VersionText(std::uint32_t high, std::uint32_t low) {
    const std::u16string start = Decimal(HighHalf(high)) + u"." + Padded(LowHalf(high), 2) + u".";
    return HighHalf(low) != 0 ? start + Padded(HighHalf(low), 2) + Padded(LowHalf(low), 2)
                              : start + Padded(LowHalf(low), 4);
}

std::u16string FlagsText(std::uint32_t flags) {
    constexpr std::array<std::u16string_view, 6> kWords{u"Debug ",   u"PreRel ", u"Patched ",
                                                        u"Private ", u"Info ",   u"Special "};
    std::u16string text;
    for (std::size_t bit = 0; bit < kWords.size(); ++bit) {
        if ((flags >> bit & 1) != 0) text += kWords[bit];
    }
    return std::u16string(Trim(text));
}

std::u16string_view OperatingSystemText(std::uint32_t system) {
    switch (system) {
        case 0x10001:
            return u"DOS-Win16";
        case 0x10004:
            return u"DOS-Win32";
        case 0x20002:
            return u"OS/2-16 PM-16";
        case 0x30003:
            return u"OS/2-16 PM-32";
        case 0x40004:
            return u"NT-Win32";
        default:
            return u"Unknown";
    }
}

constexpr std::uint32_t kDriver = 3;
constexpr std::uint32_t kFont = 4;

std::u16string_view TypeText(std::uint32_t type) {
    constexpr std::array<std::u16string_view, 8> kTexts{u"Unknown", u"Application", u"DLL",     u"Driver",
                                                        u"Font",    u"VxD",         u"Unknown", u"Lib"};
    return type < kTexts.size() ? kTexts[type] : u"Unknown";
}

// Empty where the type has no such subtype.
std::u16string_view SubtypeText(std::uint32_t type, std::uint32_t subtype) {
    constexpr std::array<std::u16string_view, 11> kDrivers{
        u"Unknown",     u"Printer drv", u"Keyboard drv", u"Language drv", u"Display drv", u"Mouse drv",
        u"Network drv", u"System drv",  u"Installable",  u"Sound drv",    u"Comm drv"};
    constexpr std::array<std::u16string_view, 4> kFonts{u"", u"Raster Font", u"Vector Font",
                                                        u"TrueType Font"};
    if (type == kDriver && subtype < kDrivers.size()) return kDrivers[subtype];
    if (type == kFont && subtype < kFonts.size()) return kFonts[subtype];
    return {};
}

}  // namespace

void CFileVersionInfo::SetFullPathName(std::u16string_view NewVal) {
    std::u16string resolved = platform::FullPath(NewVal);
    if (resolved.empty()) return;
    m_sFullPathName = std::move(resolved);
    Refresh();
}

void CFileVersionInfo::Refresh() {
    const auto resource = platform::VersionResource::Read(m_sFullPathName);
    m_bAvailable = resource.has_value();
    if (!resource) return;
    if (const auto fixed = resource->Fixed()) TakeFixed(*fixed);
    if (const auto translation = resource->FirstTranslation()) TakeStrings(*resource, *translation);
}

void CFileVersionInfo::TakeFixed(const platform::FixedVersion& fixed) {
    m_sVerStructure =
        Decimal(HighHalf(fixed.structureVersion)) + u"." + Decimal(LowHalf(fixed.structureVersion));
    m_sVerFile = VersionText(fixed.fileVersionHigh, fixed.fileVersionLow);
    m_sVerProduct = VersionText(fixed.productVersionHigh, fixed.productVersionLow);
    m_sFileFlags = FlagsText(fixed.fileFlags);
    m_sFileOS = OperatingSystemText(fixed.fileOS);
    m_sFileType = TypeText(fixed.fileType);
    const std::u16string_view subtype = SubtypeText(fixed.fileType, fixed.fileSubtype);
    if (!subtype.empty()) m_sFileSubType = subtype;
}

void CFileVersionInfo::TakeStrings(const platform::VersionResource& resource,
                                   platform::Translation translation) {
    m_sLanguage = platform::LanguageName(translation.language);
    const std::pair<std::u16string_view, std::u16string*> strings[] = {
        {u"CompanyName", &m_sCompanyName},           {u"FileDescription", &m_sFileDescription},
        {u"FileVersion", &m_sFileVersion},           {u"InternalName", &m_sInternalName},
        {u"LegalCopyright", &m_sLegalCopyright},     {u"LegalTrademarks", &m_sLegalTrademarks},
        {u"OriginalFilename", &m_sOriginalFilename}, {u"ProductName", &m_sProductName},
        {u"ProductVersion", &m_sProductVersion},
    };
    for (const auto& [name, value] : strings) {
        if (auto text = resource.String(translation, name)) *value = std::move(*text);
    }
}

}  // namespace tsasync
