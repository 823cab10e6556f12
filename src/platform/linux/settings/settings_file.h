#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The text of the settings file. It is edited line by line: what a person wrote beside the settings
// (comments, blank lines, order) and every line that can't be understood stays as it is and where it is.
//
//     # a comment
//     [CurrentUser/Software/Corvane/Quillmark/Assets]
//     Location=/home/ada/Assets
//     @=the key's default value
//
// "\\", "\n", "\r", "\t" and "\uXXXX" (a UTF-16 unit) stand for characters that can't stand for themselves.
// Names compare without regard to letter case. Of a value given twice the first counts. A key exists when it
// or a key below it has a heading.
namespace tsasync::platform {

class SettingsFile {
  public:
    // Any bytes are accepted.
    explicit SettingsFile(std::string_view text);

    std::string Text() const;

    // `key` is the list of names from the root on. A value name "" is the default value.
    std::optional<std::u16string> Read(const std::vector<std::u16string>& key,
                                       std::u16string_view name) const;
    void Write(const std::vector<std::u16string>& key, std::u16string_view name, std::u16string_view text);
    bool DeleteValue(const std::vector<std::u16string>& key, std::u16string_view name);
    bool Exists(const std::vector<std::u16string>& key) const;
    // False when the key does not exist or has keys below it. A parent that existed for this key alone stays
    // if asked for.
    bool DeleteKey(const std::vector<std::u16string>& key, bool parentStays);

  private:
    enum class Kind { Other, Heading, Value };

    struct Line {
        std::string raw;  // without its line end
        Kind kind = Kind::Other;
        std::string key;      // folded, of the heading or of the heading above
        std::string name;     // folded, of a value
        std::u16string text;  // of a value
    };

    static Line Parse(std::string_view raw, const std::string& currentKey);
    bool HasKey(const std::string& folded) const;
    bool HasKeyBelow(const std::string& folded) const;
    std::size_t AddHeading(const std::vector<std::u16string>& key);

    std::vector<Line> m_lines;
};

}  // namespace tsasync::platform
