#pragma once

#include <cstdint>
#include <string_view>

namespace tsasync::testplatform {

// The thread's special folder `number`; an empty path: there is none. At first only 5, the documents folder,
// is there: "C:\Users\me\Documents".
void SetSpecialFolder(std::int32_t number, std::u16string_view path);

}  // namespace tsasync::testplatform
