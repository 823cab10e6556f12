#include "platform/reader/own_files.h"

#include "base/Utf8.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <windows.h>
// after windows.h, whose types it uses
#include <aclapi.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace tsasync::platform::reader {

namespace {

constexpr wchar_t kNameInTemporary[] = L"QMASYN10";
constexpr std::u16string_view kNameBeside = u"\\.QMASYN10";
constexpr std::int64_t kTicksPerSecond = 10'000'000;  // of the system's file times
constexpr std::int64_t kTicksTo1970 = 116'444'736'000'000'000;

HANDLE HandleOf(std::intptr_t native) { return reinterpret_cast<HANDLE>(native); }
std::intptr_t Native(HANDLE handle) { return reinterpret_cast<std::intptr_t>(handle); }

int LastErrorUnless(BOOL done) { return done != FALSE ? 0 : static_cast<int>(GetLastError()); }

std::int64_t Joined(DWORD high, DWORD low) {
    return static_cast<std::int64_t>(std::uint64_t{high} << 32 | low);
}

OVERLAPPED At(std::int64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(static_cast<std::uint64_t>(offset) >> 32);
    return place;
}

// What is opened for change here is locked by that: others may look at it and remove it.
constexpr DWORD kShareOfHolder = FILE_SHARE_READ | FILE_SHARE_DELETE;

bool IsRealFolder(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
               FILE_ATTRIBUTE_DIRECTORY;
}

// Whether `owner` is the process's user, or what this user's new files belong to.
bool IsUser(PSID owner) {
    FileHandle token;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()) == FALSE) return false;
    for (const TOKEN_INFORMATION_CLASS which : {TokenUser, TokenOwner}) {
        alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> found{};
        DWORD size = 0;
        // Both begin with a pointer to the identifier.
        if (GetTokenInformation(token.Get(), which, found.data(), static_cast<DWORD>(found.size()), &size) !=
                FALSE &&
            EqualSid(reinterpret_cast<const TOKEN_OWNER*>(found.data())->Owner, owner) != FALSE) {
            return true;
        }
    }
    return false;
}

// Somebody else's could tell us of any data that it is what we have begun. On a volume that knows no owners
// the assets themselves are anybody's.
bool IsOfUser(HANDLE folder) {
    DWORD features = 0;
    if (GetVolumeInformationByHandleW(folder, nullptr, 0, nullptr, nullptr, &features, nullptr, 0) != FALSE &&
        (features & FILE_PERSISTENT_ACLS) == 0) {
        return true;
    }
    PSID owner = nullptr;
    SecurityHandle descriptor;
    if (GetSecurityInfo(folder, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr,
                        descriptor.Put()) != ERROR_SUCCESS) {
        return false;
    }
    return IsUser(owner);
}

std::u16string TemporaryFolder() {
    std::array<wchar_t, MAX_PATH + 1> temporary{};
    GetTempPathW(static_cast<DWORD>(temporary.size()), temporary.data());
    return FromWide(temporary.data()) + FromWide(kNameInTemporary);
}

// Where the volume of a path, which need not exist, is mounted; empty when the system can't tell.
std::u16string VolumeOf(const std::u16string& path) {
    std::array<wchar_t, MAX_PATH + 1> volume{};
    GetVolumePathNameW(Wide(path), volume.data(), static_cast<DWORD>(volume.size()));
    return FromWide(volume.data());
}

}  // namespace

bool IsGone(int error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

std::int64_t OwnFile::Size() const {
    LARGE_INTEGER size{};
    return GetFileSizeEx(HandleOf(m_native), &size) != FALSE ? size.QuadPart : 0;
}

int OwnFile::ReadAt(std::int64_t offset, std::string& bytes) const {
    OVERLAPPED place = At(offset);
    DWORD count = 0;
    int error = LastErrorUnless(
        ReadFile(HandleOf(m_native), bytes.data(), static_cast<DWORD>(bytes.size()), &count, &place));
    if (error == ERROR_HANDLE_EOF) error = 0;
    bytes.resize(count);
    return error;
}

int OwnFile::WriteAt(std::int64_t offset, std::string_view bytes) {
    constexpr std::size_t kMost = std::size_t{1} << 30;
    while (!bytes.empty()) {
        OVERLAPPED place = At(offset);
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMost));
        if (const int error =
                LastErrorUnless(WriteFile(HandleOf(m_native), bytes.data(), wanted, &count, &place)))
            return error;
        if (count == 0) return ERROR_DISK_FULL;
        offset += count;
        bytes.remove_prefix(count);
    }
    return 0;
}

int OwnFile::Resize(std::int64_t size) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = size;
    return LastErrorUnless(
        SetFileInformationByHandle(HandleOf(m_native), FileEndOfFileInfo, &end, sizeof end));
}

int OwnFile::Close() {
    return m_native == kNone ? 0 : LastErrorUnless(CloseHandle(HandleOf(std::exchange(m_native, kNone))));
}

int OwnFolder::Open(const std::string& path) {
    const std::u16string name = FromUtf8(path);
    if (CreateDirectoryW(Wide(name), nullptr) != FALSE) {
        if (name.ends_with(kNameBeside)) SetFileAttributesW(Wide(name), FILE_ATTRIBUTE_HIDDEN);
    } else if (const DWORD error = GetLastError(); error != ERROR_ALREADY_EXISTS) {
        return static_cast<int>(error);
    }
    // As long as it is open it can't be removed, nor take another place.
    OwnFile folder(Native(CreateFileW(Wide(name), FILE_LIST_DIRECTORY | READ_CONTROL,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)));
    if (!folder) return static_cast<int>(GetLastError());
    if (!IsRealFolder(GetFileAttributesW(Wide(name))) || !IsOfUser(HandleOf(folder.Native())))
        return ERROR_ACCESS_DENIED;
    m_path = path;
    m_native = folder.Release();
    return 0;
}

// By a file beside it, which goes with its handle. An open folder is no lock: to list it, or to move
// something into it, the system opens it, too.
int OwnFolder::OpenAndLock(const OwnFolder& parent, const std::string& name) {
    OwnFile lock(
        Native(CreateFileW(Wide(FromUtf8(parent.PathOf("." + name))), DELETE, 0, nullptr, OPEN_ALWAYS,
                           FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)));
    if (!lock) return static_cast<int>(GetLastError());
    if (!IsRealFolder(GetFileAttributesW(Wide(FromUtf8(parent.PathOf(name)))))) return ERROR_PATH_NOT_FOUND;
    m_path = parent.PathOf(name);
    m_native = lock.Release();
    return 0;
}

void OwnFolder::Close() { OwnFile(std::exchange(m_native, kNone)).Close(); }

bool OwnFolder::IsThere() const {
    return GetFileAttributesW(Wide(FromUtf8(m_path))) != INVALID_FILE_ATTRIBUTES;
}

std::string OwnFolder::PathOf(const std::string& name) const {
    std::string path = m_path + "\\" + name;
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(m_path.size()), path.end(), '/', '\\');
    return path;
}

std::optional<std::vector<std::string>> OwnFolder::Names() const {
    WIN32_FIND_DATAW found{};
    const SearchHandle search(FindFirstFileW(Wide(FromUtf8(PathOf("*"))), &found));
    if (!search) return std::nullopt;
    std::vector<std::string> names;
    do {
        if (found.cFileName[0] != L'.') names.push_back(ToUtf8(FromWide(found.cFileName)));
    } while (FindNextFileW(search.Get(), &found) != FALSE);
    return names;
}

std::optional<FileFacts> OwnFolder::Find(const std::string& name) const {
    WIN32_FILE_ATTRIBUTE_DATA found{};
    if (GetFileAttributesExW(Wide(FromUtf8(PathOf(name))), GetFileExInfoStandard, &found) == FALSE)
        return std::nullopt;
    const std::int64_t ticks =
        Joined(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime);
    return FileFacts{Joined(found.nFileSizeHigh, found.nFileSizeLow),
                     (ticks - kTicksTo1970) / kTicksPerSecond};
}

int OwnFolder::OpenFile(const std::string& name, FileUse use, OwnFile& file) const {
    const bool looks = use == FileUse::Look;
    DWORD disposition = OPEN_EXISTING;
    if (use == FileUse::Create) disposition = CREATE_NEW;
    if (use == FileUse::CreateAndHold) disposition = OPEN_ALWAYS;
    file = OwnFile(
        Native(CreateFileW(Wide(FromUtf8(PathOf(name))), looks ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE,
                           looks ? kShareOfHolder | FILE_SHARE_WRITE : kShareOfHolder, nullptr, disposition,
                           FILE_FLAG_OPEN_REPARSE_POINT, nullptr)));
    return file ? 0 : static_cast<int>(GetLastError());
}

int OwnFolder::Remove(const std::string& name) const {
    return LastErrorUnless(DeleteFileW(Wide(FromUtf8(PathOf(name)))));
}

int OwnFolder::Rename(const std::string& from, const std::string& to) const {
    return LastErrorUnless(MoveFileW(Wide(FromUtf8(PathOf(from))), Wide(FromUtf8(PathOf(to)))));
}

int OwnFolder::MakeFolder(const std::string& name) const {
    return LastErrorUnless(CreateDirectoryW(Wide(FromUtf8(PathOf(name))), nullptr));
}

int OwnFolder::RemoveFolder(const std::string& name) const {
    return LastErrorUnless(RemoveDirectoryW(Wide(FromUtf8(PathOf(name)))));
}

void OwnFolder::RemoveItself() {
    Close();
    RemoveDirectoryW(Wide(FromUtf8(m_path)));
}

// A folder of the user's temporary files when that is on the same volume, else a hidden one beside `goal`
// where there is such a place; the former whatever its volume.
std::vector<std::string> PrivateFolderPaths(const std::string& goal) {
    const std::u16string temporary = TemporaryFolder();
    std::u16string folder = FromUtf8(goal);
    folder.resize(folder.find_last_not_of(u'\\') + 1);
    const auto end = folder.rfind(u'\\');
    if (end == folder.npos) return {ToUtf8(temporary)};
    const std::string beside = ToUtf8(folder.substr(0, end).append(kNameBeside));
    return VolumeOf(folder) == VolumeOf(temporary) ? std::vector{ToUtf8(temporary), beside}
                                                   : std::vector{beside, ToUtf8(temporary)};
}

}  // namespace tsasync::platform::reader
