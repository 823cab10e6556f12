#include "platform/settings_store.h"

#include "platform/linux/files/file_handle.h"
#include "platform/linux/settings/settings_file.h"

#include <fcntl.h>
#include <glib.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

// The store is one file, $XDG_CONFIG_HOME/QMASYN10/settings.ini. It is read without a lock, because it is
// only ever replaced whole. A change takes the lock beside it, reads, edits and replaces.
namespace tsasync::platform {

namespace {

constexpr std::size_t kLargestFile = std::size_t{16}
                                     << 20;  // bytes; a larger one is refused, for reading too
constexpr std::string_view kFirstLine =
    "# Settings of the asset transfer component. Lines are edited in place.\n";

std::string Folder() { return std::string(g_get_user_config_dir()) + "/QMASYN10"; }

// The file itself where the name in the folder is a link to it, so that replacing leaves the link.
std::string FilePath() {
    const std::string path = Folder() + "/settings.ini";
    const std::unique_ptr<char, void (*)(void*)> target(realpath(path.c_str(), nullptr), &free);
    return target ? target.get() : path;
}

// The file's bytes; empty when there is no file, nothing when it can't be read or is too large.
std::optional<std::string> ReadFile(const std::string& path) {
    const FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) return errno == ENOENT ? std::optional(std::string()) : std::nullopt;
    struct stat status {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t count = read(file.Get(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return {};
        if (count == 0) return text;
        text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > kLargestFile) return {};
    }
}

bool WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(file, text.data(), text.size());
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Replaces the file, keeping its permissions; on disk when it returns true.
bool ReplaceFile(const std::string& path, std::string_view text) {
    std::string temporary = path + ".XXXXXX";
    const FileHandle file(mkostemp(temporary.data(), O_CLOEXEC));
    if (!file) return false;
    // Not every volume lets them be set; then nobody else may read the file.
    struct stat old {};
    if (stat(path.c_str(), &old) == 0) static_cast<void>(fchmod(file.Get(), old.st_mode & 0777));
    const bool ready = WriteAll(file.Get(), text) && fsync(file.Get()) == 0;
    if (!ready || rename(temporary.c_str(), path.c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    const std::string folder = path.substr(0, path.rfind('/'));
    const FileHandle opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return opened && fsync(opened.Get()) == 0;
}

// Each change opens the lock file anew: such a lock excludes other threads as well as other processes.
bool TakeLock(int file) {
    while (flock(file, LOCK_EX) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

// Runs `edit` on the file's present content and stores what it made of it. False when `edit` returns false.
template <typename Edit>
bool Change(Edit edit) {
    const std::string folder = Folder();
    if (g_mkdir_with_parents(folder.c_str(), 0700) != 0) return false;
    const FileHandle lock(open((folder + "/settings.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock || !TakeLock(lock.Get())) return false;

    const std::string path = FilePath();
    const auto old = ReadFile(path);
    if (!old) return false;
    SettingsFile file(old->empty() ? kFirstLine : std::string_view(*old));
    if (!edit(file)) return false;
    const std::string text = file.Text();
    return text.size() <= kLargestFile && (text == *old || ReplaceFile(path, text));
}

// The names from the root on; nothing for a root that the store does not have.
std::optional<std::vector<std::u16string>> KeyNames(std::int32_t root, std::u16string_view keyPath) {
    if (root != kClassesRoot && root != kCurrentUserRoot) return {};
    std::vector<std::u16string> names{root == kClassesRoot ? u"ClassesRoot" : u"CurrentUser"};
    if (keyPath.empty()) return names;
    for (;;) {
        const auto end = keyPath.find(u'\\');
        names.emplace_back(keyPath.substr(0, end));
        if (end == keyPath.npos) return names;
        keyPath.remove_prefix(end + 1);
    }
}

}  // namespace

std::optional<std::u16string> ReadSetting(std::int32_t root, std::u16string_view keyPath,
                                          std::u16string_view valueName) {
    const auto key = KeyNames(root, keyPath);
    const auto text = key ? ReadFile(FilePath()) : std::nullopt;
    if (!text) return {};
    return SettingsFile(*text).Read(*key, valueName);
}

bool WriteSetting(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName,
                  std::u16string_view text) {
    const auto key = KeyNames(root, keyPath);
    return key && Change([&](SettingsFile& file) {
               file.Write(*key, valueName, text);
               return true;
           });
}

bool DeleteSettingValue(std::int32_t root, std::u16string_view keyPath, std::u16string_view valueName) {
    const auto key = KeyNames(root, keyPath);
    return key && Change([&](SettingsFile& file) { return file.DeleteValue(*key, valueName); });
}

bool SettingKeyExists(std::int32_t root, std::u16string_view keyPath) {
    const auto key = KeyNames(root, keyPath);
    const auto text = key ? ReadFile(FilePath()) : std::nullopt;
    return text && SettingsFile(*text).Exists(*key);
}

bool DeleteSettingKey(std::int32_t root, std::u16string_view parentPath, std::u16string_view name) {
    auto key = KeyNames(root, parentPath);
    if (!key) return false;
    const auto below = KeyNames(root, name);
    key->insert(key->end(), below->begin() + 1, below->end());
    const bool parentStays = root != kClassesRoot;
    return Change([&](SettingsFile& file) { return file.DeleteKey(*key, parentStays); });
}

}  // namespace tsasync::platform
