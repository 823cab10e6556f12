#pragma once

#include "platform/progress_window.h"

#include <array>

// Where the controls of the progress dialog go: the one rule for the windows of all systems.
namespace tsasync::platform {

// A caption and the value that stands behind it on the same line.
struct DialogPair {
    ProgressControl caption;
    ProgressControl value;
};

inline constexpr std::array<DialogPair, 3> kDialogPairs{{
    {ProgressControl::Estimated, ProgressControl::TimeLeft},
    {ProgressControl::Download, ProgressControl::Dest},
    {ProgressControl::Transfer, ProgressControl::Rate},
}};

struct DialogSize {
    int width = 0;
    int height = 0;
    bool operator==(const DialogSize&) const = default;
};

struct DialogRectangle {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    bool operator==(const DialogRectangle&) const = default;
};

// One for each control, in the order of ProgressControl.
template <typename Value>
using PerControl = std::array<Value, kProgressLayout.size()>;

// What a window has measured. All lengths are its pixels.
struct DialogSizes {
    int dotsPerInch = 96;
    int width = 0;   // of the client area so far: it never shrinks
    int widest = 0;  // that the screen has room for; the layout's own width is always taken

    // What each control needs to show its text whole, 0 where it takes what it is given.
    PerControl<DialogSize> needs{};
};

struct DialogLayout {
    DialogSize client;
    PerControl<DialogRectangle> places{};
};

// The layout's places, with more room where a text needs it. A value begins behind a caption that is longer
// than its own place, rows come down below higher ones, and the window widens until no text is cut; for a
// name or a path, which may have any length, to twice the layout's width and no more.
DialogLayout LayOutDialog(const DialogSizes& sizes);

}  // namespace tsasync::platform
