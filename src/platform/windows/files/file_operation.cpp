#include <windows.h>
// after windows.h, whose types it uses
#include "platform/file_system.h"
#include "platform/windows/base/wide.h"

#include <shellapi.h>
#include <shlobj.h>

#include <array>
#include <cstdio>
#include <random>

// A finished file's move is made of the system's own atomic steps, since the shell's operation can't keep an
// entry that it meets at the destination without asking. All else is the shell's.
namespace tsasync::platform {

namespace {

std::int32_t CodeOf(DWORD error) {
    switch (error) {
        case ERROR_ALREADY_EXISTS:
        case ERROR_FILE_EXISTS:
            return kOpExists;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return kOpDiskFull;
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
            return kOpUnknownError;
        default:
            return static_cast<std::int32_t>(error);
    }
}

DWORD Result(BOOL success) { return success != FALSE ? NO_ERROR : GetLastError(); }

bool IsFolder(const std::u16string& path) {
    const DWORD attributes = GetFileAttributesW(Wide(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsEmptyFile(const std::u16string& path) {
    const auto entry = FindFirst(path);
    return entry && (entry->attributes & kAttributeDirectory) == 0 && entry->size == 0;
}

std::u16string HiddenNameBeside(const std::u16string& path) {
    std::random_device random;
    std::array<wchar_t, 32> name{};
    std::swprintf(name.data(), name.size(), L".qmasyn-%08x%08x", random(), random());
    return path.substr(0, path.rfind(kPathSeparator) + 1) + FromWide(name.data());
}

// Across volumes: the data is whole, and on the disk, under a name of its own before it takes the final one.
DWORD MoveByCopy(const std::u16string& from, const std::u16string& to, DWORD flags) {
    const std::u16string hidden = HiddenNameBeside(to);
    DWORD error =
        Result(MoveFileExW(Wide(from), Wide(hidden), MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH));
    if (error != NO_ERROR) {
        DeleteFileW(Wide(hidden));
        return error;
    }
    error = Result(MoveFileExW(Wide(hidden), Wide(to), flags));
    if (error != NO_ERROR) MoveFileExW(Wide(hidden), Wide(from), MOVEFILE_COPY_ALLOWED);
    return error;
}

// Moves a file to a place that is free or held by the caller's own empty file.
DWORD MoveInto(const FileOp& op) {
    const bool placeholder = op.destination == Destination::Placeholder;
    if (placeholder && !IsEmptyFile(op.to)) return ERROR_ALREADY_EXISTS;
    const DWORD flags = placeholder ? MOVEFILE_REPLACE_EXISTING : 0;
    const DWORD error = Result(MoveFileExW(Wide(op.from), Wide(op.to), flags));
    return error == ERROR_NOT_SAME_DEVICE ? MoveByCopy(op.from, op.to, flags) : error;
}

FileOpResult RunShellOperation(const FileOp& op) {
    const std::u16string from = op.from + u'\0';  // lists of one entry end in two NULs
    const std::u16string to = op.to + u'\0';
    SHFILEOPSTRUCTW record{};
    record.hwnd = reinterpret_cast<HWND>(op.hwnd);
    record.wFunc = static_cast<UINT>(op.operation);
    record.pFrom = Wide(from);
    record.pTo = Wide(to);
    record.fFlags = op.flags;
    const int code = SHFileOperationW(&record);
    return {code, record.fAnyOperationsAborted != FALSE};
}

}  // namespace

FileOpResult RunFileOperation(const FileOp& op) {
    const bool placed =
        op.destination != Destination::AsItIs && (op.operation == kOpMove || op.operation == kOpRename);
    if (placed && !IsFolder(op.from)) return {CodeOf(MoveInto(op)), false};
    // Only the shell moves a folder to another volume; it can't be told to keep what it meets, so the place
    // is looked at first.
    if (op.destination == Destination::Free && FindFirst(op.to)) return {kOpExists, false};
    if (op.destination == Destination::Placeholder) {
        if (!IsEmptyFile(op.to)) return {kOpExists, false};
        DeleteFileW(Wide(op.to));
    }
    return RunShellOperation(op);
}

}  // namespace tsasync::platform
