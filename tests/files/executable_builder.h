#pragma once

#include "platform/version_resource.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Small Windows executables that hold nothing but a version resource.
namespace tsasync::executables {

struct VersionParts {
    std::optional<platform::FixedVersion> fixed =
        platform::FixedVersion{0x10000, 0x10002, 0x30004, 0x50006, 0x70008, 0, 0x40004, 1, 0};
    std::vector<platform::Translation> translations{{0x0409, 1200}};
    std::u16string table = u"040904B0";
    // Of characters up to U+00FF in the 16-bit format, one byte each.
    std::vector<std::pair<std::u16string, std::u16string>> strings;
};

// The resource in the format of 32-bit files, and in that of 16-bit files.
std::string WideBlock(const VersionParts& parts);
std::string NarrowBlock(const VersionParts& parts);

// Files around a resource.
std::string Pe32(const std::string& block);
std::string Pe32Plus(const std::string& block);
std::string Ne(const std::string& block);
// With a resource for each of these languages, in this order.
std::string Pe32OfLanguages(const std::vector<std::pair<std::uint16_t, std::string>>& blocks);

}  // namespace tsasync::executables
