#pragma once

#include "platform/linux/curl/partial_meta.h"
#include "platform/linux/files/file_handle.h"
#include "platform/url_reader.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace tsasync::platform::reader {

// A folder of the reader's own (0700) for the data that it reads, of which there is one per volume. Inside it
// each process has a session folder, locked as long as it lives, that holds its data files; beside them lie
// the metadata files that tell later reads what there is to continue.
class PrivateFolder {
  public:
    // Where the private folder for files that are wanted in `near` (which may be empty or not exist yet) can
    // be, the best place first: $XDG_CACHE_HOME/QMASYN10 when that is on the same volume; .QMASYN10 beside
    // `near` when the folder there is the user's own and on the same volume; the former whatever its volume.
    static std::vector<std::string> PathsFor(const std::string& near);

    // Opens the folder at `path`, making it where it is missing, starts a session in it and sweeps it.
    static std::variant<std::shared_ptr<PrivateFolder>, ReadFailure> Open(const std::string& path);

    // Ends the session; what is empty then is removed.
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    int Descriptor() const { return m_folder.Get(); }
    // "<session>/<number>", a name for a data file that none ever had.
    std::string NewDataName() { return m_session + "/" + std::to_string(++m_lastNumber); }
    // Whether a data file lies in this process's own session folder.
    bool IsOwn(const std::string& dataName) const { return dataName.starts_with(m_session + "/"); }
    std::string PathOf(const std::string& name) const { return m_path + "/" + name; }
    // False once somebody has removed the session folder.
    bool StillThere() const;

  private:
    explicit PrivateFolder(const std::string& path) : m_path(path) {}
    int Enter();
    int StartSession();
    int LockSession();
    void Sweep() const;
    void SweepSessions() const;
    std::optional<std::set<std::string>> WantedData() const;
    void SweepMetadata(const std::string& name) const;
    bool LeadsToData(const std::optional<PartialMeta>& meta) const;

    std::string m_path;
    FileHandle m_folder;
    std::string m_session;
    FileHandle m_sessionFolder;  // locked
    std::uint64_t m_lastNumber = 0;
};

}  // namespace tsasync::platform::reader
