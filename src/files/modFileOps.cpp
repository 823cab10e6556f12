#include "files/modFileOps.h"

#include "base/AutomationError.h"
#include "base/Text.h"
#include "files/CFileInfo.h"
#include "platform/file_system.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace tsasync::modFileOps {

namespace {

using platform::kPathSeparator;

void ReplaceAll(std::u16string& text, std::u16string_view token, std::u16string_view value) {
    for (std::size_t at = text.find(token); at != std::u16string::npos;
         at = text.find(token, at + value.size())) {
        text.replace(at, token.size(), value);
    }
}

// The value of a text that is a decimal number as a whole, surrounding spaces aside.
std::optional<double> NumberOf(std::u16string_view text) {
    std::string ascii;
    for (const char16_t unit : Trim(text)) {
        if (unit > 0x7E) return std::nullopt;
        ascii += static_cast<char>(unit);
    }
    const char* first = ascii.data();
    const char* const last = first + ascii.size();
    if (first != last && *first == '+') ++first;
    // Neither a second sign, nor what std::from_chars reads besides decimal numbers: "inf", "nan".
    if (ascii.find_first_not_of("0123456789.eE+-") != ascii.npos || (first != ascii.data() && *first == '-'))
        return std::nullopt;
    double value = 0;
    const auto [end, error] = std::from_chars(first, last, value);
    if (end != last || error == std::errc::invalid_argument) return std::nullopt;
    if (error != std::errc::result_out_of_range) return value;
    // Too large or too small: a name is too short to get there by its digits alone.
    return ascii.find("e-") == ascii.npos && ascii.find("E-") == ascii.npos
               ? std::numeric_limits<double>::infinity()
               : 0;
}

// Where the numbering goes on: the number in brackets at the end of the name, else 0.
std::int32_t CounterStart(std::u16string_view baseName) {
    const std::size_t open = baseName.find(u'[');
    if (!baseName.ends_with(u']') || open == std::u16string_view::npos) return 0;
    const auto number = NumberOf(baseName.substr(open + 1, baseName.size() - open - 2));
    if (!number) return 0;
    const double rounded = RoundHalfEven(*number);
    if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
          rounded <= std::numeric_limits<std::int32_t>::max())) {
        Raise(kErrOverflow);
    }
    return static_cast<std::int32_t>(rounded);
}

// The folder of the file that is in the way; as it was given where it has no long form, since one above it
// may not be listed.
std::u16string FolderOf(const CFileInfo& file, std::u16string_view path) {
    if (file.FilePathWhole()) return file.FilePath();
    const std::u16string full = platform::FullPath(path);
    return full.substr(0, full.rfind(kPathSeparator) + 1);
}

std::int32_t ErrorOf(const platform::FileOpResult& result) {
    switch (result.code) {
        case 0:
            return result.aborted ? kErrMoveAborted : 0;
        case 7:
            return kErrMoveCode7;
        case platform::kOpCancelled:
            return kErrMoveCancelled;
        case platform::kOpUnknownError:
            return kErrMoveUnknown;
        default:
            return kErrMoveFailed;
    }
}

// More names than others can take meanwhile.
constexpr int kMostNames = 10'000;

// Gives the operation a destination of its own. Another thread or process may take the name between the look
// and the operation; then the next one serves.
platform::FileOpResult RunWithFreeName(platform::FileOp& op) {
    const std::u16string wanted = op.to;
    for (int tries = 1;; ++tries) {
        op.to = UniqueFileName(wanted, {}, {}, u"[#]", u"<N><#>.<E>");
        const bool reserved = op.to != wanted;
        op.destination = reserved ? platform::Destination::Placeholder : platform::Destination::Free;
        const auto result = platform::RunFileOperation(op);
        const bool wasTaken = result.code == platform::kOpExists && FileOrFolderExists(op.to);
        if (!wasTaken || tries == kMostNames) return result;
    }
}

}  // namespace

std::u16string AddBackslash(std::u16string_view sPath) {
    std::u16string result(Trim(sPath));
    if (!result.ends_with(kPathSeparator)) result += kPathSeparator;
    return result;
}

std::u16string RemoveBackslash(std::u16string_view sPath) {
    std::u16string result(Trim(sPath));
    if (result.ends_with(kPathSeparator)) result.pop_back();
    return result;
}

bool FileOrFolderExists(std::u16string_view sPath) { return platform::FindFirst(sPath).has_value(); }

bool FolderExists(std::u16string& sPath) {
    sPath = RemoveBackslash(sPath);
    const auto found = platform::FindFirst(sPath);
    return found && (found->attributes & platform::kAttributeDirectory) != 0;
}

std::int16_t CreateFolderTree(std::u16string_view sPath) {
    std::u16string rest(sPath);
    if (!rest.ends_with(kPathSeparator)) rest += kPathSeparator;
    std::u16string path;
    if (platform::kPathsHaveDrives && rest.find(u':') != std::u16string::npos)
        path = TakeToken(rest, kPathSeparator);

    std::int16_t levels = 0;
    while (!rest.empty()) {
        path += TakeToken(rest, kPathSeparator);
        platform::CreateFolder(path);
        if (levels < std::numeric_limits<std::int16_t>::max()) ++levels;
    }
    return std::max(levels, std::int16_t{1});
}

std::u16string TakeToken(std::u16string& sText, char16_t sDelimiter) {
    const std::size_t at = sText.find(sDelimiter);
    const std::size_t length = at == std::u16string::npos ? sText.size() : at + 1;
    std::u16string token = sText.substr(0, length);
    sText.erase(0, length);
    return token;
}

std::u16string UniqueFileName(std::u16string_view sPath, std::u16string_view sTokenP,
                              std::u16string_view sTokenS, std::u16string_view sNumberFormat,
                              std::u16string_view sTemplate) {
    CFileInfo file;
    file.SetFullPathName(sPath);
    if (!file.PathExists() || !file.FileExists()) return std::u16string(sPath);

    const std::u16string folder = FolderOf(file, sPath);
    std::u16string previous;
    for (std::int64_t counter = std::int64_t{CounterStart(file.FileBaseName())} + 1;; ++counter) {
        if (counter > std::numeric_limits<std::int32_t>::max()) Raise(kErrOverflow);
        std::u16string number(sNumberFormat);
        ReplaceAll(number, u"#", Decimal(counter));
        std::u16string name(sTemplate);
        ReplaceAll(name, u"<P>", sTokenP);
        ReplaceAll(name, u"<S>", sTokenS);
        ReplaceAll(name, u"<#>", number);
        ReplaceAll(name, u"<N>", file.FileBaseName());
        ReplaceAll(name, u"<E>", file.FileExtension());
        std::u16string candidate = folder + name;
        if (candidate == previous)
            Raise(kErrInvalidProcedureCall);  // a template without a number has one name only
        if (!FileOrFolderExists(candidate)) {
            switch (platform::CreateNewFile(candidate)) {
                case platform::CreateResult::Created:
                    return candidate;
                case platform::CreateResult::Refused:
                    Raise(kErrPermissionDenied);
                case platform::CreateResult::Exists:
                    break;  // someone was faster
            }
        }
        previous = std::move(candidate);
    }
}

std::u16string FileOperation(std::u16string_view sSource, std::u16string_view sDest, std::int32_t lOperation,
                             std::int32_t lFlags, std::intptr_t hWnd) {
    if (!FileOrFolderExists(sSource)) Raise(kErrFileNotFound);

    const auto flags = static_cast<std::uint16_t>(lFlags);
    platform::FileOp op;
    op.hwnd = hWnd;
    op.operation = lOperation;
    op.from = sSource;
    op.to = sDest;
    op.flags = static_cast<std::uint16_t>(
        flags & ~(platform::kFlagRenameOnCollision | platform::kFlagWantMappingHandle));

    const bool rename = (flags & platform::kFlagRenameOnCollision) != 0;
    if (rename) op.flags |= platform::kFlagNoConfirmation;
    const auto result =
        rename && lOperation != platform::kOpDelete ? RunWithFreeName(op) : platform::RunFileOperation(op);
    if (const std::int32_t error = ErrorOf(result)) Raise(error);
    return op.to;
}

}  // namespace tsasync::modFileOps
