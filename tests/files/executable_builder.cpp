#include "tests/files/executable_builder.h"

#include <cstdint>

namespace tsasync::executables {

namespace {

void Put(std::string& bytes, std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i, value >>= 8) bytes += static_cast<char>(value & 0xFF);
}

void PutAt(std::string& bytes, std::size_t offset, std::uint64_t value, int size) {
    std::string number;
    Put(number, value, size);
    bytes.replace(offset, number.size(), number);
}

void Pad(std::string& bytes, std::size_t to) {
    while (bytes.size() % to != 0) bytes += '\0';
}

// One format's nodes.
struct Format {
    bool wide;

    std::string Text(const std::u16string& text) const {
        std::string bytes;
        for (const char16_t unit : text) Put(bytes, unit, wide ? 2 : 1);
        Put(bytes, 0, wide ? 2 : 1);
        return bytes;
    }

    std::string Node(const std::u16string& key, bool isText, const std::string& value,
                     const std::vector<std::string>& children) const {
        std::string node;
        Put(node, 0, 2);
        Put(node, wide && isText ? value.size() / 2 : value.size(), 2);
        if (wide) Put(node, isText ? 1 : 0, 2);
        node += Text(key);
        Pad(node, 4);
        node += value;
        for (const auto& child : children) {
            Pad(node, 4);
            node += child;
        }
        PutAt(node, 0, node.size(), 2);
        return node;
    }

    std::string Block(const VersionParts& parts) const {
        std::vector<std::string> strings;
        for (const auto& [name, text] : parts.strings) strings.push_back(Node(name, true, Text(text), {}));
        std::string translations;
        for (const auto& translation : parts.translations) {
            Put(translations, translation.language, 2);
            Put(translations, translation.codePage, 2);
        }
        std::vector<std::string> infos{
            Node(u"StringFileInfo", true, {}, {Node(parts.table, true, {}, strings)}),
            Node(u"VarFileInfo", true, {}, {Node(u"Translation", false, translations, {})}),
        };
        if (parts.translations.empty()) infos.pop_back();
        return Node(u"VS_VERSION_INFO", false, parts.fixed ? Fixed(*parts.fixed) : std::string(), infos);
    }

    static std::string Fixed(const platform::FixedVersion& fixed) {
        std::string bytes;
        for (const std::uint32_t word :
             {std::uint32_t{0xFEEF04BD}, fixed.structureVersion, fixed.fileVersionHigh, fixed.fileVersionLow,
              fixed.productVersionHigh, fixed.productVersionLow, std::uint32_t{0x3F}, fixed.fileFlags,
              fixed.fileOS, fixed.fileType, fixed.fileSubtype, std::uint32_t{0}, std::uint32_t{0}}) {
            Put(bytes, word, 4);
        }
        return bytes;
    }
};

constexpr std::size_t kDosHeader = 64;

std::string DosHeader() {
    std::string bytes = "MZ";
    bytes.resize(kDosHeader);
    PutAt(bytes, 0x3C, kDosHeader, 4);
    return bytes;
}

using Blocks = std::vector<std::pair<std::uint16_t, std::string>>;

void PutDirectory(std::string& bytes, std::size_t entries) {
    Put(bytes, 0, 12);
    Put(bytes, 0, 2);
    Put(bytes, entries, 2);
}

// Three levels of directories (type, name, language), what their leaves describe, and that itself; at
// `address`.
std::string Resources(std::uint32_t address, const Blocks& blocks) {
    std::string bytes;
    for (const std::uint32_t id : {16U, 1U}) {
        PutDirectory(bytes, 1);
        Put(bytes, id, 4);
        Put(bytes, (bytes.size() + 4) | 0x80000000, 4);
    }
    PutDirectory(bytes, blocks.size());
    constexpr std::size_t kEntry = 8;
    constexpr std::size_t kLeaf = 16;
    const std::size_t leaves = bytes.size() + blocks.size() * kEntry;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        Put(bytes, blocks[i].first, 4);
        Put(bytes, leaves + i * kLeaf, 4);
    }
    std::string data;
    for (const auto& [language, block] : blocks) {
        Put(bytes, address + leaves + blocks.size() * kLeaf + data.size(), 4);
        Put(bytes, block.size(), 4);
        Put(bytes, 0, 8);
        data += block;
        Pad(data, 4);
    }
    return bytes + data;
}

std::string Pe(const Blocks& blocks, bool plus) {
    constexpr std::uint32_t kAlignment = 0x200;
    constexpr std::uint32_t kSection = 0x1000;
    const std::string data = Resources(kSection, blocks);
    const std::size_t directories = plus ? 112 : 96;
    std::string optional(directories + 16 * 8, '\0');
    PutAt(optional, 0, plus ? 0x20B : 0x10B, 2);
    PutAt(optional, plus ? 24 : 28, 0x400000, plus ? 8 : 4);
    PutAt(optional, 32, kSection, 4);
    PutAt(optional, 36, kAlignment, 4);
    PutAt(optional, 48, 4, 2);  // subsystem version
    PutAt(optional, 56, kSection * 2, 4);
    PutAt(optional, 60, kAlignment, 4);
    PutAt(optional, 68, 2, 2);
    PutAt(optional, directories - 4, 16, 4);
    PutAt(optional, directories + 16, kSection, 4);
    PutAt(optional, directories + 20, data.size(), 4);

    std::string file = DosHeader();
    file.append("PE\0\0", 4);
    Put(file, plus ? 0x8664 : 0x14C, 2);
    Put(file, 1, 2);
    Put(file, 0, 12);
    Put(file, optional.size(), 2);
    Put(file, 0x2102, 2);
    file += optional;
    file.append(".rsrc\0\0\0", 8);
    Put(file, data.size(), 4);
    Put(file, kSection, 4);
    Put(file, (data.size() + kAlignment - 1) / kAlignment * kAlignment, 4);
    Put(file, kAlignment, 4);
    Put(file, 0, 12);
    Put(file, 0x40000040, 4);
    Pad(file, kAlignment);
    file += data;
    Pad(file, kAlignment);
    return file;
}

}  // namespace

std::string WideBlock(const VersionParts& parts) { return Format{true}.Block(parts); }
std::string NarrowBlock(const VersionParts& parts) { return Format{false}.Block(parts); }

std::string Pe32(const std::string& block) { return Pe({{0x409, block}}, false); }
std::string Pe32Plus(const std::string& block) { return Pe({{0x409, block}}, true); }
std::string Pe32OfLanguages(const Blocks& blocks) { return Pe(blocks, false); }

std::string Ne(const std::string& block) {
    constexpr std::size_t kHeader = 64;
    constexpr unsigned kShift = 4;
    constexpr std::size_t kUnit = std::size_t{1} << kShift;
    std::string table;
    Put(table, kShift, 2);
    for (const unsigned type : {0x8006U, 0x8010U}) {  // another one comes first
        Put(table, type, 2);
        Put(table, 1, 2);
        Put(table, 0, 4);
        Put(table, 0, 12);
    }
    Put(table, 0, 3);

    std::string file = DosHeader() + "NE";
    file.resize(kDosHeader + kHeader);
    PutAt(file, kDosHeader + 0x24, kHeader, 2);
    PutAt(file, kDosHeader + 0x26, kHeader + table.size(), 2);
    const std::size_t entry = file.size() + 2 + 20 + 8;
    file += table;
    Pad(file, kUnit);
    PutAt(file, entry, file.size() >> kShift, 2);
    PutAt(file, entry + 2, (block.size() + kUnit - 1) >> kShift, 2);
    PutAt(file, entry + 6, 0x8001, 2);
    file += block;
    Pad(file, kUnit);
    return file;
}

}  // namespace tsasync::executables
