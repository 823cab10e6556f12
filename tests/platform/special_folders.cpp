#include "tests/platform/special_folders.h"

#include "platform/special_folders.h"

#include <map>

namespace tsasync {

namespace {

thread_local std::map<std::int32_t, std::u16string> g_folders{{5, u"C:\\Users\\me\\Documents"}};

}  // namespace

std::u16string platform::SpecialFolder(std::int32_t number) {
    const auto folder = g_folders.find(number);
    return folder == g_folders.end() ? std::u16string() : folder->second;
}

void testplatform::SetSpecialFolder(std::int32_t number, std::u16string_view path) {
    g_folders[number] = path;
}

}  // namespace tsasync
