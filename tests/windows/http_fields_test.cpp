// Fields of a response's head, whatever a server sends.
#include "platform/windows/moniker/http_fields.h"

#include <gtest/gtest.h>

#include <limits>

namespace tsasync::platform {
namespace {

TEST(HttpFields, AreFoundByName) {
    const ResponseHead head = ParseHead(
        u"HTTP/1.1 200 OK\r\nRetry-AFTER:\t 1 \r\nempty:\r\n:x\r\nContent-Encoding: Identity\r\nX: a\r\n "
        u"b\r\n"
        u"Repr-Digest: a\r\nrepr-digest: b\nlocation: a:b\r\nTransfer-Encoding: Chunked\r\n\r\n");
    EXPECT_TRUE(head.isSound);
    EXPECT_TRUE(head.isChunked);
    EXPECT_EQ(head.retryAfter, u"1");
    EXPECT_EQ(head.reprDigest, u"a, b");
    EXPECT_EQ(head.location, u"a:b");
    EXPECT_EQ(head.contentEncoding, u"");
    EXPECT_EQ(head.contentLength, std::nullopt);
    EXPECT_TRUE(ParseHead({}).isSound);
}

TEST(HttpFields, AreTrustedWhereTheyMakeSense) {
    const struct {
        std::u16string fields;
        bool isSound;
        std::optional<std::int64_t> length;
    } cases[] = {
        {u"Content-Length: 0", true, 0},
        {u"Content-Length: 12\r\nContent-Length: 12", true, 12},
        {u"Content-Length: 12\r\nContent-Length: 13", false, 13},
        {u"Content-Length: 12, 12", false, std::nullopt},
        {u"Content-Length:", false, std::nullopt},
        {u"Content-Length: -1", false, std::nullopt},
        {u"Content-Length: 99999999999999999999", false, std::numeric_limits<std::int64_t>::max()},
        {u"no field", false, std::nullopt},
        {u"Transfer-Encoding: secret", false, std::nullopt},
        {u"X: " + std::u16string(ResponseHead::kMaxSize, u'x'), false, std::nullopt},
    };
    for (const auto& c : cases) {
        const ResponseHead head = ParseHead(u"HTTP/1.1 200 OK\r\n" + c.fields + u"\r\n\r\n");
        SCOPED_TRACE(std::string(c.fields.begin(), c.fields.end()).substr(0, 80));
        EXPECT_EQ(head.isSound, c.isSound);
        EXPECT_EQ(head.contentLength, c.length);
    }
}

TEST(HttpFields, TellHowLongToWait) {
    constexpr std::int64_t kNow = 784'111'770;  // seven seconds before the date below
    const struct {
        std::u16string value;
        std::optional<std::int64_t> wait;
    } cases[] = {
        {u"0", 0},
        {u"2", 2},
        {u"9999999999", 9'999'999'999},
        {u"99999999999999999999", std::numeric_limits<std::int64_t>::max()},
        {u"Sun, 06 Nov 1994 08:49:37 GMT", 7},
        {u"Sun, 06 Nov 1983 08:49:37 GMT", 0},
        {u"Sun, 31 Feb 1994 08:49:37 GMT", std::nullopt},
        {u"Sun, 06 anF 1994 08:49:37 GMT", std::nullopt},
        {u"Sun, 06 Nov 1994 24:49:37 GMT", std::nullopt},
        {u"Sun, 06 Nov 1994 08:49:-7 GMT", std::nullopt},
        {u"", std::nullopt},
        {u"-1", std::nullopt},
        {u"1.5", std::nullopt},
        {u"soon", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ParseRetryAfter(c.value, kNow), c.wait) << std::string(c.value.begin(), c.value.end());
}

TEST(HttpFields, TellDigests) {
    const struct {
        std::u16string value;
        std::u16string digest;
    } cases[] = {
        {u"sha-256=:YWJj:", u"YWJj"},
        {u"sha-512=:eA==:, SHA-256=:YWI=:", u"YWI="},
        {u"sha-256=:YWJj", u""},
        {u"sha-256=YWJj", u""},
        {u"sha-256=::", u""},
        {u"sha-256", u""},
        {u",,=,:", u""},
        {u"", u""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ParseReprDigest(c.value, u"sha-256"), c.digest)
            << std::string(c.value.begin(), c.value.end());
}

}  // namespace
}  // namespace tsasync::platform
