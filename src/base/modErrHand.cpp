#include "base/modErrHand.h"

#include "base/AutomationError.h"

namespace tsasync::modErrHand {

void RaiseError(std::int32_t number, std::u16string source, std::u16string description,
                std::u16string helpFile, std::int32_t helpContext) {
    if (number > 1000) {
        number += kObjectErrorBase;
    } else {
        source += u"(VB)";
    }
    Raise(number, std::move(source), std::move(description), std::move(helpFile), helpContext);
}

std::int32_t ErrorCode(std::int32_t number) { return number & 0xFFFF; }

}  // namespace tsasync::modErrHand
