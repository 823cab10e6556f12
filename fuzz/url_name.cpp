// Whatever the URL, the name that it gives stays in its folder and can be held by both systems.
#include "base/Utf8.h"
#include "naming/UrlNameParser.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tsasync::UrlNameParser parser;
    parser.SetUrl(tsasync::FromUtf8({reinterpret_cast<const char*>(data), size}));
    const std::u16string& name = parser.FileName();
    const bool safe = name.find_first_of(u"/\\<>:\"|?*\r\n\u202E") == name.npos &&
                      name.find(u'\0') == name.npos && tsasync::ToUtf8(name).size() <= 200 &&
                      (name.empty() || (name.front() != u'.' && name.back() != u'.' && name.back() != u' '));
    if (!safe) std::abort();
    tsasync::UrlNameParser again;  // a safe name is taken as it is
    again.SetUrl(u"\\\\h\\" + name);
    if (again.FileName() != name) std::abort();
    return 0;
}
