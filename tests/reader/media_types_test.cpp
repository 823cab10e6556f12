// What a file is said to be, and the extension that comes of it.
#include "platform/reader/media_types.h"

#include <gtest/gtest.h>

namespace tsasync::platform::reader {
namespace {

using namespace std::string_literals;

const std::string kBinary = "\1\2\0\xC0 binary"s;
const std::string kPng = "\x89PNG\r\n\x1a\n";
const std::string kNothing = "application/octet-stream";

TEST(MediaTypes, GiveAFileItsExtension) {
    const struct {
        std::string sent, name, content, extension;
    } rows[] = {
        // The server's word stands when it says something.
        {"image/png", "photo.jpg", "GIF89a", ".png"},
        {"application/x-unheard-of", "photo.jpg", kPng, ""},
        // Where it says nothing the extension stays, …
        {kNothing, "archive.zip", "PK\3\4", ".zip"},
        {kNothing, "src-1.2.tar.gz", "\x1f\x8b", ".gz"},
        {"", "src-1.2.tar.xz",
         "\xfd"
         "7zXZ",
         ".xz"},
        {"*/*", "src-1.2.tar.bz2", "BZh9", ".bz2"},
        {"binary/octet-stream", "src-1.2.tar.zst", kBinary, ".zst"},
        {"unknown/unknown", "fw.img", kBinary, ".img"},
        {"application/unknown", "tool.whl", "PK\3\4", ".whl"},
        {kNothing, "model.gguf", "GGUF", ".gguf"},
        {kNothing, "page.parquet", "PAR1", ".parquet"},
        {kNothing, "file1.bin", kBinary, ".bin"},
        {kNothing, "setup.EXE", "MZ", ".exe"},
        {kNothing, "data.json", "{}", ".json"},
        {kNothing, "lib.c++", kBinary, ".c++"},
        {kNothing, "release-1.2", kBinary, ".2"},
        {kNothing, "a%2E%67%69?x=.png#y.jpg", kBinary, ".gi"},
        {kNothing, "empty.xyz", "", ".xyz"},
        // … but for what is plainly something else.
        {kNothing, "picture.php", kPng, ".png"},
        {kNothing, "photo.jpeg", "\xff\xd8\xff\xe0", ".jpeg"},
        {kNothing, "photo.jpeg", kPng, ".png"},
        {kNothing, "raw.nef", "MM\0*"s, ".nef"},
        {kNothing, "song.opus", "OggS" + std::string(24, '\0') + "OpusHead", ".opus"},
        {kNothing, "drawing.ai", "%PDF-1.5", ".ai"},
        {kNothing, "error.gguf", "<!DOCTYPE html><title>", ".html"},
        {kNothing, "page.htm", "<html>", ".htm"},
        // Text stays text, of a kind that the extension names.
        {"text/plain", "invoice.pdf.exe", "hello", ".txt"},
        {"text/plain", "script.py", "print()", ".py"},
        {"text/plain", "notes.md", "# a", ".md"},
        {"text/plain", "data.json", "{}", ".json"},
        {"text/plain", "app.ts", "let a;", ".ts"},
        {"text/plain", "install.sh", "#!/bin/sh", ".sh"},
        {"text/plain", "drawing.svg", "<svg>", ".svg"},
        {"text/plain", "page.php", "<html>", ".php"},
        {"text/plain", "caf\xE9", "caf\xE9", ".txt"},
        {"text/plain", "a.zip",
         "\xff\xfe"
         "a\0b\0"s,
         ".txt"},
        {"text/plain", "model.gguf", kBinary, ".gguf"},
        {"text/plain", "picture", kPng, ".png"},
        {"text/plain", "data", kBinary, ""},
        // Without an extension the content decides.
        {"", "", "hello", ".txt"},
        {"", "utf16", "\xff\xfeh\0i\0"s, ".txt"},
        {"", "utf16", "\xfe\xff\0h\0i"s, ".txt"},
        {"", "binary", "\xff\xfe\0\0\1\0"s, ""},
        {"", "page", " \r\n<HTML>", ".html"},
        {"", "page", "\xef\xbb\xbf<!-- a -->\n<!-- b --><HtMl lang=x>", ".html"},
        {"", "drawing", "<?xml version='1.0'?><!-- a --><svg xmlns='x'>", ".svg"},
        {"", "document", "<?xml version='1.0'?><a/>", ".xml"},
        {"", "fonts", "ttcf\0\1\0\0"s, ".ttc"},
        {"", "font", "\0\1\0\0\0\x0c\0\x80\0\3\0\0DSIG.."s, ".ttf"},
        {"", "film",
         "\0\0\0\x18"
         "ftypisom"s,
         ".mp4"},
        {"", "film", "\x1a\x45\xdf\xa3\x9f\x42\x82\x84webm", ".webm"},
        {"", "song", "\xff\xfb\x90\x64", ".mp3"},
        {"", "archive", "PK\3\4", ".zip"},
        {"", ".png", kBinary, ""},
        {"", "Mr. Smith", kBinary, ""},
        {"", "dir/", kPng, ".png"},
    };
    for (const auto& row : rows) {
        const std::string type = EffectiveMediaType(row.sent, "http://h.example/" + row.name, row.content);
        EXPECT_EQ(ExtensionOfMediaType(type), row.extension) << row.sent << ", " << row.name << ": " << type;
    }
}

TEST(MediaTypes, AreToldByTheirNames) {
    EXPECT_EQ(EffectiveMediaType("", "http://h/archive.zip", kBinary), "application/zip");
    EXPECT_EQ(EffectiveMediaType("text/plain", "http://h/a.exe", "a"), "text/plain");
    EXPECT_EQ(EffectiveMediaType("", "http://h/a.gguf", kBinary), "application/x-extension-gguf");
    EXPECT_EQ(EffectiveMediaType("*/*", "http://h/a", kBinary), kNothing);
    EXPECT_EQ(EffectiveMediaType("a/b", "http://h/a.zip", kBinary), "a/b");
}

}  // namespace
}  // namespace tsasync::platform::reader
