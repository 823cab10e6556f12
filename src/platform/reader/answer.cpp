#include "platform/reader/answer.h"

#include "platform/reader/failure.h"
#include "platform/reader/redirections.h"

namespace tsasync::platform::reader {

namespace {

using Meaning = Answer::Meaning;

// A validator is an entity tag or a date.
bool IsTag(std::string_view validator) { return validator.starts_with('"'); }

// Whether a part is of the version that we have something of. A server that knows entity tags sends them with
// each part; one that does not repeat its date has compared it.
bool IsOfVersion(const ResponseHead& head, const PartialMeta& ours) {
    if (IsTag(ours.validator)) return head.etag == ours.validator;
    return head.lastModified.empty() || head.lastModified == ours.validator;
}

// Whether the answer without content, as far as it says, is about that version.
bool IsSameVersion(const ResponseHead& head, const PartialMeta& ours) {
    const std::string& theirs = IsTag(ours.validator) ? head.etag : head.lastModified;
    return theirs.empty() || theirs == ours.validator;
}

// The bytes of the whole, where the answer continues the part that is kept.
std::optional<std::int64_t> TotalOfContinued(const ResponseHead& head, const Kept& kept) {
    const auto range = ParseContentRange(head.contentRange);
    const auto& total = kept.meta->total;
    if (!range || range->first != kept.size) return std::nullopt;
    if (total && range->total && total != range->total) return std::nullopt;
    if (!total && !range->total) return std::nullopt;  // nobody could tell whether the rest is all of it
    // What is encoded is another representation than ours, which was not.
    if (!head.contentCodings.empty() || !IsOfVersion(head, *kept.meta)) return std::nullopt;
    return range->total ? *range->total : *total;
}

Answer OfWhole(const ResponseHead& head, const Kept& kept, bool canDecode, std::string_view url) {
    Answer answer;
    if (!head.contentRange.empty()) {
        answer.meaning = kept.IsPart() ? Meaning::Mismatch : Meaning::Refusal;
        answer.failure = Failure(why::kOnlyPart, url);
    } else if (!canDecode) {
        answer.failure = Failure(why::kUnknownCoding, url);
    } else {
        answer.meaning = Meaning::Content;
        // Length and digests are those of what is sent.
        if (head.contentCodings.empty()) {
            answer.total = head.contentLength;
            answer.digests = head.digests;
        }
    }
    return answer;
}

Answer OfRest(const ResponseHead& head, const Kept& kept) {
    Answer answer;
    const auto total = TotalOfContinued(head, kept);
    answer.meaning = total ? Meaning::Rest : Meaning::Mismatch;
    answer.total = total;
    answer.digests = head.digests;
    answer.digests.md5.clear();  // it is of the part
    return answer;
}

// Some servers say so of whatever is not newer than the date: one that was dated must be named by it.
bool IsConfirmed(const ResponseHead& head, const PartialMeta& ours) {
    return IsSameVersion(head, ours) && (IsTag(ours.validator) || !head.lastModified.empty());
}

// Whether there is no part behind what is kept: it was the whole when its connection broke.
bool IsAllThere(const ResponseHead& head, const Kept& kept) {
    const auto range = ParseContentRange(head.contentRange);
    return kept.IsPart() && range && range->total == kept.size && IsSameVersion(head, *kept.meta);
}

}  // namespace

std::vector<std::string> RequestFields(const Kept& kept) {
    std::vector<std::string> fields{"Accept-Encoding: identity"};
    if (kept.IsPart()) {
        fields.push_back("Range: bytes=" + std::to_string(kept.size) + "-");
        fields.push_back("If-Range: " + kept.meta->validator);
    } else if (kept.IsWhole()) {
        fields.push_back((IsTag(kept.meta->validator) ? "If-None-Match: " : "If-Modified-Since: ") +
                         kept.meta->validator);
    }
    return fields;
}

Answer Judge(const ResponseHead& head, const Kept& kept, bool canDecode, std::string_view url) {
    const int status = head.Status();
    if (status == 200) return OfWhole(head, kept, canDecode, url);
    if (status == 206 && kept.IsPart()) return OfRest(head, kept);
    Answer answer;
    answer.failure = status == 0 ? Failure(why::kNoAnswer, url) : StatusFailure(status, url);
    if (IsRedirection(status)) {
        answer.meaning = Meaning::Moved;
    } else if (status == 304 && kept.IsWhole()) {
        answer.meaning = IsConfirmed(head, *kept.meta) ? Meaning::Unchanged : Meaning::Mismatch;
        answer.total = kept.size;
    } else if (status == 416 && IsAllThere(head, kept)) {
        answer.meaning = Meaning::Unchanged;
        answer.total = kept.size;
    } else if ((status == 412 || status == 416) && kept.meta != nullptr) {
        answer.meaning = Meaning::Mismatch;
    } else if (status == 429 || status == 503) {
        answer.meaning = Meaning::Busy;
    }
    return answer;
}

std::optional<ReadFailure> Judge(const Answer& answer, const BodyEnd& end, std::string_view url) {
    if (!end.isMeant) return Failure(why::kNoEnd, url);
    if (!end.codingIsAtItsEnd) return Failure(why::kCutCoding, url);
    if (answer.total && end.size != *answer.total) return Failure(why::kOtherLength, url);
    return std::nullopt;
}

}  // namespace tsasync::platform::reader
