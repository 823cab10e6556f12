// fileinfo FILE…: what the component's file services know of files.
#include "base/Utf8.h"
#include "files/CFileInfo.h"
#include "files/CFileVersionInfo.h"
#include "platform/linux/files/native_path.h"
#include "platform/locale.h"
#include "platform/shell_info.h"

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using tsasync::CFileInfo;
using tsasync::CFileVersionInfo;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Names and texts come from anywhere: what could steer a terminal or turn its text around is shown as "?",
// what is no text as U+FFFD.
bool IsSafe(char16_t unit) {
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool direction = (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return !control && !direction;
}

std::string Shown(std::u16string_view text) {
    std::u16string safe = tsasync::FromUtf8(tsasync::platform::ToNativeBytes(text));
    for (char16_t& unit : safe) {
        if (!IsSafe(unit)) unit = u'?';
    }
    return tsasync::ToUtf8(safe);
}

void PrintRow(std::string_view label, std::u16string_view value) {
    constexpr std::size_t kLabelWidth = 22;
    if (value.empty()) return;
    std::cout << "  " << label << std::string(kLabelWidth - label.size(), ' ') << Shown(value) << '\n';
}

// Of the halves in which the class has sizes; it formats those below 2 GB itself.
std::u16string SizeText(const CFileInfo& info, std::int32_t low, std::int32_t high) {
    constexpr double kGigabyte = 1024.0 * 1024 * 1024;
    if (high == 0 && low >= 0) return info.FormatFileSize(low);
    const std::uint64_t size =
        std::uint64_t{static_cast<std::uint32_t>(high)} << 32 | static_cast<std::uint32_t>(low);
    const auto bytes = static_cast<double>(size);
    return tsasync::platform::FormatNumber(bytes / kGigabyte, 2, true) + u"GB (" +
           tsasync::platform::FormatNumber(bytes, 0, true) + u" bytes)";
}

std::u16string AttributesText(const CFileInfo& info) {
    const std::pair<bool, std::u16string_view> attributes[] = {
        {info.attrReadOnly(), u"read-only"},  {info.attrHidden(), u"hidden"},
        {info.attrSystem(), u"system"},       {info.attrArchive(), u"archive"},
        {info.attrTemporary(), u"temporary"}, {info.attrCompressed(), u"compressed"},
    };
    std::u16string text;
    for (const auto& [set, name] : attributes) {
        if (set) text += (text.empty() ? u"" : u", ") + std::u16string(name);
    }
    return text.empty() ? u"none" : text;
}

bool IsFolder(const CFileInfo& info) {
    return (static_cast<std::uint32_t>(info.Attributes()) & tsasync::platform::kAttributeDirectory) != 0;
}

void PrintFile(const CFileInfo& info) {
    static bool first = true;
    if (!std::exchange(first, false)) std::cout << '\n';
    std::cout << Shown(info.DisplayName().empty() ? info.FullPathName() : info.DisplayName()) << '\n';
    PrintRow("Path", info.FullPathName());
    PrintRow("Type", info.TypeName());
    if (!IsFolder(info)) PrintRow("Size", SizeText(info, info.FileSize(), info.FileSizeHigh()));
    const bool sizeOnDiskKnown = info.CompressedFileSize() != -1 || info.CompressedFileSizeHigh() != -1;
    if (sizeOnDiskKnown) {
        PrintRow("Size on disk", SizeText(info, info.CompressedFileSize(), info.CompressedFileSizeHigh()));
    }
    PrintRow("Created", info.FormatFileDate(info.CreationTime()));
    PrintRow("Modified", info.FormatFileDate(info.ModifyTime()));
    PrintRow("Accessed", info.FormatFileDate(info.LastAccessTime()));
    PrintRow("Attributes", AttributesText(info));
    PrintRow("Icon", tsasync::platform::IconName(info.hIcon()));
}

void PrintVersion(const CFileVersionInfo& version) {
    PrintRow("Kind",
             version.FileType() + (version.FileSubType().empty() ? u"" : u", " + version.FileSubType()));
    PrintRow("Made for", version.FileOS());
    PrintRow("File version", version.VerFile());
    PrintRow("Product version", version.VerProduct());
    PrintRow("Flags", version.FileFlags());
    PrintRow("Language", version.Language());
    PrintRow("Company", version.CompanyName());
    PrintRow("Description", version.FileDescription());
    PrintRow("Version text", version.FileVersion());
    PrintRow("Internal name", version.InternalName());
    PrintRow("Copyright", version.LegalCopyright());
    PrintRow("Trademarks", version.LegalTrademarks());
    PrintRow("Original name", version.OriginalFilename());
    PrintRow("Product", version.ProductName());
    PrintRow("Product version text", version.ProductVersion());
}

bool Fail(const std::string& file, const std::string& why) {
    std::cout.flush();
    std::cerr << "fileinfo: " << Shown(tsasync::FromUtf8(file)) << ": " << why << '\n';
    return false;
}

std::string MessageOf(int error) { return std::generic_category().message(error); }

// Version information is nothing that a file without it lacks; but one that can't be read may have some.
bool CheckReadable(const std::string& file) {
    const tsasync::platform::NativePath native(file);
    return access(native.c_str(), R_OK) == 0 || Fail(file, "can't be read: " + MessageOf(errno));
}

bool Describe(const std::string& file) {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(file, error);
    if (!std::filesystem::exists(status) && error != std::errc::filename_too_long) {
        return Fail(file, error ? error.message() : MessageOf(ENOENT));
    }
    CFileInfo info;
    info.SetFullPathName(tsasync::platform::FromNativeBytes(file));
    if (!info.FileExists()) return Fail(file, error ? error.message() : MessageOf(ENOENT));
    PrintFile(info);
    CFileVersionInfo version;
    version.SetFullPathName(info.FullPathName());
    if (version.Available()) PrintVersion(version);
    return IsFolder(info) || CheckReadable(file);
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");  // NOLINT(concurrency-mt-unsafe): before there is another thread
    CLI::App app(
        "Shows what is known of files: type, sizes, times, attributes and, for Windows\n"
        "programs, libraries, drivers and fonts, their version information.");
    app.footer(
        "Exit status: 0 when all was shown, 1 when a file was missing or could not be read,\n"
        "2 for wrong usage.");
    std::vector<std::string> files;
    app.add_option("FILE", files, "the files and folders to describe")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }

    bool good = true;
    for (const auto& file : files) good = Describe(file) && good;
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "fileinfo: can't write to standard output\n";
        return kExitFailure;
    }
    return good ? 0 : kExitFailure;
}
