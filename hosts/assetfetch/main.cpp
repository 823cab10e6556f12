// assetfetch: fetches URLs into a folder, through the component's published object model only.

#include "fetch.h"
#include "options.h"
#include "text.h"
#include "view.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    try {
        const auto options = assetfetch::ParseOptions(argc, argv);
        if (!options) return std::fflush(stdout) == 0 ? 0 : 1;
        return assetfetch::Fetch(*options).Run();
    } catch (const assetfetch::UsageError& error) {
        assetfetch::PrintMessage(error.what());
        std::fputs("assetfetch --help lists the options\n", stderr);
        return 2;
    } catch (const std::exception& error) {
        assetfetch::PrintMessage(error.what());
        return 1;
    }
}
