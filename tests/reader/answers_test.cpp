// What an answer means for a read, by its head and by what is kept from before.
#include "platform/reader/answer.h"

#include <gtest/gtest.h>

namespace tsasync::platform::reader {
namespace {

using Meaning = Answer::Meaning;

ResponseHead HeadOf(const std::string& status, const std::string& fields) {
    ResponseHead head;
    EXPECT_TRUE(head.AddLines("HTTP/1.1 " + status + "\r\n" + fields + "\r\n"));
    return head;
}

TEST(Answer, WithoutAnythingKeptIsContentOrARefusal) {
    const struct {
        std::string status, fields;
        Meaning meaning;
        std::int32_t failure = 0;
        std::optional<std::int64_t> total = std::nullopt;
    } rows[] = {
        {"200 OK", "Content-Length: 7\r\n", Meaning::Content, 0, 7},
        {"200 OK", "Content-Length: 7\r\nContent-Encoding: gzip\r\n", Meaning::Content},
        {"200 OK", "Content-Encoding: unknown\r\n", Meaning::Refusal, kErrDownloadFailure},
        {"200 OK", "Content-Range: bytes 0-6/7\r\n", Meaning::Refusal, kErrDownloadFailure},
        {"201 Created", "", Meaning::Refusal, kErrDownloadFailure},
        {"204 No Content", "", Meaning::Refusal, kErrDataNotAvailable},
        {"205 Reset Content", "", Meaning::Refusal, kErrDataNotAvailable},
        {"206 Part", "Content-Range: bytes 0-6/7\r\n", Meaning::Refusal, kErrDownloadFailure},
        {"300 Multiple Choices", "", Meaning::Refusal, kErrRedirectFailed},
        {"301 Moved", "", Meaning::Moved},
        {"302 Found", "", Meaning::Moved},
        {"303 See Other", "", Meaning::Moved},
        {"304 Not Modified", "", Meaning::Refusal, kErrDataNotAvailable},
        {"305 Use Proxy", "", Meaning::Refusal, kErrRedirectFailed},
        {"307 Temporary", "", Meaning::Moved},
        {"308 Permanent", "", Meaning::Moved},
        {"400 Bad Request", "", Meaning::Refusal, kErrInvalidRequest},
        {"401 Unauthorized", "", Meaning::Refusal, kErrAuthenticationRequired},
        {"403 Forbidden", "", Meaning::Refusal, kErrDownloadFailure},
        {"404 Not Found", "", Meaning::Refusal, kErrObjectNotFound},
        {"407 Proxy", "", Meaning::Refusal, kErrAuthenticationRequired},
        {"408 Timeout", "", Meaning::Refusal, kErrConnectionTimeout},
        {"410 Gone", "", Meaning::Refusal, kErrObjectNotFound},
        {"412 Precondition Failed", "", Meaning::Refusal, kErrDownloadFailure},
        {"416 Range", "", Meaning::Refusal, kErrDownloadFailure},
        {"429 Slow", "", Meaning::Busy, kErrDownloadFailure},
        {"500 Internal Server Error", "", Meaning::Refusal, kErrDownloadFailure},
        {"503 Busy", "", Meaning::Busy, kErrDownloadFailure},
        {"504 Gateway Timeout", "", Meaning::Refusal, kErrConnectionTimeout},
        {"wonderful", "", Meaning::Refusal, kErrDownloadFailure},
    };
    for (const auto& row : rows) {
        const ResponseHead head = HeadOf(row.status, row.fields);
        const bool canDecode = row.fields.find("unknown") == std::string::npos;
        const Answer answer = Judge(head, {}, canDecode, "http://h/");
        EXPECT_EQ(answer.meaning, row.meaning) << row.status << row.fields;
        EXPECT_EQ(answer.total, row.total) << row.status << row.fields;
        if (row.failure != 0) {
            EXPECT_EQ(answer.failure.number, row.failure) << row.status << row.fields;
        }
    }
}

TEST(Answer, FitsWhatIsKeptOrIsAskedForAnew) {
    const std::string date = "Tue, 02 Jan 2024 10:00:00 GMT";
    const PartialMeta part{"", "", "\"v1\"", "", 1000, false};
    const PartialMeta endless{"", "", "\"v1\"", "", std::nullopt, false};
    const PartialMeta whole{"", "", "\"v1\"", "", 300, true};
    const PartialMeta dated{"", "", date, "", 300, true};
    const PartialMeta datedPart{"", "", date, "", 1000, false};
    const std::string rest = "Content-Range: bytes 300-999/1000\r\n";
    const std::string tag = "ETag: \"v1\"\r\n";
    const struct {
        const PartialMeta& meta;
        std::string status, fields;
        Meaning meaning;
        std::optional<std::int64_t> total = std::nullopt;
    } rows[] = {
        {part, "206 Part", rest + tag, Meaning::Rest, 1000},
        {part, "206 Part", rest, Meaning::Mismatch},
        {part, "206 Part", "Content-Range: bytes 300-999/*\r\n" + tag, Meaning::Rest, 1000},
        {endless, "206 Part", rest + tag, Meaning::Rest, 1000},
        {endless, "206 Part", "Content-Range: bytes 300-999/*\r\n" + tag, Meaning::Mismatch},
        {datedPart, "206 Part", rest, Meaning::Rest, 1000},
        {datedPart, "206 Part", rest + "Last-Modified: Mon, 01 Jan 2024 10:00:00 GMT\r\n", Meaning::Mismatch},
        {part, "206 Part", rest + "ETag: \"v2\"\r\n", Meaning::Mismatch},
        {part, "206 Part", rest + "Content-Encoding: gzip\r\n" + tag, Meaning::Mismatch},
        {part, "206 Part", "Content-Range: bytes 299-998/1000\r\n" + tag, Meaning::Mismatch},
        {part, "206 Part", "Content-Range: bytes 300-999/1001\r\n" + tag, Meaning::Mismatch},
        {part, "206 Part", "Content-Range: bytes\r\n", Meaning::Mismatch},
        {part, "206 Part", "", Meaning::Mismatch},
        {part, "200 OK", "Content-Length: 900\r\n", Meaning::Content, 900},
        {part, "200 OK", rest, Meaning::Mismatch},
        {part, "412 No", "", Meaning::Mismatch},
        {part, "416 No", "", Meaning::Mismatch},
        {endless, "416 No", "Content-Range: bytes */300\r\n", Meaning::Unchanged, 300},
        {endless, "416 No", "Content-Range: bytes */300\r\nETag: \"v2\"\r\n", Meaning::Mismatch},
        {endless, "416 No", "Content-Range: bytes */200\r\n", Meaning::Mismatch},
        {part, "304 Not Modified", "", Meaning::Refusal},
        {whole, "304 Not Modified", "", Meaning::Unchanged, 300},
        {whole, "304 Not Modified", tag, Meaning::Unchanged, 300},
        {whole, "304 Not Modified", "ETag: \"v2\"\r\n", Meaning::Mismatch, 300},
        {dated, "304 Not Modified", "Last-Modified: " + date + "\r\n", Meaning::Unchanged, 300},
        {dated, "304 Not Modified", "", Meaning::Mismatch, 300},
        {dated, "304 Not Modified", "Last-Modified: Mon, 01 Jan 2024 10:00:00 GMT\r\n", Meaning::Mismatch,
         300},
        {whole, "206 Part", rest, Meaning::Refusal},
        {whole, "404 Not Found", "", Meaning::Refusal},
    };
    for (const auto& row : rows) {
        const Answer answer = Judge(HeadOf(row.status, row.fields), {&row.meta, 300}, true, "http://h/");
        EXPECT_EQ(answer.meaning, row.meaning) << row.status << row.fields;
        EXPECT_EQ(answer.total, row.total) << row.status << row.fields;
    }
}

TEST(Answer, NamesTheDigestsOfTheWholeAlone) {
    const std::string digests =
        "Repr-Digest: sha-256=:LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=:\r\n"
        "Content-MD5: XUFAKrxLKna5cZ2REBfFkg==\r\n";
    const PartialMeta part{"", "", "\"v1\"", "", 1000, false};
    const Answer whole = Judge(HeadOf("200 OK", digests), {}, true, "");
    EXPECT_TRUE(!whole.digests.sha256.empty() && !whole.digests.md5.empty());
    const Answer rest =
        Judge(HeadOf("206 Part", "Content-Range: bytes 300-999/1000\r\n" + digests), {&part, 300}, true, "");
    EXPECT_TRUE(!rest.digests.sha256.empty() && rest.digests.md5.empty());
    EXPECT_FALSE(Judge(HeadOf("200 OK", digests + "Content-Encoding: gzip\r\n"), {}, true, "").digests.Any());
}

}  // namespace
}  // namespace tsasync::platform::reader
