#pragma once

// A settings store in memory, one per thread; platform/settings_store.h reads and writes it.
namespace tsasync::testplatform {

void ClearSettings();
// Whether the store refuses every write and deletion from now on.
void RefuseSettingWrites(bool refuse);

}  // namespace tsasync::testplatform
