// What the head of a response says, whatever a server sends.
#include "platform/reader/response_head.h"

#include <gtest/gtest.h>

#include <limits>

namespace tsasync::platform::reader {
namespace {

using namespace std::string_literals;

ResponseHead Parsed(const std::string& fields) {
    ResponseHead head;
    EXPECT_TRUE(head.AddLines("HTTP/1.1 200 OK\r\n" + fields + "\r\n"));
    return head;
}

TEST(ResponseHead, KnowsItsFieldsByName) {
    const ResponseHead head = Parsed(
        "Retry-AFTER:\t 1 \r\nempty:\r\n:x\r\nX: a\r\n b\nlocation: a:b\r\nLocation: a:b\r\n"
        "Transfer-Encoding: Chunked\r\n");
    EXPECT_TRUE(head.Complete());
    EXPECT_TRUE(head.isChunked);
    EXPECT_EQ(head.retryAfter, "1");
    EXPECT_EQ(head.location, "a:b");
    EXPECT_FALSE(head.locationsDiffer);
    EXPECT_EQ(head.contentLength, std::nullopt);
    EXPECT_TRUE(Parsed("Location: a\r\nLocation: b\r\n").locationsDiffer);
}

TEST(ResponseHead, JoinsCodingsInTheirOrder) {
    EXPECT_EQ(Parsed("Content-Encoding: identity, Deflate,\r\n  none\r\ncontent-encoding: ,GZip\r\n")
                  .contentCodings,
              (std::vector<std::string>{"deflate", "gzip"}));
}

TEST(ResponseHead, IsTrustedWhereItMakesSense) {
    std::string lines;
    for (std::size_t i = 0; i < ResponseHead::kMaxLines - 3; ++i) lines += "X: y\r\n";
    const struct {
        std::string fields;
        bool isSound;
    } cases[] = {
        {"Content-Length: 0", true},
        {"Content-Length: 12\r\nContent-Length: 12", true},
        {"Content-Length: 12\r\nContent-Length: 13", false},
        {"Content-Length: 12, 12", false},
        {"Content-Length:", false},
        {"Content-Length: -1", false},
        {"Content-Length: 99999999999999999999", false},
        {"no field", false},
        {"HTTP/x: 200 OK", false},
        {" no field", false},
        {"X: a\rb", false},
        {"X: a\r\r\nY: b", false},
        {"X: a\0b"s, false},
        {"Transfer-Encoding: secret", false},
        {"X: " + std::string(ResponseHead::kMaxSize, 'x'), false},
        {lines + "X: y", true},
        {lines + "X: y\r\nX: y", false},
    };
    for (const auto& c : cases) {
        ResponseHead head;
        EXPECT_EQ(head.AddLines("HTTP/1.1 200 OK\r\n" + c.fields + "\r\n\r\n"), c.isSound)
            << c.fields.substr(0, 80);
    }
}

TEST(HeaderFields, TellHowLongToWait) {
    constexpr std::int64_t kNow = 784'111'770;  // seven seconds before the date below
    const struct {
        std::string value;
        std::optional<std::int64_t> wait;
    } cases[] = {
        {"0", 0},
        {"2", 2},
        {"9999999999", 9'999'999'999},
        {"99999999999999999999", std::numeric_limits<std::int64_t>::max()},
        {"Sun, 06 Nov 1994 08:49:37 GMT", 7},
        {"Sunday, 06-Nov-94 08:49:37 GMT", 7},
        {"Sun Nov  6 08:49:37 1994", 7},
        {"Sun, 06 Nov 1983 08:49:37 GMT", 0},
        {"Sun, 31 Feb 1994 08:49:37 GMT", std::nullopt},
        {"Sun, 06 anF 1994 08:49:37 GMT", std::nullopt},
        {"Sun, 06 Nov 1994 24:49:37 GMT", std::nullopt},
        {"Sun, 06 Nov 1994 08:49:-7 GMT", std::nullopt},
        {"Sun, 06 Nov 1994 08:49:37 PST", std::nullopt},
        {"", std::nullopt},
        {"-1", std::nullopt},
        {"1.5", std::nullopt},
        {"soon", std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(ParseRetryAfter(c.value, kNow), c.wait) << c.value;
}

TEST(HeaderFields, TellDigestsOfTheRightSize) {
    const std::string base64 = "LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=";
    const std::string bytes =
        "\x2c\xf2\x4d\xba\x5f\xb0\xa3\x0e\x26\xe8\x3b\x2a\xc5\xb9\xe2\x9e\x1b\x16\x1e\x5c\x1f\xa7\x42\x5e\x73"
        "\x04"
        "\x33\x62\x93\x8b\x98\x24";
    const struct {
        std::string value, digest;
    } cases[] = {
        {"sha-256=:" + base64 + ":", bytes},
        {"sha-512=:eA==:, SHA-256=:" + base64 + ":;p=1", bytes},
        {"sha-256=:" + base64, ""},
        {"sha-256=" + base64, ""},
        {"sha-256=:" + base64 + "=:", ""},
        {"sha-256=:!" + base64.substr(1) + ":", ""},
        {"sha-256=:" + base64.substr(0, 43) + "A:", ""},
        {"sha-256=:YWI=:", ""},
        {"sha-256=::", ""},
        {"sha-256", ""},
        {",,=,:", ""},
        {"", ""},
    };
    for (const auto& c : cases) {
        Digests digests;
        ParseReprDigest(c.value, digests);
        EXPECT_EQ(digests.sha256, c.digest) << c.value;
    }
}

}  // namespace
}  // namespace tsasync::platform::reader
