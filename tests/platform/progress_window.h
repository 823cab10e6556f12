#pragma once

#include "platform/progress_window.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync::testplatform {

// What the latest progress window of this thread was told, readable until the next one is made.
struct ProgressWindowRecord {
    std::map<platform::ProgressControl, std::u16string> captions;
    std::map<platform::ProgressControl, std::u16string> tooltips;
    std::u16string title{platform::kProgressDesignTitle};
    std::optional<float> progress;
    std::optional<platform::ClipSource> clipSource;
    std::int32_t clip = 0;
    std::int32_t fitWidth = 0;  // of the last path that was fitted
    int refreshes = 0;
    int shows = 0;
    bool unloaded = false;
};

// How the windows of this thread behave. Reset by ResetProgressWindows.
struct ProgressWindowScript {
    // Runs inside the modal show, in place of the user and of the message loop: again and again until it
    // returns false or the window is unloaded. A window that is left then is a failure of the test.
    std::function<bool()> whileShown;
    // Shortens paths; nothing fits without it.
    std::function<std::optional<std::u16string>(std::u16string_view path, std::int32_t width)> fitPath;
    double outerWidth = 400;
    platform::ScreenDepth colors{24, 1};
    bool userCanClose = true;
    std::int32_t loadError = 0;     // creating a window throws this number
    std::int32_t captionError = 0;  // so does setting a caption
};

ProgressWindowScript& ProgressWindows();
void ResetProgressWindows();
const ProgressWindowRecord& LastProgressWindow();
int LiveProgressWindows();

// What the user does to the live window of this thread. An error of the receiver is thrown on to the test.
void PressCancel();
void CloseProgressWindow();

}  // namespace tsasync::testplatform
