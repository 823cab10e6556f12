#pragma once

#include "platform/file_system.h"
#include "platform/shell_info.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync {

// Describes one file or folder, and writes its attributes and times back. Filled when its path is set and by
// Refresh; what a refresh does not reach keeps its value. Nothing here fails: what can't be written stays.
// "\" in these comments stands for the system's path separator.
class CFileInfo {
  public:
    // Resolves the path and reads the entry; a path that can't be resolved changes nothing.
    void SetFullPathName(std::u16string_view NewVal);
    const std::u16string& FullPathName() const { return m_sFullPathName; }

    const std::u16string& FileName() const { return m_sFileName; }          // as stored
    const std::u16string& FileBaseName() const { return m_sFileBaseName; }  // before the last "."
    const std::u16string& FilePath() const { return m_sFilePath; }          // long form, ends in "\"
    // A level of FilePath that can't be looked up leaves out all down to it; then it leads elsewhere.
    bool FilePathWhole() const { return m_bFilePathWhole; }
    const std::u16string& FileExtension() const { return m_sFileExtension; }  // after the last "."
    const std::u16string& ShortPathName() const { return m_sShortPathName; }
    const std::u16string& ShortName() const { return m_sShortName; }
    const std::u16string& ShortPath() const { return m_sShortPath; }
    const std::u16string& DisplayName() const { return m_sDisplayName; }
    const std::u16string& TypeName() const { return m_sTypeName; }  // "JPG File" when the desktop knows none

    bool FileExists() const { return m_bFileExists; }  // the last refresh found the entry
    bool PathExists() const { return m_bPathExists; }  // some refresh found it

    // Halves of the size, and of the size on disk; both halves of the latter are -1 when it is unknown.
    std::int32_t FileSize() const { return m_lFileSize; }
    std::int32_t FileSizeHigh() const { return m_lFileSizeHigh; }
    std::int32_t CompressedFileSize() const { return m_lCompressedFileSize; }
    std::int32_t CompressedFileSizeHigh() const { return m_lCompressedFileSizeHigh; }

    // Automation dates, local time, whole seconds. A write that succeeds refreshes the object.
    double CreationTime() const { return m_dtCreationTime; }
    double LastAccessTime() const { return m_dtLastAccessTime; }
    double ModifyTime() const { return m_dtModifyTime; }
    void SetCreationTime(double NewVal) { ApplyFileTime(NewVal, platform::FileTime::Creation); }
    void SetLastAccessTime(double NewVal) { ApplyFileTime(NewVal, platform::FileTime::LastAccess); }
    void SetModifyTime(double NewVal) { ApplyFileTime(NewVal, platform::FileTime::LastWrite); }

    // The bits of platform/file_system.h. Writing equal attributes does nothing; a write that succeeds
    // refreshes.
    std::int32_t Attributes() const { return m_lAttributes; }
    void SetAttributes(std::int32_t NewVal);
    bool attrReadOnly() const { return Has(platform::kAttributeReadOnly); }
    bool attrHidden() const { return Has(platform::kAttributeHidden); }
    bool attrSystem() const { return Has(platform::kAttributeSystem); }
    bool attrArchive() const { return Has(platform::kAttributeArchive); }
    bool attrTemporary() const { return Has(platform::kAttributeTemporary); }
    bool attrCompressed() const { return Has(platform::kAttributeCompressed); }
    void SetattrReadOnly(bool NewVal) { SetBit(platform::kAttributeReadOnly, NewVal); }
    void SetattrHidden(bool NewVal) { SetBit(platform::kAttributeHidden, NewVal); }
    void SetattrSystem(bool NewVal) { SetBit(platform::kAttributeSystem, NewVal); }
    void SetattrArchive(bool NewVal) { SetBit(platform::kAttributeArchive, NewVal); }
    void SetattrTemporary(bool) {}   // not to be had by wishing
    void SetattrCompressed(bool) {}  //

    std::int32_t hIcon() const { return m_hIcon.Get(); }  // stays the object's own; 0 none

    void Refresh();

    // The locale's long date, a blank, its long time.
    std::u16string FormatFileDate(double dt) const;
    // "1,023 bytes"; from 1024 bytes on as "1.50KB (1,536 bytes)". In the locale's number format.
    std::u16string FormatFileSize(std::int32_t Size) const;

  private:
    bool Has(std::uint32_t bit) const { return (static_cast<std::uint32_t>(m_lAttributes) & bit) != 0; }
    void SetBit(std::uint32_t bit, bool value);
    void ApplyFileTime(double date, platform::FileTime which);
    void TakeFindData(const platform::FindData& found);
    void TakeNames(const platform::FindData& found);
    void TakeShellInfo();

    std::u16string m_sFullPathName;
    std::u16string m_sFileName;
    std::u16string m_sFileBaseName;
    std::u16string m_sFilePath;
    std::u16string m_sFileExtension;
    std::u16string m_sShortPathName;
    std::u16string m_sShortName;
    std::u16string m_sShortPath;
    std::u16string m_sDisplayName;
    std::u16string m_sTypeName;
    bool m_bFilePathWhole = true;
    bool m_bFileExists = false;
    bool m_bPathExists = false;
    std::int32_t m_lFileSize = 0;
    std::int32_t m_lFileSizeHigh = 0;
    std::int32_t m_lCompressedFileSize = 0;
    std::int32_t m_lCompressedFileSizeHigh = 0;
    std::int32_t m_lAttributes = 0;
    double m_dtCreationTime = 0;
    double m_dtLastAccessTime = 0;
    double m_dtModifyTime = 0;
    platform::Icon m_hIcon;
};

}  // namespace tsasync
