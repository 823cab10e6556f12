// Where there are no type libraries.
#include "com/TypeLibrary.h"

namespace tsasync::com {

bool HasTypeLibrary() { return false; }

bool RegisterTypeLibrary() { return true; }

bool UnregisterTypeLibrary() { return true; }

ITypeInfo* TypeDescription(REFGUID) { return nullptr; }

}  // namespace tsasync::com
