#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace assetfetch {

struct Options {
    std::string assets;             // folder for the files; empty: the component's own choice
    std::vector<std::string> urls;  // of the command line and of the input, in this order
    bool noRetry = false;           // a job that failed once is given up
    bool quiet = false;             // nothing but errors is written
    bool json = false;              // one JSON object per event
    bool force = false;             // one file after the other, each behind the progress dialog
    std::optional<int> language;    // a Windows language identifier for the dialog
};

// Nothing can be fetched with what the user gave. `what` is one line that names the culprit.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The options of the command line, with the URLs of the input read. Nothing when the user asked for help,
// which has been printed. Throws UsageError.
std::optional<Options> ParseOptions(int argc, char** argv);

// Makes the folder `path`, which must then take files; gives its absolute path. Throws UsageError.
std::string PrepareFolder(const std::string& path);

}  // namespace assetfetch
