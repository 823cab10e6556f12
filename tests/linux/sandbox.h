#pragma once

#include "base/Utf8.h"
#include "tests/linux/scratch.h"

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>

// Volumes, users and kernels of another kind than the test's own.
namespace tsasync::tests {

// Why something can't be had on this machine; nothing: it was done.
using Obstacle = std::optional<std::string>;

// A folder on another volume than that of TemporaryBase(); nothing when this machine has none to write to.
std::optional<std::string> OtherVolume();

// Runs `body` in a child process, where its failures are reported and then fail the test here. An obstacle
// skips the test.
void InChild(const std::function<Obstacle()>& body);

// In a child only, each:
Obstacle MountTmpfs(const std::string& folder, std::size_t bytes);  // in a mount namespace of its own
Obstacle MakeReadOnly(const std::string& folder);                   // which is mounted
void BecomeNobody();  // gives up the rights of the superuser, to whom no permission applies
// The kernel refuses what simple file systems do: renaming without replacing, files without name.
Obstacle RefuseModernCalls();
Obstacle RefuseCalls(std::initializer_list<int> calls);  // by their numbers, as not permitted

}  // namespace tsasync::tests
