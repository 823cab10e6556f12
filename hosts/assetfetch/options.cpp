#include "options.h"

#include "text.h"

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

namespace assetfetch {

namespace {

const char* const kFooter =
    "Without --assets the files go to the Location in the component's settings, else to the\n"
    "folder \"Quillmark Assets\" among the user's documents.\n"
    "FILE holds one URL a line; blank lines and lines that begin with # are skipped.\n"
    "A failed transfer is tried again after three minutes, ten times in all.\n"
    "\n"
    "Exit status: 0 every file arrived, 1 one did not, 2 wrong usage, unreadable input or\n"
    "an unusable folder (nothing was fetched), 130 ended by Ctrl-C.";

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // some editors begin a UTF-8 file with it

std::string Reason(int error) { return std::generic_category().message(error); }

std::string Trim(const std::string& line) {
    static constexpr const char* kBlanks = " \t\r\n\v\f";
    const auto first = line.find_first_not_of(kBlanks);
    return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

void ReadUrls(std::istream& input, const std::string& name, std::vector<std::string>& urls) {
    std::string line;
    errno = 0;
    for (bool first = true; std::getline(input, line); first = false) {
        if (first && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
        const std::string url = Trim(line);
        if (!url.empty() && url.front() != '#') urls.push_back(url);
    }
    if (input.bad()) throw UsageError("can't read " + Printable(name) + ": " + Reason(errno));
}

void ReadInput(const std::string& path, std::vector<std::string>& urls) {
    if (path == "-") return ReadUrls(std::cin, "standard input", urls);
    errno = 0;
    std::ifstream file(path);
    if (!file) throw UsageError("can't read " + Printable(path) + ": " + Reason(errno));
    if (std::filesystem::is_directory(path))
        throw UsageError("can't read " + Printable(path) + ": " + Reason(EISDIR));
    ReadUrls(file, path, urls);
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
    Options options;
    std::string input;
    CLI::App app("Fetches each URL into a file of the assets folder.", "assetfetch");
    app.footer(kFooter);
    app.add_option("URL", options.urls, "what to fetch (http, https, ftp, file)")->option_text("...");
    app.add_option("--assets", options.assets, "the folder for the files; made when missing")
        ->type_name("DIR");
    app.add_option("--input", input, "more URLs from a file, or from standard input for -")
        ->type_name("FILE");
    app.add_flag("--no-retry", options.noRetry, "give a file up when it failed once");
    app.add_flag("--quiet", options.quiet, "write nothing but errors");
    app.add_flag("--json", options.json, "write one JSON object per event");
    app.add_flag("--force", options.force, "one after the other, each at once and behind a progress dialog");
    app.add_option("--lang", options.language,
                   "language of the dialog, as a Windows number (1031 or 0x407: German)")
        ->type_name("ID");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return {};
    } catch (const CLI::ParseError& error) {
        throw UsageError(Printable(error.what()));
    }
    if (options.quiet && options.json) throw UsageError("--quiet excludes --json");
    if (app.count("--assets") != 0 && options.assets.empty())
        throw UsageError("--assets: the folder has no name");
    if (options.urls.empty() && app.count("--input") == 0) throw UsageError("no URL given");
    if (app.count("--input") != 0) ReadInput(input, options.urls);
    return options;
}

std::string PrepareFolder(const std::string& path) {
    const std::string shown = "assets folder " + Printable(path) + ": ";
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::absolute(path, error).lexically_normal();
    if (error) throw UsageError(shown + error.message());
    // The component takes the name as text and cuts blanks off its ends.
    if (folder.native().ends_with(' ')) throw UsageError(shown + "a name that ends in a blank can't be used");
    std::filesystem::create_directories(folder, error);
    if (error) throw UsageError(shown + "can't be made: " + error.message());
    if (!std::filesystem::is_directory(folder, error)) throw UsageError(shown + Reason(ENOTDIR));
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw UsageError(shown + "can't be written: " + Reason(errno));
    return folder.string();
}

}  // namespace assetfetch
