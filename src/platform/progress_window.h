#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// The window of the progress dialog, as its form sees it: named controls, and nothing of what they mean.
namespace tsasync::platform {

enum class ProgressControl : std::uint8_t {
    Animation,
    Saving,
    AssetName,
    Progress,
    Estimated,
    TimeLeft,
    Download,
    Dest,
    Transfer,
    Rate,
    Cancel,
};

// A control's place in twips, 15 to the pixel at 96 dots per inch, and the number of the text that becomes
// its caption when the dialog is loaded (0 none). LayOutDialog gives more room to what needs it.
struct ProgressPlace {
    ProgressControl control;
    std::int32_t left;
    std::int32_t top;
    std::int32_t width;
    std::int32_t height;
    std::int32_t tag;
};

inline constexpr std::int32_t kTwipsPerPixel = 15;
inline constexpr std::int32_t kProgressClientWidth = 5856;
inline constexpr std::int32_t kProgressClientHeight = 3156;
inline constexpr std::u16string_view kProgressDesignTitle = u"Asset Download";

// The dialog's control list, top to bottom.
inline constexpr std::array<ProgressPlace, 11> kProgressLayout{{
    {ProgressControl::Animation, 168, 168, 5520, 768, 0},
    {ProgressControl::Saving, 168, 1008, 1272, 264, 101},
    {ProgressControl::AssetName, 168, 1260, 5556, 264, 0},
    {ProgressControl::Progress, 168, 1512, 5556, 200, 0},
    {ProgressControl::Estimated, 168, 1764, 2196, 264, 102},
    {ProgressControl::TimeLeft, 2520, 1764, 3204, 264, 0},
    {ProgressControl::Download, 168, 2016, 2196, 264, 103},
    {ProgressControl::Dest, 2100, 2016, 3624, 264, 0},
    {ProgressControl::Transfer, 168, 2268, 2196, 264, 104},
    {ProgressControl::Rate, 2100, 2268, 3624, 264, 0},
    {ProgressControl::Cancel, 4536, 2688, 1188, 348, 105},
}};

struct ScreenDepth {
    std::int32_t bitsPerPixel;  // of one plane
    std::int32_t planes;
};

enum class ClipSource : std::uint8_t {
    Component,  // the component's own clips, 101 and 102
    System,     // the system's, where it has any
};

// What the user does to the window. Called from its message loop only. A receiver that throws does no harm to
// the window, which writes the error to the application log and goes on.
class IProgressWindowEvents {
  public:
    // The Cancel button was pressed. The window stays until it is unloaded.
    virtual void CancelPressed() = 0;
    // The user closes the window by its own close command: close box, window menu or keyboard. The window
    // is unloaded next, whatever the receiver does.
    virtual void CloseRequested() = 0;

  protected:
    ~IProgressWindowEvents() = default;
};

// One window. Hidden until ShowModal; its title is kProgressDesignTitle until it is given one. An operation
// may throw AutomationError where the system refuses it.
class ProgressWindow {
  public:
    virtual ~ProgressWindow() = default;

    virtual void SetTitle(std::u16string_view title) = 0;
    virtual void SetCaption(ProgressControl control, std::u16string_view caption) = 0;
    virtual void SetTooltip(ProgressControl control, std::u16string_view tooltip) = 0;
    virtual void SetProgress(float value) = 0;  // 0 to 100
    virtual void OpenClip(ClipSource source, std::int32_t number) = 0;

    // Widths in pixels at the window's scale: of a control, and of the window with its frame.
    virtual double ControlWidth(ProgressControl control) const = 0;
    virtual double OuterWidth() const = 0;
    // `path` shortened to `width` pixels in the window's font, characters in its middle replaced by "..." and
    // as much as possible of its last part kept; nothing when it fits as it is.
    virtual std::optional<std::u16string> FitPath(std::u16string_view path, std::int32_t width) const = 0;
    virtual ScreenDepth ScreenColors() const = 0;

    // For windows that no user can close: the next ShowModal also ends, and unloads the window, when
    // `isRunning` does not hold after an event.
    virtual void EndUnless(const std::function<bool()>& /*isRunning*/) {}
    // Shows the window and returns when it is unloaded, at once when it already is. The thread's events go on
    // being delivered meanwhile.
    virtual void ShowModal() = 0;
    virtual void Refresh() = 0;
    // Takes the window from the screen and ends ShowModal. Later operations change nothing that is seen.
    virtual void Unload() = 0;
};

// The kind of window that fits the process at this moment. `events` is not owned and outlives the window.
std::unique_ptr<ProgressWindow> CreateProgressWindow(IProgressWindowEvents& events);

}  // namespace tsasync::platform
