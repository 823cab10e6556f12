// Writes the first inputs of the version resource's fuzzer into the folder given.
#include "tests/files/executable_builder.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace tsasync::executables;  // NOLINT(google-build-using-namespace)

VersionParts Full(std::uint16_t codePage, const char16_t* table) {
    VersionParts parts;
    parts.translations = {{0x0409, codePage}, {0x0407, codePage}};
    parts.table = table;
    parts.strings = {{u"CompanyName", u"Company \u00E4"}, {u"Empty", u""}, {u"ProductVersion", u"1.2.3"}};
    return parts;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("make_version_resource_corpus FOLDER\n", stderr);
        return 2;
    }
    VersionParts bare;
    bare.fixed.reset();
    bare.translations.clear();
    const std::pair<const char*, std::string> inputs[] = {
        {"pe32", Pe32(WideBlock(Full(1200, u"040904B0")))},
        {"pe32plus", Pe32Plus(WideBlock(Full(1200, u"040904B0")))},
        {"pe32-narrow", Pe32(NarrowBlock(Full(1251, u"040904E3")))},
        {"pe32-bare", Pe32(WideBlock(bare))},
        {"ne", Ne(NarrowBlock(Full(1252, u"040904E4")))},
        {"ne-wide", Ne(WideBlock(Full(1200, u"040904B0")))},
        {"dos", Ne("").substr(0, 64)},
    };
    for (const auto& [name, content] : inputs) {
        std::ofstream file(std::filesystem::path(argv[1]) / name, std::ios::binary);
        if (!(file << content).flush()) {
            std::fprintf(stderr, "can't write %s\n", name);
            return 1;
        }
    }
    return 0;
}
