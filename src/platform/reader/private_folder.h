#pragma once

#include "platform/reader/own_files.h"
#include "platform/reader/partial_meta.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <variant>

namespace tsasync::platform::reader {

// A folder of the reader's own for the data that it reads, of which there is one per volume. Inside it each
// user of it has a session folder, locked as long as it lives, that holds its data files; beside them lie the
// metadata files that tell later reads what there is to continue.
class PrivateFolder {
  public:
    // Opens the folder at `path`, making it where it is missing, starts a session in it and sweeps it. Else
    // gives the system's error number.
    static std::variant<std::shared_ptr<PrivateFolder>, int> Open(const std::string& path);

    // Ends the session; what is empty then is removed.
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const OwnFolder& Files() const { return m_folder; }
    // "<session>/<number>", a name for a data file that none ever had.
    std::string NewDataName() { return m_session + "/" + std::to_string(++m_lastNumber); }
    // Whether a data file lies in the session folder of this object.
    bool IsOwn(const std::string& dataName) const { return dataName.starts_with(m_session + "/"); }
    std::string PathOf(const std::string& name) const { return m_folder.PathOf(name); }
    // False once somebody has removed the session folder.
    bool StillThere() const { return m_sessionFolder.IsThere(); }

  private:
    PrivateFolder() = default;
    int Enter(const std::string& path);
    int StartSession();
    void Sweep() const;
    void SweepSessions() const;
    std::optional<std::set<std::string>> WantedData() const;
    void SweepMetadata(const std::string& name) const;
    bool LeadsToData(const std::optional<PartialMeta>& meta) const;

    OwnFolder m_folder;
    std::string m_session;
    OwnFolder m_sessionFolder;  // locked
    std::uint64_t m_lastNumber = 0;
};

// The private folders of a reader, each opened when it is first needed.
class PrivateFolders {
  public:
    struct Refusal {
        int error = 0;  // the system's
        std::string path;
    };
    // The one for files that are wanted in `goal`, or why the last of the places tried is none.
    std::variant<std::shared_ptr<PrivateFolder>, Refusal> For(const std::string& goal);
    void Clear() { m_folders.clear(); }

  private:
    std::unordered_map<std::string, std::shared_ptr<PrivateFolder>> m_folders;  // by what they are near
};

}  // namespace tsasync::platform::reader
