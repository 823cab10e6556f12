#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Files and folders, in the system's own path syntax. All calls are synchronous; a failure is a result.
namespace tsasync::platform {

extern const char16_t kPathSeparator;  // '\' or '/'
extern const bool
    kPathsHaveDrives;  // "C:" at the start of a path names a drive; ":" is otherwise no letter of a name

inline constexpr std::uint32_t kAttributeReadOnly = 0x1;
inline constexpr std::uint32_t kAttributeHidden = 0x2;
inline constexpr std::uint32_t kAttributeSystem = 0x4;
inline constexpr std::uint32_t kAttributeDirectory = 0x10;
inline constexpr std::uint32_t kAttributeArchive = 0x20;
inline constexpr std::uint32_t kAttributeNormal = 0x80;  // alone: none of the others
inline constexpr std::uint32_t kAttributeTemporary = 0x100;
inline constexpr std::uint32_t kAttributeCompressed = 0x800;

// What a look-up tells of an entry.
struct FindData {
    std::uint32_t attributes = 0;
    double creationTime = 0;  // automation dates, local time, whole seconds
    double lastAccessTime = 0;
    double lastWriteTime = 0;
    std::uint64_t size = 0;    // bytes
    std::u16string name;       // as stored
    std::u16string shortName;  // empty where the file system keeps none
};

// Looks an entry up: the first that `path` names. "*" and "?" in the last component match as patterns on
// systems where they can't be part of a name; elsewhere they are ordinary characters.
std::optional<FindData> FindFirst(std::u16string_view path);

// The absolute form of `path`, with "." and ".." resolved by text; need not exist. Empty when unresolvable.
std::u16string FullPath(std::u16string_view path);

// The path of an existing entry with short names where the file system keeps them; where it doesn't, the path
// as it is. Empty when the entry is not found.
std::u16string ShortPath(std::u16string_view path);

// The bytes that the entry takes on its volume; nothing when that can't be found out.
std::optional<std::uint64_t> SizeOnDisk(std::u16string_view path);

enum class FileTime { Creation, LastAccess, LastWrite };

// Writes one time of an existing entry. `date`: automation date, local time, rounded to whole seconds. False
// when it stays as it was; there are systems on which no time of creation can be written.
bool WriteFileTime(std::u16string_view path, FileTime which, double date);

// Writes the attributes of an existing entry; bits that the entry can't lose or gain in this way (directory,
// compressed …) are passed over. False when one of the others can't be kept; none is then written.
bool WriteAttributes(std::u16string_view path, std::uint32_t attributes);

enum class CreateResult { Created, Exists, Refused };

// Creates one folder. Its parent must exist.
CreateResult CreateFolder(std::u16string_view path);

// Creates an empty file that did not exist before.
CreateResult CreateNewFile(std::u16string_view path);

inline constexpr std::int32_t kOpMove = 1;
inline constexpr std::int32_t kOpCopy = 2;
inline constexpr std::int32_t kOpDelete = 3;
inline constexpr std::int32_t kOpRename = 4;

inline constexpr std::uint16_t kFlagSilent = 0x4;
inline constexpr std::uint16_t kFlagRenameOnCollision = 0x8;
inline constexpr std::uint16_t kFlagNoConfirmation = 0x10;
inline constexpr std::uint16_t kFlagWantMappingHandle = 0x20;
inline constexpr std::uint16_t kFlagNoConfirmMkDir = 0x200;

// What stands at the destination when the operation begins, as far as the caller knows.
enum class Destination {
    AsItIs,       // the system's own rules and `flags` decide
    Free,         // nothing: an entry that has come there meanwhile is kept, and the result is kOpExists
    Placeholder,  // the caller's own empty file, which is replaced
};

struct FileOp {
    std::intptr_t hwnd = 0;  // owner of any dialog that the system shows; 0 none
    std::int32_t operation = 0;
    std::u16string from;
    std::u16string to;
    std::uint16_t flags = 0;
    Destination destination = Destination::AsItIs;
};

inline constexpr std::int32_t kOpExists = 80;
inline constexpr std::int32_t kOpDiskFull = 112;
inline constexpr std::int32_t kOpCancelled = 117;
inline constexpr std::int32_t kOpUnknownError =
    1026;  // among others: the source or the destination's folder is gone

struct FileOpResult {
    std::int32_t code = 0;  // 0 success; else a system code, among them those above
    bool aborted = false;   // the user stopped part of it
};

// Performs one shell operation on one entry. A move either happens or leaves source and destination as they
// were; across volumes it never shows a part of the file under its final name: the data is written beside it
// first.
FileOpResult RunFileOperation(const FileOp& op);

}  // namespace tsasync::platform
