// Fields of a response's head, whatever a server sends.
#include "platform/windows/http_fields.h"

#include <gtest/gtest.h>

namespace tsasync::platform {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(HttpFields, AreFoundByName) {
    const std::u16string head =
        u"HTTP/1.1 200 OK\r\nRetry-AFTER:\t 1 \r\nempty:\r\nno field\r\n:x\r\nlast: a:b";
    EXPECT_EQ(HeaderField(head, u"retry-after"), u"1");
    EXPECT_EQ(HeaderField(head, u"last"), u"a:b");
    for (const auto* name : {u"empty", u"no field", u"retry", u"HTTP/1.1 200 OK"})
        EXPECT_EQ(HeaderField(head, name), u"");
    EXPECT_EQ(HeaderField({}, u"x"), u"");
}

TEST(HttpFields, TellHowLongToWait) {
    const struct {
        std::u16string value;
        std::optional<std::int64_t> wait;
    } cases[] = {
        {u"0", 0},
        {u"2", 2000},
        {u"999999999", 999'999'999'000},
        {u"Sun, 06 Nov 1994 08:49:37 GMT", 0},
        {u"9999999999", std::nullopt},
        {u"", std::nullopt},
        {u"-1", std::nullopt},
        {u"1.5", std::nullopt},
        {u"soon", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ParseRetryAfter(c.value), c.wait) << std::string(c.value.begin(), c.value.end());
}

TEST(HttpFields, TellDigests) {
    const Bytes abc{'a', 'b', 'c'};
    const struct {
        std::u16string value;
        Bytes digest;
    } cases[] = {
        {u"sha-256=:YWJj:", abc},
        {u"sha-512=:eA==:, SHA-256=:YWJj:", abc},
        {u"sha-256=:YWJj", abc},
        {u"sha-256=YWJj", {}},
        {u"sha-256=:%%%%:", {}},
        {u"sha-256=::", {}},
        {u"sha-256", {}},
        {u",,=,:", {}},
        {u"", {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ParseReprDigest(c.value, u"sha-256"), c.digest)
            << std::string(c.value.begin(), c.value.end());
    EXPECT_EQ(DecodeBase64(u"YWJj"), abc);
}

}  // namespace
}  // namespace tsasync::platform
