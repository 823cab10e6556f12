#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The DOS attributes of an entry on a file system that keeps them: FAT in its directory, others as the
// extended attribute by which file servers for Windows clients remember them.
namespace tsasync::platform {

// Nothing where none are stored.
std::optional<std::uint32_t> ReadDosAttributes(const std::string& path);

// False where they can't be stored; nothing is then changed.
bool WriteDosAttributes(const std::string& path, std::uint32_t attributes);

}  // namespace tsasync::platform
