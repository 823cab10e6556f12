#pragma once

#include "platform/windows/base/handles.h"

#include <string>
#include <string_view>

namespace tsasync::platform {

// Where reads put their data if it is wanted in the folder `goal` (empty: anywhere): a folder of the user's
// temporary files, or if those are on another volume a hidden one beside the goal.
std::u16string DownloadFolder(std::u16string_view goal);

// Creates an empty file of its own for the data of a read in a download folder and opens it for writing.
// Takes that of the temporary files when the folder can't be made. None, and the reason in GetLastError, when
// there can be none.
FileHandle CreateDownloadFile(std::u16string_view folder, std::u16string& path);

// Deletes what reads left in a download folder more than seven days ago.
void SweepDownloadFiles(const std::u16string& folder);

// Removes a download folder that is empty. That of the temporary files stays.
void RemoveDownloadFolder(const std::u16string& folder);

}  // namespace tsasync::platform
