#include "nouns.hpp"

#include <iterator>

namespace qmctl {

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = [] {
        std::vector<Command> rows;
        for (auto* const noun : {doctorCommands, targetCommands, pciCommands, pciConfigCommands,
                                 pciDriverCommands, ethCommands, serialCommands, dmaCommands, persistCommands,
                                 irqCommands, latencyCommands, reportCommands, documentCommands}) {
            auto more = noun();
            rows.insert(rows.end(), std::move_iterator(more.begin()), std::move_iterator(more.end()));
        }
        return rows;
    }();
    return all;
}

const std::vector<Option>& commonOptions()
{
    static const std::vector<Option> all{
        {"--json", Kind::flag, "", "Print JSON instead of text"},
        {"--from", Kind::file, "REPORT", "Answer for the machine that wrote this report"},
    };
    return all;
}

}  // namespace qmctl
