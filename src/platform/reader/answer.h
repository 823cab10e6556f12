#pragma once

#include "platform/reader/partial_meta.h"
#include "platform/reader/response_head.h"
#include "platform/url_reader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What is asked of a web server, and what its answer means: docs/reader.md's table.
namespace tsasync::platform::reader {

// What an earlier read of the source has left.
struct Kept {
    const PartialMeta* meta = nullptr;  // null: nothing
    std::int64_t size = 0;

    // A part that can be continued.
    bool IsPart() const { return meta != nullptr && !meta->whole; }
    // A whole file that can be confirmed.
    bool IsWhole() const { return meta != nullptr && meta->whole; }
};

// The fields of a request, "Name: value" each: of a part only the rest is wanted, of a whole file only the
// word that it still holds, both on condition that it is the same version.
std::vector<std::string> RequestFields(const Kept& kept);

struct Answer {
    enum class Meaning {
        Content,    // the whole content follows
        Rest,       // the rest of what is kept follows
        Unchanged,  // what is kept is all there is, and is still right
        Mismatch,   // it does not fit what is kept: to be asked once more, for the whole
        Moved,      // to be asked for elsewhere
        Busy,       // to be asked once more later, or else a refusal
        Refusal,    // nothing of it is wanted
    };
    Meaning meaning = Meaning::Refusal;
    std::optional<std::int64_t> total;  // bytes of the file when it is whole, if they are known beforehand
    ReadFailure failure;                // of a refusal, and of a busy server that is not asked once more
    Digests digests;                    // that the whole file must agree with

    bool IsSaved() const { return meaning == Meaning::Content || meaning == Meaning::Rest; }
};

// `canDecode`: whether the system can undo the content's codings. `url`: for the failure.
Answer Judge(const ResponseHead& head, const Kept& kept, bool canDecode, std::string_view url);

// How a body ended that the transport found nothing wrong with. What a system can't tell is as it should be.
struct BodyEnd {
    std::int64_t size = 0;  // of the file
    bool isMeant = true;    // the server has said that this is the end
    bool codingIsAtItsEnd = true;
};
// Why the file is not whole after all.
std::optional<ReadFailure> Judge(const Answer& answer, const BodyEnd& end, std::string_view url);

}  // namespace tsasync::platform::reader
