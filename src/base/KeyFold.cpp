#include "base/KeyFold.h"

#include "platform/text.h"

namespace tsasync {

std::u16string FoldKey(std::u16string_view key) {
    std::u16string folded(key);
    for (char16_t& unit : folded) {
        if (unit < 0x80) {
            if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + (u'a' - u'A'));
        } else {
            unit = platform::ToLower(unit);
        }
    }
    return folded;
}

}  // namespace tsasync
