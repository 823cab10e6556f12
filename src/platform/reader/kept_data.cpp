#include "platform/reader/kept_data.h"

namespace tsasync::platform::reader {

namespace {

// A validator is an entity tag or a date.
bool IsTag(std::string_view validator) { return validator.starts_with('"'); }

// Whether an answer, as far as it says, is about the version that we have something of.
bool IsSameVersion(const PartialMeta& earlier, const ResponseHead& head) {
    const std::string& theirs = IsTag(earlier.validator) ? head.etag : head.lastModified;
    return theirs.empty() || theirs == earlier.validator;
}

Judgement JudgePart(const ResponseHead& head, const PartialMeta& earlier, std::int64_t size) {
    const auto range = ParseContentRange(head.contentRange);
    const bool disagrees = range && earlier.total && range->total && earlier.total != range->total;
    const auto total = range && range->total ? range->total : earlier.total;
    // Without a total nobody could tell whether the rest is all of it. What is encoded is another
    // representation than ours, which was not.
    const bool fits = range && range->first == size && !disagrees && total && head.contentCodings.empty() &&
                      IsSameVersion(earlier, head);
    return fits ? Judgement{Answer::Rest, *total} : Judgement{Answer::Unusable};
}

Answer JudgeConfirmation(const ResponseHead& head, const PartialMeta& earlier) {
    // Some servers say so of whatever is not newer than the date.
    const bool isNamed = IsTag(earlier.validator) || !head.lastModified.empty();
    return isNamed && IsSameVersion(earlier, head) ? Answer::Same : Answer::Unusable;
}

}  // namespace

std::vector<std::string> FieldsFor(const PartialFile& file) {
    const auto& earlier = file.Earlier();
    if (!earlier) return {};
    if (earlier->whole)
        return {(IsTag(earlier->validator) ? "If-None-Match: " : "If-Modified-Since: ") + earlier->validator};
    return {"Range: bytes=" + std::to_string(file.Size()) + "-", "If-Range: " + earlier->validator};
}

Judgement JudgeAnswer(int status, const ResponseHead& head, const PartialFile& file) {
    const auto& earlier = file.Earlier();
    // The length is that of what is sent.
    if (status == 200)
        return {Answer::Whole, head.contentCodings.empty() ? head.contentLength.value_or(0) : 0};
    if (status == 206 && earlier && !earlier->whole) return JudgePart(head, *earlier, file.Size());
    if (status == 304 && earlier && earlier->whole) return {JudgeConfirmation(head, *earlier), file.Size()};
    if (status == 416 && earlier) return {Answer::Unusable};
    return {};
}

void KeepIfUseful(PartialFile& file, const ResponseHead& head, const std::string& mediaType,
                  std::int64_t total, bool last) {
    const std::string validator = head.StrongValidator();
    if (file.IsKept() || file.Size() == 0 || !head.contentCodings.empty() || validator.empty()) return;
    const auto known = total > 0 ? std::optional(total) : std::nullopt;
    file.Keep(validator, mediaType, known);
    // Less of it on a full disk is better than nothing.
    if (last && !file.IsKept() && file.Shorten()) file.Keep(validator, mediaType, known);
}

std::string ValidatorOf(const PartialFile& file, const ResponseHead& head) {
    return file.Earlier() ? file.Earlier()->validator : head.StrongValidator();
}

}  // namespace tsasync::platform::reader
