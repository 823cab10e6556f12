// Entering and leaving the object model, counted per thread. Nothing here depends on it: objects are used on
// the thread that made them, whether or not that thread has said so.
#include "tsasync/com.h"

namespace {

struct Apartment {
    ULONG entered = 0;
    DWORD model = COINIT_MULTITHREADED;
};

thread_local Apartment t_apartment;

}  // namespace

HRESULT CoInitialize(void* reserved) { return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED); }

HRESULT CoInitializeEx(void* reserved, DWORD model) {
    if (reserved != nullptr) return E_INVALIDARG;
    const DWORD wanted = model & COINIT_APARTMENTTHREADED;
    if (t_apartment.entered > 0 && t_apartment.model != wanted) return RPC_E_CHANGED_MODE;
    t_apartment.model = wanted;
    return ++t_apartment.entered == 1 ? S_OK : S_FALSE;
}

void CoUninitialize() {
    if (t_apartment.entered > 0) --t_apartment.entered;
}
