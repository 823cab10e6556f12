#include "platform/linux/files/dos_attributes.h"

#include "platform/file_system.h"
#include "platform/linux/files/file_handle.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string_view>

namespace tsasync::platform {

namespace {

constexpr char kAttributeName[] = "user.DOSATTRIB";
constexpr std::string_view kPrefix = "0x";
constexpr std::uint32_t kKept =
    kAttributeReadOnly | kAttributeHidden | kAttributeSystem | kAttributeArchive | kAttributeTemporary;
constexpr std::uint32_t kKeptByFat =
    kAttributeReadOnly | kAttributeHidden | kAttributeSystem | kAttributeArchive;

bool IsFat(const std::string& path) {
    struct statfs volume {};
    return statfs(path.c_str(), &volume) == 0 && volume.f_type == MSDOS_SUPER_MAGIC;
}

// One request to the FAT driver about the entry; false when it refuses.
bool AskFat(const std::string& path, unsigned long request, std::uint32_t& attributes) {
    const FileHandle file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    return file && ioctl(file.Get(), request, &attributes) == 0;
}

// The value is "0x" and hexadecimal digits. File servers store a structure under the same name, which begins
// with that text and a NUL; its other members are theirs, so that it can be read but not written.
struct Stored {
    std::uint32_t attributes = 0;
    bool plain = true;
};

std::optional<Stored> ReadStored(const std::string& path) {
    char value[256];
    const ssize_t length = getxattr(path.c_str(), kAttributeName, value, sizeof value);
    if (length < 0) return std::nullopt;
    const char* const end = std::find(value, value + length, '\0');
    const std::string_view text(value, static_cast<std::size_t>(end - value));
    Stored stored;
    stored.plain = end + 1 >= value + length;
    if (!text.starts_with(kPrefix)) return Stored{0, false};
    std::from_chars(value + kPrefix.size(), end, stored.attributes, 16);
    return stored;
}

}  // namespace

std::optional<std::uint32_t> ReadDosAttributes(const std::string& path) {
    if (IsFat(path)) {
        std::uint32_t attributes = 0;
        if (!AskFat(path, FAT_IOCTL_GET_ATTRIBUTES, attributes)) return std::nullopt;
        return attributes & kKeptByFat;
    }
    const auto stored = ReadStored(path);
    if (!stored) return std::nullopt;
    return stored->attributes & kKept;
}

bool WriteDosAttributes(const std::string& path, std::uint32_t attributes) {
    if (IsFat(path)) {
        std::uint32_t current = 0;
        if ((attributes & ~kKeptByFat) != 0 || !AskFat(path, FAT_IOCTL_GET_ATTRIBUTES, current)) return false;
        std::uint32_t wanted = (current & ~kKeptByFat) | (current & kAttributeReadOnly) | attributes;
        return AskFat(path, FAT_IOCTL_SET_ATTRIBUTES, wanted);
    }
    const auto stored = ReadStored(path);
    if (stored && !stored->plain) return false;
    char value[16];
    const int length = std::snprintf(value, sizeof value, "0x%x", attributes & kKept);
    return setxattr(path.c_str(), kAttributeName, value, static_cast<std::size_t>(length), 0) == 0;
}

}  // namespace tsasync::platform
