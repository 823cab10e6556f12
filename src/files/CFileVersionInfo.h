#pragma once

#include "platform/version_resource.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync {

// Describes the version resource of one file in texts. Filled when its path is set and by Refresh; what a
// refresh does not reach (a string that is missing, everything when there is no resource) keeps its value.
// Nothing here fails.
class CFileVersionInfo {
  public:
    // Resolves the path and reads the resource; a path that can't be resolved changes nothing.
    void SetFullPathName(std::u16string_view NewVal);
    const std::u16string& FullPathName() const { return m_sFullPathName; }

    bool Available() const { return m_bAvailable; }  // the file has a version resource

    // Of the fixed part.
    const std::u16string& FileFlags() const { return m_sFileFlags; }  // "Debug PreRel"; empty: no flag
    const std::u16string& FileOS() const { return m_sFileOS; }
    const std::u16string& FileType() const { return m_sFileType; }
    const std::u16string& FileSubType() const { return m_sFileSubType; }    // of drivers and fonts
    const std::u16string& VerFile() const { return m_sVerFile; }            // 6.0.0.8169 is "6.00.8169"
    const std::u16string& VerProduct() const { return m_sVerProduct; }      // in the same form
    const std::u16string& VerStructure() const { return m_sVerStructure; }  // "1.0"

    // Of the first translation: its language's name and the strings of its table.
    const std::u16string& CompanyName() const { return m_sCompanyName; }
    const std::u16string& FileDescription() const { return m_sFileDescription; }
    const std::u16string& FileVersion() const { return m_sFileVersion; }
    const std::u16string& InternalName() const { return m_sInternalName; }
    const std::u16string& Language() const { return m_sLanguage; }
    const std::u16string& LegalCopyright() const { return m_sLegalCopyright; }
    const std::u16string& LegalTrademarks() const { return m_sLegalTrademarks; }
    const std::u16string& OriginalFilename() const { return m_sOriginalFilename; }
    const std::u16string& ProductName() const { return m_sProductName; }
    const std::u16string& ProductVersion() const { return m_sProductVersion; }

    void Refresh();

  private:
    void TakeFixed(const platform::FixedVersion& fixed);
    void TakeStrings(const platform::VersionResource& resource, platform::Translation translation);

    std::u16string m_sFullPathName;
    bool m_bAvailable = false;
    std::u16string m_sFileFlags;
    std::u16string m_sFileOS;
    std::u16string m_sFileType;
    std::u16string m_sFileSubType;
    std::u16string m_sVerFile;
    std::u16string m_sVerProduct;
    std::u16string m_sVerStructure;
    std::u16string m_sCompanyName;
    std::u16string m_sFileDescription;
    std::u16string m_sFileVersion;
    std::u16string m_sInternalName;
    std::u16string m_sLanguage;
    std::u16string m_sLegalCopyright;
    std::u16string m_sLegalTrademarks;
    std::u16string m_sOriginalFilename;
    std::u16string m_sProductName;
    std::u16string m_sProductVersion;
};

}  // namespace tsasync
