#include "ask.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace qmctl {

std::vector<Option> deletingOptions()
{
    return {{"--yes", Kind::flag, "", "Do not ask"},
            {"--dry-run", Kind::flag, "", "Only say what would be deleted"}};
}

void askBefore(const std::string& deed, const Arguments& arguments)
{
    if (arguments.has("--yes")) return;
    if (isatty(STDIN_FILENO) == 0)
        throw usage(fmt::format("nobody can be asked whether to {}; say --yes", deed));
    (void)std::fprintf(stderr, "Really %s? [y/N] ", deed.c_str());
    std::string answer;
    if (!std::getline(std::cin, answer)) (void)std::fputc('\n', stderr);  // ended by Ctrl-D
    if (answer != "y" && answer != "yes") throw Failure("nothing was deleted, as you said");
}

}  // namespace qmctl
