#pragma once

#include <windows.h>

// The linker's name for the start of the image that this code is part of.
extern "C" const IMAGE_DOS_HEADER __ImageBase;

namespace tsasync::platform {

// The module that holds this code and the component's resources: the DLL, or the program that the code is
// linked into.
inline HINSTANCE OwnModule() {
    return reinterpret_cast<HINSTANCE>(const_cast<IMAGE_DOS_HEADER*>(&__ImageBase));
}

}  // namespace tsasync::platform
