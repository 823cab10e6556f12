#pragma once

#include "platform/file_system.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The file system of the tests' platform: in memory, one per thread, in Windows path syntax ("\", drives C:
// to Z:, network roots \\server\share, names without regard to case but stored with it, "*" and "?" in the
// last component of a look-up, short names where given). The current folder is C:\. Times come from the
// tests' clock.
namespace tsasync::testplatform {

// Empty drives, no command pending, no operation recorded. Every fixture calls it first.
void ResetFileSystem();

// Creates the entry with the folders above it, or replaces the content of a file.
void PutFile(std::u16string_view path, std::string_view content = {});
void PutFolder(std::u16string_view path);
void RemoveEntry(std::u16string_view path);  // with all below it; none there: nothing happens

// Existing entries only.
void SetShortName(std::u16string_view path, std::u16string_view shortName);
// Nothing can be created, placed or removed directly in the folder, and its own attributes and times can't be
// written.
void Seal(std::u16string_view path);
// Entries directly in the folder can't be looked up; what is below them can.
void ForbidListing(std::u16string_view path);

bool Exists(std::u16string_view path);
std::optional<std::string> ContentOf(std::u16string_view path);  // nothing: no such file
std::vector<std::u16string> List(std::u16string_view folder);    // stored names, in alphabetical order

// The next shell operation ends so and changes nothing.
void FailNextOperation(platform::FileOpResult result);

// Runs `action` once, right before the next CreateNewFile or shell operation: what another program does
// meanwhile.
void BeforeNextChange(std::function<void()> action);

// Every shell operation so far, as it was asked for.
const std::vector<platform::FileOp>& Operations();

}  // namespace tsasync::testplatform
