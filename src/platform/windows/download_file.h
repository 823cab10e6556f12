#pragma once

#include <windows.h>

#include <string>

namespace tsasync::platform {

// Creates an empty file of its own for the data of a read, in a private folder of the user's temporary files,
// and opens it for writing. INVALID_HANDLE_VALUE, and the reason in GetLastError, when there can be none.
HANDLE CreateDownloadFile(std::u16string& path);

// Deletes what reads left in that folder more than seven days ago.
void SweepDownloadFiles();

}  // namespace tsasync::platform
