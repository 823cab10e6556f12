#include "platform/version_resource.h"

#include "platform/linux/files/executable_file.h"
#include "platform/linux/files/little_endian.h"
#include "platform/linux/files/native_path.h"
#include "platform/locale.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <span>
#include <utility>

namespace tsasync::platform {

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::uint32_t kFixedSignature = 0xFEEF04BD;
constexpr std::size_t kFixedSize = 52;
constexpr std::uint16_t kLatin = 1252;
constexpr std::uint16_t kUnicode = 1200;

// A node of the resource: a length, the length of its value, a key, the value, then nodes below it, each on a
// multiple of four bytes from the start. 16-bit files have it in bytes; 32-bit files have texts in UTF-16 and
// a word before the key that tells whether the value is a text, whose length is then in characters.
struct Node {
    std::size_t end = 0;
    std::size_t value = 0;
    std::size_t valueSize = 0;  // as stored: for texts not always what it should be
    std::size_t children = 0;
    std::u16string key;
};

class Tree {
  public:
    explicit Tree(Bytes block) : m_block(block), m_wide(U16(block, 4) <= 1) {}

    bool Wide() const { return m_wide; }

    std::optional<Node> Find(std::initializer_list<std::u16string_view> path) const {
        auto node = NodeAt(0, m_block.size());
        for (const auto key : path) {
            if (!node) return std::nullopt;
            node = Child(*node, key);
        }
        return node;
    }

    Bytes ValueOf(const Node& node) const {
        return m_block.subspan(node.value, std::min(node.valueSize, node.end - node.value));
    }

    // From the value on to the end of the node.
    Bytes TextOf(const Node& node) const { return m_block.subspan(node.value, node.end - node.value); }

  private:
    static std::size_t Aligned(std::size_t offset) { return (offset + 3) & ~std::size_t{3}; }

    // The node at `offset`; its end is never behind `limit`.
    std::optional<Node> NodeAt(std::size_t offset, std::size_t limit) const {
        const std::size_t header = m_wide ? 6 : 4;
        const std::size_t unit = m_wide ? 2 : 1;
        const std::size_t length = U16(m_block, offset);
        if (length < header || limit - offset < header) return std::nullopt;
        Node node;
        node.end = std::min(offset + length, limit);
        std::size_t at = offset + header;
        for (;; at += unit) {
            if (node.end < at + unit) return std::nullopt;  // no end of the key
            const char16_t letter = m_wide ? U16(m_block, at) : std::to_integer<char16_t>(m_block[at]);
            if (letter == 0) break;
            node.key += letter;
        }
        const bool text = m_wide && U16(m_block, offset + 4) == 1;
        node.value = std::min(Aligned(at + unit), node.end);
        node.valueSize = std::size_t{U16(m_block, offset + 2)} * (text ? 2 : 1);
        node.children = Aligned(node.value + node.valueSize);
        return node;
    }

    std::optional<Node> Child(const Node& parent, std::u16string_view key) const {
        for (std::size_t at = parent.children; at < parent.end;) {
            auto node = NodeAt(at, parent.end);
            if (!node) return std::nullopt;
            if (SameKey(node->key, key)) return node;
            at = Aligned(node->end);
        }
        return std::nullopt;
    }

    static bool SameKey(std::u16string_view a, std::u16string_view b) {
        const auto fold = [](char16_t c) { return c >= u'A' && c <= u'Z' ? c + (u'a' - u'A') : int{c}; };
        return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                          [&](char16_t x, char16_t y) { return fold(x) == fold(y); });
    }

    Bytes m_block;
    bool m_wide;
};

std::u16string WideText(Bytes bytes) {
    std::u16string text;
    for (std::size_t at = 0; at + 2 <= bytes.size() && U16(bytes, at) != 0; at += 2)
        text += static_cast<char16_t>(U16(bytes, at));
    return text;
}

std::u16string NarrowText(Bytes bytes, std::uint16_t codePage) {
    const auto* const end = std::find(bytes.begin(), bytes.end(), std::byte{0}).base();
    const auto* const data = reinterpret_cast<const char*>(bytes.data());
    const auto size = static_cast<std::int32_t>(end - bytes.data());
    for (const std::uint16_t page : {codePage, kLatin}) {
        if (page == 0 || page == kUnicode) continue;  // not what an 8-bit text can be in
        const std::string name = "windows-" + std::to_string(page);
        const icu::UnicodeString text(data, size, name.c_str());
        if (!text.isBogus() && (!text.isEmpty() || size == 0)) {
            return {text.getBuffer(), static_cast<std::size_t>(text.length())};
        }
    }
    return {};
}

std::u16string TableKey(Translation translation) {
    char key[9];
    std::snprintf(key, sizeof key, "%04X%04X", translation.language, translation.codePage);
    return {key, key + 8};
}

}  // namespace

std::optional<VersionResource> VersionResource::Read(std::u16string_view path) {
    const auto native = ToNativePath(path);
    if (!native) return std::nullopt;
    VersionResource resource;
    resource.m_block = ReadVersionBlock(native->Text(), static_cast<std::uint16_t>(UserDefaultLanguage()));
    if (resource.m_block.empty()) return std::nullopt;
    return resource;
}

std::optional<FixedVersion> VersionResource::Fixed() const {
    const Tree tree(m_block);
    const auto root = tree.Find({});
    if (!root) return std::nullopt;
    const Bytes value = tree.ValueOf(*root);
    if (value.size() < kFixedSize || U32(value, 0) != kFixedSignature) return std::nullopt;
    FixedVersion fixed;
    fixed.structureVersion = U32(value, 4);
    fixed.fileVersionHigh = U32(value, 8);
    fixed.fileVersionLow = U32(value, 12);
    fixed.productVersionHigh = U32(value, 16);
    fixed.productVersionLow = U32(value, 20);
    fixed.fileFlags = U32(value, 28);
    fixed.fileOS = U32(value, 32);
    fixed.fileType = U32(value, 36);
    fixed.fileSubtype = U32(value, 40);
    return fixed;
}

std::optional<Translation> VersionResource::FirstTranslation() const {
    const Tree tree(m_block);
    const auto node = tree.Find({u"VarFileInfo", u"Translation"});
    if (!node) return std::nullopt;
    const Bytes value = tree.ValueOf(*node);
    if (value.size() < 4) return std::nullopt;
    return Translation{U16(value, 0), U16(value, 2)};
}

std::optional<std::u16string> VersionResource::String(Translation translation,
                                                      std::u16string_view name) const {
    const Tree tree(m_block);
    const auto node = tree.Find({u"StringFileInfo", TableKey(translation), name});
    if (!node || node->valueSize == 0) return std::nullopt;
    const Bytes text = tree.TextOf(*node);
    return tree.Wide() ? WideText(text) : NarrowText(text, translation.codePage);
}

}  // namespace tsasync::platform
