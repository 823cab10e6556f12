#pragma once

#include "platform/reader/own_files.h"
#include "platform/reader/partial_meta.h"
#include "platform/reader/private_folder.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tsasync::platform::reader {

// The metadata file of one source, held under a lock: whoever holds it is the only one to touch the partial
// file that it leads to.
class MetadataFile {
  public:
    MetadataFile() = default;
    // Holds the file `name` of the private folder `folder`; `create`: also when it doesn't exist yet. Holds
    // nothing when that can't be, among other reasons because another reader holds it.
    static MetadataFile Hold(const OwnFolder& folder, const std::string& name, bool create);

    explicit operator bool() const { return static_cast<bool>(m_file); }
    std::optional<PartialMeta> Load() const;
    bool Store(const PartialMeta& meta);
    void Remove();

  private:
    const OwnFolder* m_folder = nullptr;
    std::string m_name;
    OwnFile m_file;
};

// `source`: as in PartialMeta.
std::string MetadataName(const std::string& source);
bool IsMetadataName(std::string_view name);
// What a metadata file says, whoever holds it; nothing when it is malformed. 0 or the system's error number.
int LoadMetadata(const OwnFolder& folder, const std::string& name, std::optional<PartialMeta>& meta);

// A finished file that its receiver has not heard of, or has left where it was.
struct FinishedFile {
    std::shared_ptr<PrivateFolder> folder;
    PartialMeta meta;
    // Held where the data is worth it: it names the data, so that a process that dies before the receiver has
    // the file loses nothing. Held by none for small files.
    MetadataFile metadata;

    std::string Path() const { return folder->PathOf(meta.data); }
    // The receiver has heard of it. What it has left stays until it is swept, and the next read of the source
    // may use it.
    void Delivered();
    // The receiver will not hear of it any more. It stays only where the next read can use it.
    void Dropped();
};

// The file that a read's data goes to, beginning with what an earlier read of the same source has left.
// Unless it is kept or finished it leaves nothing behind. Calls that can fail give 0 or the system's error
// number.
class PartialFile {
  public:
    // `source`: as in PartialMeta.
    PartialFile(std::shared_ptr<PrivateFolder> folder, std::string source);
    ~PartialFile();
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    // Takes over what an earlier read has left, if it can be continued.
    void FindEarlier();
    // A redirection leads to `source`: what FindEarlier has found stays where it is, since validators belong
    // to the source that sent them. What that one's reads have left may be found by another call.
    void Follow(std::string source);
    // Set after FindEarlier found something, until StartOver; `whole` only where nothing is missing.
    const std::optional<PartialMeta>& Earlier() const { return m_earlier; }

    std::int64_t Size() const { return m_size; }
    const OwnFile& Data() const { return m_data; }
    std::string Path() const { return m_folder->PathOf(m_dataName); }

    // The first bytes of the data, `count` at most.
    std::string Beginning(std::size_t count) const;
    int Write(std::string_view bytes);
    // Drops all data.
    void StartOver();
    // From now on the data is worth continuing: it stays when the read breaks or the process dies. Does
    // nothing when another reader keeps the data of the same source, or has
    // left more of the same version.
    void Keep(const std::string& validator, const std::string& mediaType, std::optional<std::int64_t> total);
    bool IsKept() const { return m_kept; }
    // Gives up the end of the data, so that a full disk has room for what names the rest. False when too
    // little would be left.
    bool Shorten();
    // Gives the file, which is whole and right, up to its receiver; the validator and the media type go along
    // for the case that it is left behind; `hold`: with the metadata of data that was worth keeping. After an
    // error nothing stays.
    std::variant<FinishedFile, int> Finish(const std::string& validator, const std::string& mediaType,
                                           bool hold);

  private:
    void LetGo();
    int Create();
    int MoveIntoOwnSession();
    bool DropLastUnlessChecked();

    std::shared_ptr<PrivateFolder> m_folder;
    std::string m_source;  // as in PartialMeta
    std::string m_dataName;
    OwnFile m_data;
    MetadataFile m_metadata;
    std::optional<PartialMeta> m_earlier;
    std::int64_t m_size = 0;
    bool m_kept = false;
};

}  // namespace tsasync::platform::reader
