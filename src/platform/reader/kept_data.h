#pragma once

#include "platform/reader/answer.h"
#include "platform/reader/partial_file.h"
#include "platform/reader/response_head.h"

#include <cstdint>
#include <string>
#include <string_view>

// What of a file stays for a later read.
namespace tsasync::platform::reader {

// For the request of its source and the answer to it.
Kept KeptOf(const PartialFile& file);

// Bytes from which on the data of a transfer shall outlive its process.
inline constexpr std::int64_t kWorthKeeping = 256 * 1024;

// Keeps the data of `file`, which an answer with this head brings, if a later read could continue it. `last`:
// no more comes, so that what is not kept now is lost.
void KeepIfUseful(PartialFile& file, const ResponseHead& head, const std::string& mediaType,
                  std::int64_t total, bool last);

// The media type of the whole file that is kept, which `url` names. It may have been kept before it was
// known.
std::string KeptTypeOf(const PartialFile& file, std::string_view url);

// The validator that the whole file is remembered by; empty when there is none.
std::string ValidatorOf(const PartialFile& file, const ResponseHead& head);

}  // namespace tsasync::platform::reader
