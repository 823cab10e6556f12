#pragma once

#include <string>
#include <string_view>

namespace tsasync::platform {

// How the folder spells the name of an existing entry. On a volume that takes letters in either case for the
// same, `path`, which does not end in a separator, may spell it otherwise.
std::u16string StoredName(std::u16string_view path);

}  // namespace tsasync::platform
