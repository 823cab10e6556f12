#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The files of the reader's own, as each system opens, locks and removes them. What they are for is the same
// on all: private_folder.h, partial_file.h.
//
// Paths are UTF-8 in the system's form; the name of a file inside a folder may lead into a folder there
// ("a/b"). Calls that can fail give 0 or the system's error number.
namespace tsasync::platform::reader {

// Whether `error` says that something is not there, or not there any more.
bool IsGone(int error);

// An open file, closed by its owner.
class OwnFile {
  public:
    OwnFile() = default;
    explicit OwnFile(std::intptr_t native) : m_native(native) {}
    ~OwnFile() { Close(); }
    OwnFile(OwnFile&& other) noexcept : m_native(std::exchange(other.m_native, kNone)) {}
    OwnFile& operator=(OwnFile&& other) noexcept {
        std::swap(m_native, other.m_native);
        return *this;
    }

    explicit operator bool() const { return m_native != kNone; }
    // The system's descriptor or handle.
    std::intptr_t Native() const { return m_native; }
    // Gives it up to the caller.
    std::intptr_t Release() { return std::exchange(m_native, kNone); }

    std::int64_t Size() const;  // 0 when the system can't tell
    // Reads up to `bytes.size()` bytes from `offset` on; those that there are stay.
    int ReadAt(std::int64_t offset, std::string& bytes) const;
    // After a failure a part may be written.
    int WriteAt(std::int64_t offset, std::string_view bytes);
    int Resize(std::int64_t size);
    // Some file systems tell only here what they could not write.
    int Close();

  private:
    static constexpr std::intptr_t kNone = -1;
    std::intptr_t m_native = kNone;
};

enum class FileUse {
    Look,           // read it, whoever holds it
    Change,         // read and write one that is there
    Create,         // one that is not there yet
    Hold,           // read, write and lock one that is there; fails when somebody else holds it
    CreateAndHold,  // the same, making it where it is missing
};

struct FileFacts {
    std::int64_t size = 0;
    std::int64_t lastWrite = 0;  // seconds since 1970
};

// An open folder. A lock, on it or on a file in it, ends with the process that has it, however that ends.
class OwnFolder {
  public:
    OwnFolder() = default;
    ~OwnFolder() { Close(); }
    OwnFolder(OwnFolder&& other) noexcept
        : m_path(std::move(other.m_path)), m_native(std::exchange(other.m_native, kNone)) {}
    OwnFolder& operator=(OwnFolder&& other) noexcept {
        std::swap(m_path, other.m_path);
        std::swap(m_native, other.m_native);
        return *this;
    }

    // Opens the folder at `path`, making it where it is missing. It must be the user's own.
    int Open(const std::string& path);
    // Opens the folder `name` of `parent` and locks it; fails when somebody else has.
    int OpenAndLock(const OwnFolder& parent, const std::string& name);
    void Close();
    explicit operator bool() const { return m_native != kNone; }
    // False once somebody has removed it.
    bool IsThere() const;

    const std::string& Path() const { return m_path; }
    std::string PathOf(const std::string& name) const;
    // Of the files and folders in it, but for those that begin with a dot; nothing when they can't be listed,
    // as when the process has too many files open.
    std::optional<std::vector<std::string>> Names() const;
    std::optional<FileFacts> Find(const std::string& name) const;

    int OpenFile(const std::string& name, FileUse use, OwnFile& file) const;
    int Remove(const std::string& name) const;
    int Rename(const std::string& from, const std::string& to) const;
    int MakeFolder(const std::string& name) const;
    // These refuse while there is something inside.
    int RemoveFolder(const std::string& name) const;
    void RemoveItself();

  private:
    static constexpr std::intptr_t kNone = -1;
    std::string m_path;
    std::intptr_t m_native = kNone;
};

// Where the private folder for files that are wanted in `goal` (UTF-8; it may be empty or not exist yet) can
// be, the best place first.
std::vector<std::string> PrivateFolderPaths(const std::string& goal);

}  // namespace tsasync::platform::reader
