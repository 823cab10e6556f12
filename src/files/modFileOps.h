#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Puts finished files in their place. Failures are AutomationErrors; "\" in these
// comments stands for the system's path separator.
namespace tsasync::modFileOps {

// `sPath` without leading and trailing spaces, ending in "\".
std::u16string AddBackslash(std::u16string_view sPath);
// `sPath` without leading and trailing spaces and without one trailing "\".
std::u16string RemoveBackslash(std::u16string_view sPath);

bool FileOrFolderExists(std::u16string_view sPath);
// Normalises the caller's `sPath` with RemoveBackslash first.
bool FolderExists(std::u16string& sPath);

// Creates every level of the path; failures show only later. The number of levels; 1 for a drive's root,
// which is there or can't be made.
std::int16_t CreateFolderTree(std::u16string_view sPath);

// The leading part of `sText` up to and including the first `sDelimiter`; the rest stays in `sText`.
std::u16string TakeToken(std::u16string& sText, char16_t sDelimiter);

// When `sPath` exists, a free name made from the template, reserved as an empty file; else `sPath`. Tokens of
// the template: <P> sTokenP, <S> sTokenS, <#> sNumberFormat with every "#" replaced by the counter, <N> base
// name and <E> extension of the file that is in the way. Throws 70 when the folder refuses the empty file.
std::u16string UniqueFileName(std::u16string_view sPath, std::u16string_view sTokenP,
                              std::u16string_view sTokenS, std::u16string_view sNumberFormat,
                              std::u16string_view sTemplate);

// One shell operation (platform/file_system.h has the codes and flags). With kFlagRenameOnCollision a taken
// destination is never replaced: the file gets a name of its own. Returns the destination used. Throws 53
// when the source is missing, else another number of base/ErrorNumbers.h.
std::u16string FileOperation(std::u16string_view sSource, std::u16string_view sDest, std::int32_t lOperation,
                             std::int32_t lFlags, std::intptr_t hWnd);

}  // namespace tsasync::modFileOps
