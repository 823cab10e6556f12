#include "platform/url_reader.h"
#include "tests/server/conversations.h"

// The same URL is read again: after a break, or while the file of an earlier read is still there.
namespace tsasync::tests {

namespace {

using namespace platform;

const std::string kRest = "Range: bytes=300-\nIf-Range: \"v1\"";

// A first answer that breaks after 300 bytes, which stay. The next read is the rest of the conversation.
Conversation AfterABreak(Conversation rest) {
    Conversation conversation{Ask(), Send(Head(kLength + kTag) + Body().substr(0, 300)), Close()};
    conversation.insert(conversation.end(), rest.begin(), rest.end());
    return conversation;
}

// All bytes have come when the connection breaks, but not the end. `last` answers to the last byte.
Conversation Unchecked(Step last) {
    return AfterABreak({Ask(kRest),
                        Send(Head(kTag + "Content-Length: 701\r\nContent-Range: bytes 300-999/1000\r\n",
                                  "206 Partial Content") +
                             Body().substr(300)),
                        Close(), Ask("Range: bytes=999-\nIf-Range: \"v1\""), std::move(last)});
}

// A file that its receiver has left where it was.
std::vector<Case> Confirmations() {
    const std::string date = "Last-Modified: Tue, 02 Jan 2024 10:00:00 GMT\r\n";
    const std::string dated = "Date: Tue, 02 Jan 2024 10:02:00 GMT\r\n" + date;
    const std::string since = "If-Modified-Since: Tue, 02 Jan 2024 10:00:00 GMT";
    const auto first = [](const std::string& fields) { return Send(Head(kLength + fields) + Body()); };
    const auto same = [](const std::string& fields) { return Send(Head(fields, "304 Not Modified")); };
    return {
        {"whole, confirmed by tag",
         {Ask(), first(kTag), Ask("!Range:\nIf-None-Match: \"v1\""), same("")},
         Body()},
        {"whole, another one confirmed by tag",
         {Ask(), first(kTag), Ask(), same("ETag: \"v2\"\r\n"), Ask("!Range:\n!If-None-Match:"),
          Send(Whole())},
         Body()},
        {"whole, confirmed by date", {Ask(), first(dated), Ask("!Range:\n" + since), same(date)}, Body()},
        {"whole, confirmed by date without saying which",
         {Ask(), first(dated), Ask(since), same(""), Ask("!Range:\n!If-Modified-Since:"), Send(Whole())},
         Body()},
    };
}

Step MoveTo(const std::string& location) {
    return Send(Head("Content-Length: 0\r\nLocation: " + location + "\r\n", "302 Found"));
}

// The answer to a request for the rest.
Step Part(const std::string& range, const std::string& fields = kTag) {
    return Send(
        Head(fields + "Content-Length: 700\r\nContent-Range: " + range + "\r\n", "206 Partial Content") +
        Body().substr(300));
}

// A first read that is sent elsewhere and breaks there.
Conversation MovedAndCut(Conversation then) {
    Conversation all{Ask(), MoveTo("/a"), Ask("GET /a ")};
    const Conversation cut = AfterABreak(std::move(then));
    all.insert(all.end(), cut.begin() + 1, cut.end());
    return all;
}

std::vector<Case> Continuations() {
    const std::string rest = Body().substr(300);
    const std::string digest = kTag + "Repr-Digest: sha-256=:";
    const auto lastByte = [&](const std::string& sha256) {
        return Send(Head("Content-Length: 1\r\nContent-Range: bytes 999-999/1000\r\n" + digest + sha256,
                         "206 Partial Content") +
                    Body().substr(999));
    };
    return {
        {"continued where a redirection leads",
         MovedAndCut({Ask("!Range:"), MoveTo("/a"), Ask("GET /a \n" + kRest), Part("bytes 300-999/1000")}),
         Body()},
        {"continued", AfterABreak({Ask(kRest), Part("bytes 300-999/1000")}), Body()},
        {"continued, of a version that is not told",
         AfterABreak({Ask(kRest), Part("bytes 300-999/1000", ""), Ask("!Range:"), Send(Whole())}), Body()},
        {"all there, but for the end of the chunks",
         {Ask(), Send(Head(kTag + "Transfer-Encoding: chunked\r\n") + "3e8\r\n" + Body() + "\r\n"), Close(),
          Ask("Range: bytes=1000-\nIf-Range: \"v1\""),
          Send(Head("Content-Length: 0\r\nContent-Range: bytes */1000\r\n", "416 No"))},
         Body()},
        {"continued, MD5 of the part",
         AfterABreak(
             {Ask(kRest), Part("bytes 300-999/1000", kTag + "Content-MD5: fs4ajJsDfyzBm2f1vaty9w==\r\n")}),
         Body()},
        {"continued, digest of the whole",
         AfterABreak({Ask(kRest), Part("bytes 300-999/1000",
                                       digest + "vMtLi7AEmXetGZRJD7wmYZLAbjEJZy9dSB/uscDQSgA=:\r\n")}),
         Body()},
        {"continued, digest wrong",
         AfterABreak({Ask(kRest), Part("bytes 300-999/1000",
                                       digest + "LXEWQrcmsEQBYnyp+6wy9chTD7GQPMTbAiWHF5IaSIE=:\r\n")}),
         "", kErrDownloadFailure},
        {"all there, never checked", Unchecked(lastByte("vMtLi7AEmXetGZRJD7wmYZLAbjEJZy9dSB/uscDQSgA=:\r\n")),
         Body()},
        {"all there, never checked, wrong",
         Unchecked(lastByte("LXEWQrcmsEQBYnyp+6wy9chTD7GQPMTbAiWHF5IaSIE=:\r\n")), "", kErrDownloadFailure},
        {"a part, broken again",
         AfterABreak({Ask(kRest),
                      Send(Head(kTag + "Content-Length: 700\r\nContent-Range: bytes 300-999/1000\r\n",
                                "206 Partial Content") +
                           rest.substr(0, 300)),
                      Close(), Ask("Range: bytes=600-\nIf-Range: \"v1\""),
                      Send(Head(kTag + "Content-Length: 400\r\nContent-Range: bytes 600-999/1000\r\n",
                                "206 Partial Content") +
                           Body().substr(600))}),
         Body()},
        {"continued by date",
         {Ask(),
          Send(
              Head(
                  kLength +
                  "Date: Tue, 02 Jan 2024 10:02:00 GMT\r\nLast-Modified: Tue, 02 Jan 2024 10:00:00 GMT\r\n") +
              Body().substr(0, 300)),
          Close(), Ask("Range: bytes=300-\nIf-Range: Tue, 02 Jan 2024 10:00:00 GMT"),
          Part("bytes 300-999/1000", "")},
         Body()},
    };
}

// Two versions of a file never come together.
std::vector<Case> NewBeginnings() {
    const Step whole = Send(Head(kLength + "ETag: \"v2\"\r\n") + Body());
    return {

        {"an answer that nobody asked for, then another read",
         {Ask(), Send(Whole()), Pause(100), Send(Head("Content-Length: 4\r\n") + "evil"), Ask(), whole},
         Body()},
        {"redirected to another file than the cut one",
         MovedAndCut({Ask("!Range:"), MoveTo("/b"), Ask("GET /b \n!Range:"), Send(Whole())}), Body(), 0, 300},
        {"a part that is encoded",
         AfterABreak({Ask(kRest), Part("bytes 300-999/1000", kTag + "Content-Encoding: gzip\r\n"),
                      Ask("!Range:"), whole}),
         Body()},
        {"changed meanwhile", AfterABreak({Ask(kRest), whole}), Body()},
        {"a part of another version",
         AfterABreak({Ask(kRest), Part("bytes 300-999/1000", "ETag: \"v2\"\r\n"), Ask("!Range:"), whole}),
         Body()},
        {"no such version",
         AfterABreak({Ask(kRest), Send(Head("Content-Length: 0\r\n", "412 No")), Ask("!Range:"), whole}),
         Body()},
        {"the rest as the whole",
         AfterABreak({Ask(kRest),
                      Send(Head(kTag + "Content-Length: 700\r\nContent-Range: bytes 300-999/1000\r\n") +
                           Body().substr(300)),
                      Close(), Ask("!Range:"), whole}),
         Body()},
        {"no such part",
         AfterABreak({Ask(kRest), Send(Head("Content-Length: 0\r\nContent-Range: bytes */200\r\n", "416 No")),
                      Ask("!Range:"), whole}),
         Body()},
        {"not to be continued: no ranges",
         {Ask(), Send(Head(kLength + "ETag: \"v1\"\r\nAccept-Ranges: none\r\n") + Body().substr(0, 300)),
          Close(), Ask("!Range:"), Send(Whole())},
         Body()},
        {"not to be continued: a weak tag",
         {Ask(), Send(Head(kLength + "ETag: W/\"v1\"\r\n") + Body().substr(0, 300)), Close(), Ask("!Range:"),
          Send(Whole())},
         Body()},
        {"not to be continued: just modified",
         {Ask(),
          Send(
              Head(
                  kLength +
                  "Date: Tue, 02 Jan 2024 10:00:30 GMT\r\nLast-Modified: Tue, 02 Jan 2024 10:00:00 GMT\r\n") +
              Body().substr(0, 300)),
          Close(), Ask("!Range:"), Send(Whole())},
         Body()},
    };
}

}  // namespace

std::vector<Case> SecondReads() {
    std::vector<Case> all;
    for (auto* list : {Confirmations, Continuations, NewBeginnings}) {
        for (Case& one : list()) all.push_back(std::move(one));
    }
    return all;
}

}  // namespace tsasync::tests
