#pragma once

#include "platform/reader/partial_file.h"
#include "platform/reader/response_head.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What is asked of a server of whose file something is there from an earlier read, what its answer means for
// that, and what of a file stays for a later one.
namespace tsasync::platform::reader {

// The fields of a request that asks for what is missing only, provided that the rest is still the same, or
// for the confirmation of a whole file. None where nothing is there.
std::vector<std::string> FieldsFor(const PartialFile& file);

enum class Answer {
    Whole,     // the whole file, in place of what is there
    Rest,      // what is missing
    Same,      // what is there is whole and holds still
    Unusable,  // fits nothing that is there: that goes, and the whole is asked for
    Other,     // nothing of the file; what is there stays
};
struct Judgement {
    Answer answer = Answer::Other;
    std::int64_t total = 0;  // bytes of the file when it is whole; 0 unknown
};
// The meaning of a final answer of an HTTP server to a request with FieldsFor(file).
Judgement JudgeAnswer(int status, const ResponseHead& head, const PartialFile& file);

// Bytes from which on the data of a transfer shall outlive its process.
inline constexpr std::int64_t kWorthKeeping = 256 * 1024;

// Keeps the data of `file`, which an answer with this head brings, if a later read could continue it. `last`:
// no more comes, so that what is not kept now is lost.
void KeepIfUseful(PartialFile& file, const ResponseHead& head, const std::string& mediaType,
                  std::int64_t total, bool last);

// The validator that the whole file is remembered by; empty when there is none.
std::string ValidatorOf(const PartialFile& file, const ResponseHead& head);

}  // namespace tsasync::platform::reader
