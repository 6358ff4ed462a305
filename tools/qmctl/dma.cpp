// qmctl dma: the kernel's buffers for DMA, also those that an unclean run has left.

#include "ask.hpp"
#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/dma.h>

#include <fmt/format.h>

namespace qmctl {

namespace {

constexpr char kClass[] = "/sys/class/u-dma-buf";
constexpr char kOurs[] = "qm-udma-buf";

Json list()
{
    Json buffers = Json::array();
    for (const std::string& name : files::entries(kClass)) {
        const std::string folder = std::string(kClass) + '/' + name + '/';
        buffers.push_back({{"name", name},
                           {"bytes", numberOrNull(files::firstLine(folder + "size"))},
                           {"physical_address", files::firstLine(folder + "phys_addr").value_or("")},
                           {"sync_mode", files::firstLine(folder + "sync_mode").value_or("")},
                           {"from_library", name.starts_with(kOurs)}});
    }
    return buffers;
}

std::size_t ours(const Json& buffers)
{
    std::size_t count = 0;
    for (const Json& buffer : buffers)
        count += buffer.at("from_library").get<bool>() ? 1 : 0;
    return count;
}

std::string number(std::size_t count)
{
    return fmt::format("{} buffer{}", count, count == 1 ? "" : "s");
}

std::string showList(const Json& buffers, const Look& look)
{
    return table(buffers,
                 {{"Name", "name"},
                  {"Bytes", "bytes", false, true},
                  {"Physical address", "physical_address", false, true},
                  {"Sync mode", "sync_mode", false, true},
                  {"libqm's", "from_library"}},
                 look, "no buffer");
}

Outcome clear(const Arguments& arguments)
{
    const std::size_t before = ours(list());
    if (before == 0) return {{{"deleted", 0}, {"done", "no buffer of the library is there"}}};
    if (arguments.has("--dry-run"))
        return {{{"deleted", 0}, {"done", fmt::format("would delete {}", number(before))}}};
    askBefore(fmt::format("delete {}, in use or not", number(before)), arguments);
    const Told told = inChild([] { return Json(qm_udmabuf_deleteAllBuffers()); });
    const std::size_t left = ours(list());
    if (told.value != 0 || left != 0)
        throw Failure(fmt::format("{} of {} left: {}", left, number(before),
                                  reasonOf(told.said, "the manager refused; are you root?")));
    return {{{"deleted", before}, {"done", fmt::format("deleted {}", number(before))}}};
}

}  // namespace

std::vector<Command> dmaCommands()
{
    return {{"dma",
             "list",
             "List the kernel's buffers for DMA",
             {},
             [](const Arguments&) { return Outcome{list()}; },
             showList},
            {"dma", "clear", "Delete the library's buffers for DMA", deletingOptions(), clear, showDone,
             "Deletes every buffer of whichever process. A board that still moves data into one writes into "
             "memory that is somebody else's then: end the model first.",
             false}};
}

}  // namespace qmctl
