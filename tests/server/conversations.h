#pragma once

#include "tests/server/misbehaving_server.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace tsasync::tests {

// A misbehaviour and what shall come of it.
struct Case {
    std::string name;
    Conversation conversation;
    // The outcome: the content of the finished file, or the number of the failure.
    std::string content;
    std::int32_t failure = 0;
    // The partial file that stays for the next read; 0: none.
    std::size_t kept = 0;
};
void PrintTo(const Case& one, std::ostream* out);  // for the test's messages

// The body that the conversations send: 1000 bytes, no two tenths alike.
const std::string& Body();

// The head of a response with these fields, each with its line end.
std::string Head(const std::string& fields, const std::string& status = "200 OK");

// Fields of a head: the length of Body(), a tag that a broken read is continued by.
inline const std::string kLength = "Content-Length: 1000\r\n";
inline const std::string kTag = "ETag: \"v1\"\r\nAccept-Ranges: bytes\r\n";

// A response that nothing is wrong with.
std::string Whole();

std::vector<Case> Conversations();
// Those whose later requests are of later reads.
std::vector<Case> SecondReads();

}  // namespace tsasync::tests
