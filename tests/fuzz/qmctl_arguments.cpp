// qmctl's command line, its commands not run.

#include "command_line.hpp"
#include "input.hpp"

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
try {
    const auto words = qm::fuzz::texts<8>(data, size);
    std::vector<const char*> arguments{"qmctl"};
    for (const std::string& word : words)
        if (!word.empty()) arguments.push_back(word.c_str());
    const auto request = qmctl::parse(static_cast<int>(arguments.size()), arguments.data());
    if (request.command == nullptr) {
        qm::fuzz::require(!request.text.empty());
        return 0;
    }
    for (const auto& option : request.command->options)
        if ((option.kind == qmctl::Kind::number || option.kind == qmctl::Kind::whole) &&
            request.arguments.has(option.name)) {
            const double value = request.arguments.number(option.name);
            qm::fuzz::require(value >= option.least && value <= option.most);
        }
    return 0;
} catch (const qmctl::Failure& failure) {
    qm::fuzz::require(failure.status == qmctl::kUsage && *failure.what() != '\0');
    return 0;
}
