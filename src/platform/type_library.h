#pragma once

#include "tsasync/com.h"

// The type library in the component's file, through which hosts' compilers and script engines read the
// interfaces. Only Windows has type libraries.
namespace tsasync::platform {

bool HasTypeLibrary();

// Write and remove its registration. False when the system refuses; true where there is no type library.
bool RegisterTypeLibrary();
bool UnregisterTypeLibrary();

// The description of the interface or class `id`, counted for the caller; null when there is none.
ITypeInfo* TypeDescription(REFGUID id);

}  // namespace tsasync::platform
