#pragma once

#include <cstdint>
#include <string>

namespace tsasync::MShFolder {

// The path of the user's special folder `lFolder` (CSIDL numbering, 5: documents), without a trailing
// separator; empty when there is none.
std::u16string GetSpecialFolder(std::int32_t lFolder);

}  // namespace tsasync::MShFolder
