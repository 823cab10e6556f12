#include "platform/type_library.h"

namespace tsasync::platform {

bool HasTypeLibrary() { return false; }

bool RegisterTypeLibrary() { return true; }

bool UnregisterTypeLibrary() { return true; }

ITypeInfo* TypeDescription(REFGUID) { return nullptr; }

}  // namespace tsasync::platform
