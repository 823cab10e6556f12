#pragma once

#include <string>
#include <string_view>

namespace tsasync {

// The form in which collection keys are compared: letter case is folded, everything else counts.
std::u16string FoldKey(std::u16string_view key);

}  // namespace tsasync
