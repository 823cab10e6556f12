#include "tests/server/conversations.h"

#include "platform/url_reader.h"

// Adding a misbehaviour means adding an entry to one of the lists below.
namespace tsasync::tests {

namespace {

using namespace platform;
using namespace std::string_literals;

std::vector<Case> Lengths() {
    return {
        {"shorter than announced",
         {Ask(), Send(Head(kLength) + Body().substr(0, 999))},
         "",
         kErrDownloadFailure},
        {"a part as the whole",
         {Ask(), Send(Head(kLength + "Content-Range: bytes 300-1299/1300\r\n") + Body())},
         "",
         kErrDownloadFailure},
        {"longer than announced", {Ask(), Send(Whole() + "more")}, Body()},
        {"no length, closed", {Ask(), Send(Head("") + Body())}, Body()},
        {"no length, reset", {Ask(), Send(Head("") + Body()), Pause(100), Reset()}, "", kErrDownloadFailure},
        {"HTTP/1.0", {Ask(), Send("HTTP/1.0 200 OK\r\n\r\n" + Body())}, Body()},
        {"HTTP/0.9", {Ask(), Send(Body())}, "", kErrDownloadFailure},
        {"two lengths",
         {Ask(), Send(Head(kLength + "Content-Length: 999\r\n") + Body())},
         "",
         kErrDownloadFailure},
        {"one byte a second",
         {Ask(), Send(Head("Content-Length: 4\r\n")), Drip(Body().substr(0, 4), 1000)},
         Body().substr(0, 4)},
        {"the head byte by byte", {Ask(), Drip(Head(kLength), 30), Send(Body())}, Body()},
    };
}

std::vector<Case> Chunks() {
    const std::string head = Head("Transfer-Encoding: chunked\r\n");
    const std::string chunk = "3e8\r\n" + Body() + "\r\n";
    return {
        {"chunked", {Ask(), Send(head + chunk + "0\r\n\r\n")}, Body()},
        {"chunked, empty", {Ask(), Send(head + "0\r\n\r\n")}, ""},
        {"chunked, trailer", {Ask(), Send(head + chunk + "0\r\nContent-Length: 7\r\n\r\n")}, Body()},
        {"chunked, a trailer like another head",
         {Ask(), Send(head + chunk + "0\r\nHTTP/1.1 404: x\r\nX-a: b\r\n\r\n")},
         Body()},
        {"chunked, broken size", {Ask(), Send(head + "xyz\r\n" + Body())}, "", kErrDownloadFailure},
        {"chunked, endless size",
         {Ask(), Send(head + "fffffffffffffffffff\r\n" + Body())},
         "",
         kErrDownloadFailure},
        {"chunked, broken in the data",
         {Ask(), Send(head + "3e8\r\n" + Body().substr(0, 500))},
         "",
         kErrDownloadFailure},
        {"chunked, too much data",
         {Ask(), Send(head + "3e7\r\n" + Body() + "\r\n0\r\n\r\n")},
         "",
         kErrDownloadFailure},
        {"chunked, no last chunk", {Ask(), Send(head + chunk)}, "", kErrDownloadFailure},
        {"chunked, a negative size", {Ask(), Send(head + "-1\r\n" + Body())}, "", kErrDownloadFailure},
        {"chunked, and another length",
         {Ask(), Send(Head("Transfer-Encoding: chunked\r\nContent-Length: 7\r\n") + chunk + "0\r\n\r\n")},
         "",
         kErrDownloadFailure},
        {"in an unknown transfer coding",
         {Ask(), Send(Head("Transfer-Encoding: secret\r\n") + Body())},
         "",
         kErrDownloadFailure},
    };
}

std::vector<Case> Silences() {
    return {
        {"silent before the head", {Ask(), Silence()}, "", kErrConnectionTimeout},
        {"silent inside the head",
         {Ask(), Send("HTTP/1.1 200 OK\r\nContent-"), Silence()},
         "",
         kErrConnectionTimeout},
        {"silent in the body",
         {Ask(), Send(Head(kLength + kTag) + Body().substr(0, 10)), Silence()},
         "",
         kErrConnectionTimeout,
         10},
        {"silent between chunks",
         {Ask(), Send(Head("Transfer-Encoding: chunked\r\n" + kTag) + "a\r\n0123456789\r\n"), Silence()},
         "",
         kErrConnectionTimeout,
         10},
        {"silent after a redirection",
         {Ask(), Send(Head("Content-Length: 0\r\nLocation: /x\r\n", "302 Found")), Ask("GET /x "), Silence()},
         "",
         kErrConnectionTimeout},
        {"silent to the second try",
         {Ask(), Send(Head("Content-Length: 0\r\n", "503 Busy")), Ask(), Silence()},
         "",
         kErrConnectionTimeout},
        {"reset in the body",
         {Ask(), Send(Head(kLength + kTag) + Body().substr(0, 500)), Pause(100), Reset()},
         "",
         kErrDownloadFailure,
         500},
        {"a head that trickles",
         {Ask(), Send("HTTP/1.1 200 OK\r\n"), Trickle("X: y\r\n")},
         "",
         kErrConnectionTimeout},
        {"a refusal whose page trickles",
         {Ask(), Send(Head("Content-Length: 5000\r\n", "404 Not Found")), Trickle(" ")},
         "",
         kErrObjectNotFound},
        {"busy, a page that trickles, then well",
         {Ask(), Send(Head("Content-Length: 5000\r\n", "503 Busy")), Trickle(" "), Ask(), Send(Whole())},
         Body()},
        {"a redirection whose page trickles",
         {Ask(), Send(Head("Content-Length: 5000\r\nLocation: /x\r\n", "302 Found")), Trickle(" "),
          Ask("GET /x "), Send(Whole())},
         Body()},
        {"closed in the head",
         {Ask(), Send("HTTP/1.1 200 OK\r\nContent-"), Close()},
         "",
         kErrDownloadFailure},
        {"reset before the head", {Ask(), Reset()}, "", kErrDownloadFailure},
        {"closed before the head", {Ask(), Close()}, "", kErrDownloadFailure},
    };
}

std::vector<Case> Statuses() {
    std::vector<Case> cases;
    const std::pair<const char*, std::int32_t> statuses[] = {
        {"206 Partial Content", kErrDownloadFailure},
        {"304 Not Modified", kErrDataNotAvailable},
        {"401 Unauthorized", kErrAuthenticationRequired},
        {"404 Not Found", kErrObjectNotFound},
        {"407 Proxy Authentication Required", kErrAuthenticationRequired},
        {"999 What", kErrDownloadFailure},
    };
    for (const auto& [status, failure] : statuses) {
        cases.push_back({status, {Ask(), Send(Head("Content-Length: 4\r\n", status) + "oops")}, "", failure});
    }
    const std::string busy = "Content-Length: 0\r\n";
    const auto after = [&](const std::string& status, const std::string& seconds) {
        return Send(Head(busy + "Retry-After: " + seconds + "\r\n", status));
    };
    cases.push_back({"503, then well", {Ask(), Send(Head(busy, "503 Busy")), Ask(), Send(Whole())}, Body()});
    cases.push_back(
        {"503 twice, then well",
         {Ask(), Send(Head(busy, "503 Busy")), Ask(), Send(Head(busy, "503 Busy")), Ask(), Send(Whole())},
         Body()});
    cases.push_back(
        {"503 for too long",
         {Ask(), after("503 Busy", "1"), Ask(), after("503 Busy", "1"), Ask(), after("503 Busy", "1")},
         "",
         kErrDownloadFailure});
    cases.push_back(
        {"503 with a long page, then well",
         {Ask(), Send(Head("", "503 Busy") + std::string(200'000, 'x')), Close(), Ask(), Send(Whole())},
         Body()});
    cases.push_back({"503 with a page that never ends, then well",
                     {Ask(), Send(Head("", "503 Busy") + std::string(200'000, 'x')), Silence(), Close(),
                      Ask(), Send(Whole())},
                     Body()});
    cases.push_back({"503, again at once", {Ask(), after("503 Busy", "0"), Ask(), Send(Whole())}, Body()});
    cases.push_back({"429, then well", {Ask(), Send(Head(busy, "429 Slow")), Ask(), Send(Whole())}, Body()});
    cases.push_back(
        {"429, again in a second", {Ask(), after("429 Slow", "1"), Ask(), Send(Whole())}, Body()});
    cases.push_back({"429, again in an hour", {Ask(), after("429 Slow", "3600")}, "", kErrDownloadFailure});
    cases.push_back(
        {"429, again some time", {Ask(), after("429 Slow", "soon"), Ask(), Send(Whole())}, Body()});
    cases.push_back({"a page that never ends",
                     {Ask(), Send(Head("", "404 Not Found") + std::string(200'000, 'x')), Silence()},
                     "",
                     kErrObjectNotFound});
    return cases;
}

std::vector<Case> Redirections() {
    const auto to = [](const std::string& location) {
        return Send(Head("Content-Length: 0\r\nLocation: " + location + "\r\n", "302 Found"));
    };
    Conversation chain;
    for (int i = 0; i < 20; ++i) chain.insert(chain.end(), {Ask(), to("/next" + std::to_string(i))});
    Conversation loop;
    for (int i = 0; i < 21; ++i) loop.insert(loop.end(), {Ask(), to("/file.bin")});
    Conversation longest = chain;
    longest.insert(longest.end(), {Ask("GET /next19 "), Send(Whole())});
    Conversation tooLong = chain;
    tooLong.insert(tooLong.end(), {Ask(), to("/next20")});
    std::vector<Case> cases;
    for (const char* status : {"301 Moved", "303 See Other", "307 Temporary", "308 Permanent"}) {
        const Step moved = Send(Head("Content-Length: 0\r\nLocation: /x\r\n", status));
        cases.push_back({status, {Ask(), moved, Ask("GET /x "), Send(Whole())}, Body()});
    }
    const std::vector<Case> targets = {
        {"redirected by a fragment alone",
         {Ask(), to("#part"), Ask("GET /file.bin "), Send(Whole())},
         Body()},
        {"redirected to two places",
         {Ask(), Send(Head("Content-Length: 0\r\nLocation: /x\r\nLocation: /y\r\n", "302 Found"))},
         "",
         kErrRedirectFailed},
        {"redirected by a path", {Ask(), to("/a b"), Ask("GET /a%20b "), Send(Whole())}, Body()},
        {"redirected without a scheme",
         {Ask(), to("//localhost:{port}/x"), Close(), Ask("GET /x \nHost: localhost:"), Send(Whole())},
         Body()},
        {"redirected to another host",
         {Ask(), to("http://localhost:{port}/x"), Close(), Ask("GET /x "), Send(Whole())},
         Body()},
        {"a chain of 20", longest, Body()},
        {"a chain of 21", tooLong, "", kErrRedirectFailed},
        {"a loop", loop, "", kErrRedirectFailed},
        {"redirected to a file", {Ask(), to("file:///etc/hostname")}, "", kErrRedirectFailed},
        {"redirected to nowhere",
         {Ask(), Send(Head("Content-Length: 0\r\n", "301 Moved"))},
         "",
         kErrRedirectFailed},
        {"redirected by control characters",
         {Ask(), to("/\x01\x1bz"), Ask("GET /%01%1Bz "), Send(Whole())},
         Body()},
        {"redirected by NUL", {Ask(), to("/a\0b"s)}, "", kErrDownloadFailure},
        {"redirected by bytes that are no text",
         {Ask(), to("/\xff\xfe"), Ask("GET /%FF%FE "), Send(Whole())},
         Body()},
        {"redirected with a long page",
         {Ask(), Send(Head("Location: /x\r\n", "302 Found") + std::string(200'000, 'x')), Close(),
          Ask("GET /x "), Send(Whole())},
         Body()},
    };
    cases.insert(cases.end(), targets.begin(), targets.end());
    return cases;
}

std::vector<Case> Heads() {
    std::string manyLines;
    for (int i = 0; i < 100'000; ++i) manyLines += "X: y\r\n";
    std::string longLines;
    for (int i = 0; i < 100; ++i) longLines += "X: " + std::string(3000, 'y') + "\r\n";
    return {
        {"a head of 1 MB",
         {Ask(), Send(Head("X: " + std::string(1 << 20, 'x') + "\r\n" + kLength) + Body())},
         "",
         kErrDownloadFailure},
        {"a head of 300 KB", {Ask(), Send(Head(longLines + kLength) + Body())}, "", kErrDownloadFailure},
        {"a head that never ends",
         {Ask(), Send("HTTP/1.1 200 OK\r\n" + manyLines), Silence()},
         "",
         kErrDownloadFailure},
        {"a head of 2000 lines",
         {Ask(), Send(Head(manyLines.substr(0, 12'000) + kLength) + Body())},
         "",
         kErrDownloadFailure},
        {"CR in a header", {Ask(), Send(Head("X: a\rb\r\n" + kLength) + Body())}, "", kErrDownloadFailure},
        {"a line without colon",
         {Ask(), Send(Head("nonsense\r\n" + kLength) + Body())},
         "",
         kErrDownloadFailure},
        {"NUL in a header", {Ask(), Send(Head("X: a\0b\r\n"s + kLength) + Body())}, "", kErrDownloadFailure},
        {"control characters in a header",
         {Ask(), Send(Head("X: a\x01\x7f\x1b[31m\r\n" + kLength) + Body())},
         Body()},
        {"control characters in the type",
         {Ask(), Send(Head("Content-Type: image/\x07gif\r\n" + kLength) + Body())},
         Body()},
        {"a second status inside a refusal's head",
         {Ask(), Send("HTTP/1.1 404 No\r\nHTTP/x: 200 OK\r\n" + kLength + "\r\n" + Body())},
         "",
         kErrDownloadFailure},
        {"nonsense for a status", {Ask(), Send("HTTP/1.1 wonderful\r\n\r\n")}, "", kErrDownloadFailure},
        {"NUL in the first line",
         {Ask(), Send("HTTP/1.1 200 O\0K\r\n"s + kLength + "\r\n" + Body())},
         "",
         kErrDownloadFailure},
        {"a continued line", {Ask(), Send(Head("X: a\r\n b\r\n" + kLength) + Body())}, Body()},
        {"lines without CR", {Ask(), Send("HTTP/1.1 200 OK\nContent-Length: 1000\n\n" + Body())}, Body()},
        {"101 Switching Protocols",
         {Ask(), Send("HTTP/1.1 101 Other\r\nUpgrade: x\r\n\r\n" + Body())},
         "",
         kErrDownloadFailure},
        {"103 Early Hints first",
         {Ask(), Send("HTTP/1.1 103 Hints\r\nLink: </x>\r\n\r\n" + Whole())},
         Body()},
        {"100 Continue first", {Ask(), Send("HTTP/1.1 100 Continue\r\n\r\n" + Whole())}, Body()},
    };
}

std::vector<Case> Contents() {
    const std::string right = "Repr-Digest: sha-256=:LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=:\r\n";
    const std::string wrong = "Repr-Digest: sha-256=:LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCA=:\r\n";
    const std::string right512 =
        "Repr-Digest: sha-512=:"
        "m3HSJL1i83hdltRq0+o9czGb+8KJDKra4t/3JRlnPKcjI8PZm6XBHXx6zG4UuMXaDEZjR1wuXDre9G9zvN7AQw==:\r\n";
    const std::string five = "Content-Length: 5\r\n";
    // 10,000 times the same letter
    const std::string bomb(
        "\x1f\x8b\x08\0\0\0\0\0\x02\x03\xed\xc1\x01\x0d\0\0\0\xc2\xa0\xac\xef\x5f\xc2\x1c\x6e\x40\x01\0"
        "\0\0\0\0\0\0\0\xc0\xbf\x01\x97\xd4\x7e\x46\x10'\0\0"s);
    const std::string packed(
        "\x1f\x8b\x08\0\0\0\0\0\0\x03\xcbH\xcd\xc9\xc9\x07\0\x86\xa6\x10\x36\x05\0\0\0"s);
    const std::string packedTwice(
        "\037\213\010\000\000\000\000\000\002\003\253\230\163\332\343\354\311\223\354\014\154\072\114\242\000\104\376\205\252\015\000\000\000"s);
    const std::string packedThrice(
        "\037\213\010\000\000\000\000\000\002\003\223\357\346\140\000\001\046\346\311\357"
        "\237\045\060\060\252\075\273\054\227\356\077\057\045\075\043\132\055\341\030\227"
        "\010\003\303\362\374\055\256\222\100\025\000\323\310\031\026\052\000\000\000"s);
    // 2000 streams of nothing, packed once more
    const std::string nothing(
        "\037\213\010\000\000\000\000\000\002\003\355\310\261\015\000\040\010\000\060\042"
        "\213\137\160\060\117\023\006\257\260\035\133\175\143\235\314\170\312\071\347\234"
        "\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234"
        "\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234"
        "\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234"
        "\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234\163\316\071\347\234"
        "\163\316\071\347\234\163\316\071\347\234\163\316\271\117\157\000\073\156\171\072"
        "\100\234\000\000"s);
    return {
        {"digest right", {Ask(), Send(Head(five + right) + "hello")}, "hello"},
        {"digest wrong", {Ask(), Send(Head(five + kTag + wrong) + "hello")}, "", kErrDownloadFailure},
        {"digest of nothing right",
         {Ask(), Send(Head("Content-Length: 0\r\nRepr-Digest: "
                           "sha-256=:47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=:\r\n"))},
         ""},
        {"digest of nothing wrong",
         {Ask(), Send(Head("Content-Length: 0\r\n" + wrong))},
         "",
         kErrDownloadFailure},
        {"digest wrong, identity",
         {Ask(), Send(Head(five + "Content-Encoding: identity\r\n" + wrong) + "hello")},
         "",
         kErrDownloadFailure},
        {"another digest right", {Ask(), Send(Head(five + right512) + "hello")}, "hello"},
        {"one digest of two wrong",
         {Ask(), Send(Head(five + right512 + wrong) + "hello")},
         "",
         kErrDownloadFailure},
        {"digest unreadable", {Ask(), Send(Head(five + "Repr-Digest: sha-256=:x:\r\n") + "hello")}, "hello"},
        {"MD5 right",
         {Ask(), Send(Head(five + "Content-MD5: XUFAKrxLKna5cZ2REBfFkg==\r\n") + "hello")},
         "hello"},
        {"MD5 wrong",
         {Ask(), Send(Head(five + "Content-MD5: XUFAKrxLKna5cZ2REBfFkA==\r\n") + "hello")},
         "",
         kErrDownloadFailure},
        {"compressed",
         {Ask("Accept-Encoding: identity"), Send(Head("Content-Encoding: gzip\r\n") + packed)},
         "hello"},
        {"compressed, cut, no length",
         {Ask(), Send(Head("Content-Encoding: gzip\r\n") + packed.substr(0, 15))},
         "",
         kErrDownloadFailure},
        {"compressed, cut in its end, no length",
         {Ask(), Send(Head("Content-Encoding: gzip\r\n") + packed.substr(0, 20))},
         "",
         kErrDownloadFailure},
        {"compressed, cut, the length kept",
         {Ask(), Send(Head("Content-Encoding: gzip\r\nContent-Length: 15\r\n") + packed.substr(0, 15))},
         "",
         kErrDownloadFailure},
        {"compressed, with its length",
         {Ask(), Send(Head("Content-Encoding: gzip\r\nContent-Length: 25\r\n") + packed)},
         "hello"},
        {"compressed, chunked",
         {Ask(), Send(Head("Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n") + "19\r\n" + packed +
                      "\r\n0\r\n\r\n")},
         "hello"},
        {"compressed, far too well",
         {Ask(), Send(Head("Content-Encoding: gzip\r\n") + bomb)},
         "",
         kErrDownloadFailure},
        {"compressed, in two streams",
         {Ask(), Send(Head("Content-Encoding: gzip\r\n") + packed + packed)},
         "hellohello"},
        {"compressed, byte by byte",
         {Ask(), Send(Head("Content-Encoding: x-gzip\r\n")), Drip(packed, 10)},
         "hello"},
        {"deflated",
         {Ask(),
          Send(Head("Content-Encoding: deflate\r\n") + "\x78\x9c\xcbH\xcd\xc9\xc9\x07\0\x06,\x02\x15"s)},
         "hello"},
        {"deflated, without its wrapper",
         {Ask(), Send(Head("Content-Encoding: deflate\r\n")), Drip("\313\110\315\311\311\007\000"s, 10)},
         "hello"},
        {"deflated, then compressed",
         {Ask(), Send(Head("Content-Encoding: deflate\r\nContent-Encoding: gzip\r\n") + packedTwice)},
         "hello"},
        {"deflated, then compressed, in one list",
         {Ask(), Send(Head("Content-Encoding: deflate, gzip\r\n") + packedTwice)},
         "hello"},
        {"compressed three times",
         {Ask(), Send(Head("Content-Encoding: gzip, gzip, gzip\r\n") + packedThrice)},
         "",
         kErrDownloadFailure},
        {"compressed twice, far too well in between",
         {Ask(), Send(Head("Content-Encoding: gzip, gzip\r\n") + nothing)},
         "",
         kErrDownloadFailure},
        {"in no coding", {Ask(), Send(Head("Content-Encoding: none\r\n" + five) + "hello")}, "hello"},
        {"compressed, cut",
         {Ask(),
          Send(Head("Content-Encoding: gzip\r\nContent-Length: 25\r\n" + kTag) + packed.substr(0, 15))},
         "",
         kErrDownloadFailure},
        {"compressed, broken",
         {Ask(),
          Send(Head("Content-Encoding: gzip\r\n" + kTag) + packed.substr(0, 12) + "?" + packed.substr(13))},
         "",
         kErrDownloadFailure},
        {"called compressed",
         {Ask(), Send(Head("Content-Encoding: gzip\r\n" + five) + "hello")},
         "",
         kErrDownloadFailure},
        {"in an unknown coding",
         {Ask(), Send(Head("Content-Encoding: secret\r\n" + five) + "hello")},
         "",
         kErrDownloadFailure},
    };
}

}  // namespace

void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }

const std::string& Body() {
    static const std::string body = [] {
        std::string bytes(1000, '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<char>('a' + (i * 7 + i / 100 * 3) % 26);
        return bytes;
    }();
    return body;
}

std::string Head(const std::string& fields, const std::string& status) {
    return "HTTP/1.1 " + status + "\r\n" + fields + "\r\n";
}

std::string Whole() { return Head(kLength) + Body(); }

std::vector<Case> Conversations() {
    std::vector<Case> all;
    for (auto* list : {Lengths, Chunks, Silences, Statuses, Redirections, Heads, Contents}) {
        for (Case& one : list()) all.push_back(std::move(one));
    }
    for (std::size_t tenth = 1; tenth < 10; ++tenth) {
        const std::size_t cut = tenth * 100;
        all.push_back({"cut after tenth " + std::to_string(tenth),
                       {Ask(), Send(Head(kLength + kTag) + Body().substr(0, cut)), Close()},
                       "",
                       kErrDownloadFailure,
                       cut});
    }
    return all;
}

}  // namespace tsasync::tests
