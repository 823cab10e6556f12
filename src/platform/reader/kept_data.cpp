#include "platform/reader/kept_data.h"

#include "platform/reader/media_types.h"

#include <optional>

namespace tsasync::platform::reader {

Kept KeptOf(const PartialFile& file) {
    const auto& earlier = file.Earlier();
    return {earlier ? &*earlier : nullptr, file.Size()};
}

void KeepIfUseful(PartialFile& file, const ResponseHead& head, const std::string& mediaType,
                  std::int64_t total, bool last) {
    if (head.acceptRanges == "none") return;  // there is no continuing it
    const std::string validator = head.StrongValidator();
    if (file.IsKept() || file.Size() == 0 || !head.contentCodings.empty() || validator.empty()) return;
    const auto known = total > 0 ? std::optional(total) : std::nullopt;
    file.Keep(validator, mediaType, known);
    // Less of it on a full disk is better than nothing.
    if (last && !file.IsKept() && file.Shorten()) file.Keep(validator, mediaType, known);
}

std::string KeptTypeOf(const PartialFile& file, std::string_view url) {
    const std::string& kept = file.Earlier()->mediaType;
    return kept.empty() ? EffectiveMediaType({}, url, file.Beginning(kSniffSize)) : kept;
}

std::string ValidatorOf(const PartialFile& file, const ResponseHead& head) {
    return file.Earlier() ? file.Earlier()->validator : head.StrongValidator();
}

}  // namespace tsasync::platform::reader
