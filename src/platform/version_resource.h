#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tsasync::platform {

// The fixed part of a version resource, word by word as it is stored.
struct FixedVersion {
    std::uint32_t structureVersion = 0;
    std::uint32_t fileVersionHigh = 0;  // first part · second part
    std::uint32_t fileVersionLow = 0;   // third part · fourth part
    std::uint32_t productVersionHigh = 0;
    std::uint32_t productVersionLow = 0;
    std::uint32_t fileFlags = 0;
    std::uint32_t fileOS = 0;
    std::uint32_t fileType = 0;
    std::uint32_t fileSubtype = 0;
};

struct Translation {
    std::uint16_t language = 0;
    std::uint16_t codePage = 0;
};

// The version resource of one file, read once.
class VersionResource {
  public:
    // Nothing when the file can't be read or has no version resource. Only the file's headers and the
    // resource itself are read, whatever the size of the file.
    static std::optional<VersionResource> Read(std::u16string_view path);

    std::optional<FixedVersion> Fixed() const;

    // The first entry of the translation table.
    std::optional<Translation> FirstTranslation() const;

    // The string `name` of the string table of `translation`, up to its NUL; nothing when it is missing or
    // has no length. 8-bit texts are in the code page that the translation tells.
    std::optional<std::u16string> String(Translation translation, std::u16string_view name) const;

  private:
    VersionResource() = default;

    std::vector<std::byte> m_block;  // in the layout of the system that reads it
};

}  // namespace tsasync::platform
