#pragma once

#include <string_view>

// What the beginning of a file's content tells. It may be anything.
namespace tsasync::platform::reader {

// The type of content that is plainly a picture, sound, film, font, PDF or HTML page; empty of others.
std::string_view PlainType(std::string_view start);

// The type of an archive or a document of another kind; empty of others.
std::string_view OtherType(std::string_view start);

// Whether it is text: UTF-8, another character set that extends ASCII, or UTF-16 that says so.
bool IsText(std::string_view start);

}  // namespace tsasync::platform::reader
