#include "platform/host_name.h"

#include <unicode/uidna.h>

#include <array>
#include <memory>

namespace tsasync::platform {

std::optional<std::string> AsciiHostName(std::string_view name) {
    struct Close {
        void operator()(UIDNA* rules) const { uidna_close(rules); }
    };
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UIDNA, Close> rules(
        uidna_openUTS46(UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ | UIDNA_NONTRANSITIONAL_TO_ASCII, &error));
    UIDNAInfo info = UIDNA_INFO_INITIALIZER;
    std::array<char, 256> ascii{};  // more than a name may have
    const int32_t size =
        uidna_nameToASCII_UTF8(rules.get(), name.data(), static_cast<int32_t>(name.size()), ascii.data(),
                               static_cast<int32_t>(ascii.size()), &info, &error);
    if (U_FAILURE(error) || info.errors != 0) return std::nullopt;
    return std::string(ascii.data(), static_cast<std::size_t>(size));
}

}  // namespace tsasync::platform
