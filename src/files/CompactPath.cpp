#include "files/CompactPath.h"

#include "base/Text.h"

namespace tsasync::modFileOps {

std::u16string CompactPath(std::u16string_view sPath, std::int32_t lWidth,
                           const platform::ProgressWindow& oWindow) {
    return oWindow.FitPath(sPath, lWidth).value_or(std::u16string(Trim(sPath)));
}

}  // namespace tsasync::modFileOps
