// qmctl: the tool for people who own a target.

#include "command_line.hpp"
#include "opened_report.hpp"
#include "text.hpp"

#include <cstdio>
#include <exception>

namespace {

bool print(const std::string& text)
{
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

int run(int argc, const char* const* argv)
{
    using namespace qmctl;
    const Request request = parse(argc, argv);
    if (request.command == nullptr) return print(request.text) ? kDone : kFailed;
    const Command& command = *request.command;
    if (request.arguments.has("--from")) {
        if (!command.readsOnly)
            throw usage("'" + command.name() +
                        "' needs the machine itself; a report answers what only looks");
        openReport(request.arguments.text("--from"));
    }
    const Outcome outcome = command.run(request.arguments);
    const bool written = print(request.arguments.has("--json") ? jsonText(outcome.value, 2) + '\n'
                                                               : command.show(outcome.value, lookOfOutput()));
    if (!written) throw Failure("cannot write to standard output");
    return outcome.status;
}

}  // namespace

int main(int argc, char** argv)
try {
    return run(argc, argv);
} catch (const qmctl::Failure& failure) {
    (void)std::fprintf(stderr, "qmctl: %s\n", qmctl::printable(failure.what()).c_str());
    return failure.status;
} catch (const std::exception& error) {
    (void)std::fprintf(stderr, "qmctl: %s\n", qmctl::printable(error.what()).c_str());
    return qmctl::kFailed;
}
