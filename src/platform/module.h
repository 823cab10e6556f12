#pragma once

#include "tsasync/com.h"

#include <string>

// The file that this code was loaded from, and the type library in it, through which hosts' compilers and
// script engines read the interfaces. Only Windows has type libraries.
namespace tsasync::platform {

// The full path of the component's file. Empty when the system can't tell.
std::u16string ModulePath();

bool HasTypeLibrary();
// Write and remove the registration of the type library. False when the system refuses; true where there is
// no type library.
bool RegisterTypeLibrary();
bool UnregisterTypeLibrary();
// The description of the interface `id`, counted for the caller; null when there is none.
ITypeInfo* InterfaceDescription(REFGUID id);

}  // namespace tsasync::platform
