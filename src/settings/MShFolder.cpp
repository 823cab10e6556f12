#include "settings/MShFolder.h"

#include "platform/special_folders.h"

namespace tsasync::MShFolder {

std::u16string GetSpecialFolder(std::int32_t lFolder) { return platform::SpecialFolder(lFolder); }

}  // namespace tsasync::MShFolder
