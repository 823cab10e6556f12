#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Text for people. All of it is UTF-8.
namespace assetfetch {

// `text` as valid UTF-8 without control characters, so that nothing from outside steers the terminal.
std::string Printable(std::string_view text);
// The columns that printable `text` takes on a terminal.
int Columns(std::string_view text);
// Printable `text` in exactly `columns`: padded with blanks, or cut in the middle with "…".
std::string Fit(std::string_view text, int columns);

std::string SizeText(std::int64_t bytes);        // "512 B", "1.4 MB"
std::string DurationText(std::int64_t seconds);  // "0:07", "1:02:03"
// The time of day of an automation date: "14:03:10".
std::string TimeOfDayText(double date);

// The last segment of the URL's path, decoded; the URL itself where that is empty. Printable.
std::string DisplayName(const std::string& url);
// Why `url` can't be fetched at all; empty when it may be tried.
std::string UrlFault(const std::string& url);

}  // namespace assetfetch
