#include "platform/linux/files/executable_file.h"

#include "platform/linux/files/file_handle.h"
#include "platform/linux/files/little_endian.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <optional>

namespace tsasync::platform {

namespace {

using Bytes = std::vector<std::byte>;

constexpr std::uint16_t kDosSignature = 0x5A4D;     // "MZ"
constexpr std::uint16_t kNeSignature = 0x454E;      // "NE"
constexpr std::uint32_t kPeSignature = 0x00004550;  // "PE"
constexpr std::size_t kDosHeader = 64;
constexpr std::size_t kNewHeaderOffset = 0x3C;
constexpr std::uint16_t kVersionType = 16;
constexpr std::uint16_t kVersionName = 1;
constexpr std::uint16_t kNeutral = 0;
constexpr std::uint16_t kEnglish = 0x409;
constexpr std::size_t kLongestBlock = 0xFFFF;

class File {
  public:
    // Opens nothing but files: who writes to a pipe would take this for its reader, and a device may act.
    explicit File(const std::string& path) {
        struct stat entry {};
        if (stat(path.c_str(), &entry) != 0 || !S_ISREG(entry.st_mode)) return;
        m_file = FileHandle(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (m_file && fstat(m_file.Get(), &entry) == 0 && S_ISREG(entry.st_mode)) {
            m_size = static_cast<std::uint64_t>(entry.st_size);
        }
    }

    // All of the part, or nothing when some of it is not there.
    Bytes Read(std::uint64_t offset, std::size_t size) const {
        if (offset > m_size || m_size - offset < size) return {};
        Bytes bytes(size);
        std::size_t done = 0;
        while (done < size) {
            const ssize_t got =
                pread(m_file.Get(), bytes.data() + done, size - done, static_cast<off_t>(offset + done));
            if (got <= 0) return {};
            done += static_cast<std::size_t>(got);
        }
        return bytes;
    }

    // As much as there is of it.
    Bytes ReadUpTo(std::uint64_t offset, std::size_t size) const {
        if (offset >= m_size) return {};
        return Read(offset, static_cast<std::size_t>(std::min<std::uint64_t>(size, m_size - offset)));
    }

  private:
    FileHandle m_file;
    std::uint64_t m_size = 0;
};

// --- PE: a tree of directories (type, name, language) inside a section

class PeResources {
  public:
    PeResources(const File& file, std::uint64_t header) : m_file(file) {
        constexpr std::size_t kFileHeader = 24;
        constexpr std::size_t kSection = 40;
        constexpr std::size_t kMaxSections = 96;
        const Bytes fileHeader = file.Read(header, kFileHeader);
        const std::size_t sections = std::min<std::size_t>(U16(fileHeader, 6), kMaxSections);
        const std::size_t optionalSize = U16(fileHeader, 20);
        const Bytes optional = file.Read(header + kFileHeader, optionalSize);
        m_sections = file.Read(header + kFileHeader + optionalSize, sections * kSection);

        const std::uint16_t magic = U16(optional, 0);
        if (magic != 0x10B && magic != 0x20B) return;
        const std::size_t directories = magic == 0x10B ? 96 : 112;
        constexpr std::uint32_t kResourceIndex = 2;
        if (U32(optional, directories - 4) <= kResourceIndex) return;
        const std::uint32_t address = U32(optional, directories + std::size_t{8} * kResourceIndex);
        if (address != 0) m_root = OffsetOf(address);
    }

    Bytes VersionBlock(std::initializer_list<std::uint16_t> languages) const {
        if (!m_root) return {};
        const auto types = Entries(0);
        const auto names = EntriesBelow(Choose(types, {kVersionType}, false));
        const auto translations = EntriesBelow(Choose(names, {kVersionName}, true));
        const std::uint32_t chosen = Choose(translations, languages, true);
        if (chosen == 0 || (chosen & kFolderBit) != 0) return {};
        const Bytes data = m_file.Read(*m_root + chosen, 16);
        const auto block = OffsetOf(U32(data, 0));
        if (!block) return {};
        return m_file.Read(*block, std::min<std::size_t>(U32(data, 4), kLongestBlock));
    }

  private:
    // Where in the file an address of the loaded image lies.
    std::optional<std::uint64_t> OffsetOf(std::uint32_t address) const {
        for (std::size_t at = 0; at + 40 <= m_sections.size(); at += 40) {
            const std::uint32_t start = U32(m_sections, at + 12);
            const std::uint32_t rawSize = U32(m_sections, at + 16);
            if (address >= start && address - start < rawSize) {
                return std::uint64_t{U32(m_sections, at + 20)} + (address - start);
            }
        }
        return std::nullopt;
    }

    // Of a directory: pairs of a number (or a name, told by the high bit) and what it leads to.
    Bytes Entries(std::uint32_t directory) const {
        const Bytes header = m_file.Read(*m_root + directory, 16);
        const std::size_t count = std::size_t{U16(header, 12)} + U16(header, 14);
        return m_file.ReadUpTo(*m_root + directory + 16, count * kEntry);
    }

    Bytes EntriesBelow(std::uint32_t folder) const {
        return (folder & kFolderBit) != 0 ? Entries(folder & ~kFolderBit) : Bytes();
    }

    // What the first of the wanted numbers leads to that is there; else, with `orAny`, the first entry; 0
    // none.
    static std::uint32_t Choose(const Bytes& entries, std::initializer_list<std::uint16_t> wanted,
                                bool orAny) {
        for (const std::uint32_t number : wanted) {
            for (std::size_t at = 0; at + kEntry <= entries.size(); at += kEntry) {
                if (U32(entries, at) == number) return U32(entries, at + 4);
            }
        }
        return orAny ? U32(entries, 4) : 0;
    }

    static constexpr std::uint32_t kFolderBit = 0x80000000;
    static constexpr std::size_t kEntry = 8;

    const File& m_file;
    Bytes m_sections;
    std::optional<std::uint64_t> m_root;
};

// --- NE: one flat table of types, each with its resources

Bytes NeVersionBlock(const File& file, std::uint64_t header) {
    constexpr std::size_t kTableOffset = 0x24;
    constexpr std::size_t kLongestTable = 0x10000;
    constexpr std::uint16_t kNumberBit = 0x8000;
    constexpr std::size_t kTypeInfo = 8;
    constexpr std::size_t kNameInfo = 12;
    const Bytes ne = file.Read(header, kTableOffset + 2);
    if (ne.empty() || U16(ne, kTableOffset) == 0) return {};
    const Bytes table = file.ReadUpTo(header + U16(ne, kTableOffset), kLongestTable);
    const unsigned shift = U16(table, 0);
    if (shift > 16) return {};
    for (std::size_t at = 2; at + kTypeInfo <= table.size() && U16(table, at) != 0;) {
        const std::size_t count = U16(table, at + 2);
        const std::size_t first = at + kTypeInfo;
        if (U16(table, at) == (kNumberBit | kVersionType) && count > 0 && first + kNameInfo <= table.size()) {
            const std::uint64_t offset = std::uint64_t{U16(table, first)} << shift;
            const std::uint64_t size = std::uint64_t{U16(table, first + 2)} << shift;
            return file.Read(offset, static_cast<std::size_t>(std::min<std::uint64_t>(size, kLongestBlock)));
        }
        at = first + count * kNameInfo;
    }
    return {};
}

}  // namespace

std::vector<std::byte> ReadVersionBlock(const std::string& path, std::uint16_t language) {
    constexpr std::uint16_t kPrimary = 0x3FF;
    constexpr std::uint16_t kDefaultSublanguage = 0x400;
    const File file(path);
    const Bytes dos = file.Read(0, kDosHeader);
    if (U16(dos, 0) != kDosSignature) return {};
    const std::uint64_t header = U32(dos, kNewHeaderOffset);
    const Bytes signature = file.ReadUpTo(header, 4);
    if (U32(signature, 0) == kPeSignature) {
        const auto primary = static_cast<std::uint16_t>(language & kPrimary);
        const auto common = static_cast<std::uint16_t>(primary | kDefaultSublanguage);
        return PeResources(file, header).VersionBlock({language, primary, common, kNeutral, kEnglish});
    }
    if (U16(signature, 0) == kNeSignature) return NeVersionBlock(file, header);
    return {};
}

}  // namespace tsasync::platform
