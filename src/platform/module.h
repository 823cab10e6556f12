#pragma once

#include <string>

// The file that this code was loaded from.
namespace tsasync::platform {

// The full path of the component's file. Empty when the system can't tell.
std::u16string ModulePath();

}  // namespace tsasync::platform
