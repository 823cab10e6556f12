#include "base/Utf8.h"
#include "naming/MimeExtensionMap.h"
#include "naming/UrlHandleGenerator.h"
#include "naming/UrlNameParser.h"

#include <gtest/gtest.h>

#include <string>

namespace tsasync {
namespace {

UrlNameParser Parsed(std::u16string_view url) {
    UrlNameParser parser;
    parser.SetUrl(url);
    return parser;
}

TEST(UrlNameParser, NamesTheFile) {
    const struct {
        std::u16string url, name;
    } cases[] = {
        {u"http://h/a/photo.jpg?x=/y#z", u"photo.jpg"},
        {u"http://h/a%20b%C3%A4.txt", u"a b\u00E4.txt"},
        {u"http://h/stra%DFe.txt", u"stra%DFe.txt"},  // not UTF-8: the escape stays
        {u"http://h/100%.txt", u"100%.txt"},
        {u"http://h/dir/", u""},
        {u"http://h", u""},
        {u"", u""},
        {u"http://h/..", u""},
        {u"http://h/%2e%2E", u""},
        {u"http://h/.....", u""},
        {u"http://h/..%2f..%5Cetc%2Fpasswd", u"_._etc_passwd"},
        {u"http://h/a\\b.txt", u"b.txt"},
        {u"http://h/%C0%AE%C0%AE%C0%AFpasswd", u"%C0%AE%C0%AE%C0%AFpasswd"},  // "../" in bytes too many
        {u"http://h/%252e%252e%252Fpasswd", u"%2e%2e%2Fpasswd"},              // decoded once only
        {u"http://h/%ED%A0%80.txt", u"\uFFFD.txt"},                           // half a character
        {u"http://h/a%00.jpg%0D%0A", u"a_.jpg__"},
        {std::u16string(u"http://h/a\0\r\nb.txt", 18), u"a___b.txt"},
        {u"http://h/a%E2%80%A8b%C2%85c%7F.txt", u"a_b_c_.txt"},  // line ends of other kinds
        {u"http://h/.jpg", u"jpg"},
        {u"http://h/a.txt.%20.", u"a.txt"},
        {u"http://h/a%20..txt", u"a.txt"},
        {u"http://h/gpj.%E2%80%AEexe", u"gpj._exe"},
        {u"http://h/%E2%81%A6gpj%EF%BB%BF.exe", u"_gpj_.exe"},
        {u"http://h/.%20.%20.", u""},
        {u"http://h/CON", u"_CON"},
        {u"http://h/nul.tar.gz", u"_nul.tar.gz"},
        {u"http://h/aUx%20%20.txt", u"_aUx.txt"},
        {u"http://h/CONIN$.txt", u"_CONIN$.txt"},
        {u"http://h/com%C2%B9.txt", u"_com\u00B9.txt"},
        {u"http://h/Lpt3%20.txt", u"_Lpt3.txt"},
        {u"http://h/com10.txt", u"com10.txt"},
        {u"http://h/a<>:\"|*b", u"a______b"},
        {u"http://h/\xD800x", u"\uFFFDx"},
        {u"file:///C:/dir/a%20b.txt", u"a b.txt"},
        {u"C:\\dir\\50%20 #1.txt", u"50%20 #1.txt"},
        {u"\\\\server\\share\\x.bin", u"x.bin"},
        {u"data:image/png;base64,AA/BB", u""},
        {u"photo.jpg?x=1", u"photo.jpg"},
    };
    for (const auto& c : cases) EXPECT_EQ(Parsed(c.url).FileName(), c.name) << ToUtf8(c.url);
}

TEST(UrlNameParser, CutsALongNameAtACharacterAndKeepsTheExtension) {
    std::u16string url = u"http://h/";
    for (int i = 0; i < 5000; ++i) url += u"\U0001F600";
    const std::string name = ToUtf8(Parsed(url + u".jpeg").FileName());
    EXPECT_LE(name.size(), 200u);
    EXPECT_GT(name.size(), 190u);
    EXPECT_TRUE(name.ends_with("\xF0\x9F\x98\x80.jpeg"));
    EXPECT_EQ(ToUtf8(Parsed(u"http://h/a." + std::u16string(5000, u'x')).FileName()).size(), 200u);
}

TEST(UrlNameParser, NamesTheServer) {
    const struct {
        std::u16string url, host;
    } cases[] = {
        {u"http://example.com/x", u"example.com"},
        {u"https://ada:p@ss@example.com:8443/x", u"example.com"},
        {u"http://[2001:db8::1]:80/x", u"[2001:db8::1]"},
        {u"//cdn.example/x", u"cdn.example"},
        {u"http://h?x@y", u"h"},
        {u"file:///etc/passwd", u""},
        {u"\\\\server\\share\\x", u"server"},
        {u"C:\\x", u""},
        {u"mailto:ada@example.com", u""},
        {u"http://a\u202Eb/", u"a_b"},
    };
    for (const auto& c : cases) EXPECT_EQ(Parsed(c.url).HostName(), c.host) << ToUtf8(c.url);
}

TEST(UrlHandleGenerator, IsTheBeginningOfTheDigestInBase32) {
    // SHA-256 of nothing begins E3B0C442 98FC1C14 9AFBF4C8 996FB924 27…
    EXPECT_EQ(UrlHandleGenerator().HandleOf(u""), u"4oymiquy7qobjgx36tejs35zeq");
}

TEST(UrlHandleGenerator, TellsSimilarUrlsApart) {
    const UrlHandleGenerator generator;
    const std::u16string urls[] = {u"http://h/a",
                                   u"http://h/A",
                                   u"http://h/a ",
                                   std::u16string(u"\xD800"),
                                   std::u16string(u"\xD801"),
                                   std::u16string(u"\xDC00"),
                                   u"\uFFFD",
                                   std::u16string(u"http://h/a\0", 11)};
    for (const auto& one : urls) {
        EXPECT_EQ(generator.HandleOf(one).size(), 26u);
        for (const auto& other : urls)
            EXPECT_EQ(&one == &other, generator.HandleOf(one) == generator.HandleOf(other));
    }
}

TEST(MimeExtensionMap, KnowsTypesHoweverTheyAreWritten) {
    const struct {
        std::u16string type, extension;
    } cases[] = {
        {u"image/jpeg", u".jpg"},
        {u" Image/JPEG ; q=1", u".jpg"},
        {u"text/html;charset=\"a/b\"", u".html"},
        {u"text/markdown", u".md"},         // from the system
        {u"application/acrobat", u".pdf"},  // from the system
        {u"image/apng", u".apng"},
        {u"application/x-msdownload", u".exe"},
        {u"application/x-sh", u".sh"},
        {u"application/vnd.ms-fontobject", u".eot"},
        {u"multipart/related; boundary=x", u".mht"},
        {u"text/calendar", u".ics"},
        {u"model/vrml", u".wrl"},
        {u"Application/X-Extension-GGUF", u".gguf"},
        {u"application/x-extension-", u""},
        {u"application/x-extension-tar.gz", u""},
        {u"application/x-extension-.", u""},
        {u"application/x-extension-" + std::u16string(32, u'a'), u""},
        {u"application/octet-stream", u""},
        {u"no/such-type", u""},
        {u"", u""},
        {u"image", u""},
        {u"image/", u""},
        {u"/png", u""},
        {u"image/../image/png", u""},
        {u"../../../etc/passwd", u""},
        {u"image/..", u""},
        {std::u16string(u"image/png\0x", 11), u""},
        {u"image/\u0131con", u""},
        {u"a/" + std::u16string(100000, u'b'), u""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MimeExtensionMap().ExtensionOf(c.type), c.extension) << ToUtf8(c.type);
}

}  // namespace
}  // namespace tsasync
