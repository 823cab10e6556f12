#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

// Real folders and volumes for tests of the system's file services.
namespace tsasync::linuxtest {

// A new folder, removed with all that is in it. `base`: the folder to make it in.
class ScratchFolder {
  public:
    explicit ScratchFolder(const std::string& base = TemporaryBase());
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& Path() const { return m_path; }

    static std::string TemporaryBase();

  private:
    std::string m_path;
};

// A folder on another volume than that of TemporaryBase(); nothing when this machine has none to write to.
std::optional<std::string> OtherVolume();

void Write(const std::string& path, const std::string& content);
std::string Read(const std::string& path);                 // throws when it can't be read
std::vector<std::string> List(const std::string& folder);  // names in order, "." and ".." left out

std::u16string Wide(const std::string& text);
std::string Narrow(const std::u16string& text);

// Runs `body` in a child process, where its failures are reported and then fail the test here. `body` returns
// why it could not run on this machine, or nothing; the reason skips the test.
void InChild(const std::function<std::optional<std::string>()>& body);

// In a child only: gives it mounts of its own and puts a tmpfs of `bytes` on `folder`.
std::optional<std::string> MountTmpfs(const std::string& folder, std::size_t bytes);
// In a child only: makes a mounted folder read-only.
std::optional<std::string> MakeReadOnly(const std::string& folder);
// In a child only: gives up the rights of the superuser, to whom no permission applies.
void BecomeNobody();
// In a child only: the kernel refuses what simple file systems do: renaming without replacing, files without
// name.
std::optional<std::string> RefuseModernCalls();
// In a child only: the kernel refuses a second name for a file.
std::optional<std::string> RefuseLinks();

}  // namespace tsasync::linuxtest
