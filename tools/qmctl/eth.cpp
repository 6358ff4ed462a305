// qmctl eth: the Ethernet ports with their labels, and handing one to an EtherCAT master.

#include "binding.hpp"
#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/ethernet.h>

#include <fmt/format.h>

namespace qmctl {

namespace {

constexpr char kEthercatDriver[] = "atemsys_pci";

Json list()
{
    Json ports = ethernetPorts(topology());
    for (Json& port : ports) {
        const std::string name = port.at("devices").empty() ? "" : port.at("devices")[0].get<std::string>();
        port["name"] = name;
        port["state"] = files::firstLine("/sys/class/net/" + name + "/operstate").value_or("");
    }
    return ports;
}

std::string showList(const Json& ports, const Look& look)
{
    std::string text = table(ports,
                             {{"Port", "index", false, true},
                              {"Label", "label"},
                              {"Interface", "name"},
                              {"State", "state"},
                              {"Address", "address"},
                              {"IDs", "ids"},
                              {"Driver", "driver"}},
                             look, "no Ethernet port");
    bool labelled = ports.empty();
    for (const Json& port : ports)
        labelled = labelled || !port.at("label").get<std::string>().empty();
    return labelled ? text : text + "\nNo labels are known; 'qmctl eth write' works them out.\n";
}

Outcome write(const Arguments& /*arguments*/)
{
    const Told told = inChild([] { return Json(qm_translateEthernetInterfaces()); });
    if (told.value != 0) throw Failure(reasonOf(told.said, "the labels were not written; are you root?"));
    return {inChild(list).value};
}

/// A port by its index, its interface or its label.
Json portNamed(const std::string& text)
{
    Json found;
    for (const Json& port : list())
        for (const char* const key : {"index", "name", "label"}) {
            if (plain(port.at(key)) != text) continue;
            if (!found.is_null() && found != port)
                throw Failure(
                    fmt::format("several Ethernet ports are called '{}'; say the index of the one, as "
                                "in 'qmctl eth list'",
                                text));
            found = port;
        }
    if (!found.is_null()) return found;
    throw Failure(fmt::format("there is no Ethernet port '{}'; 'qmctl eth list' shows what there is", text));
}

/// Which board the library hands over: function 0 of the port's slot.
qm_PCIDevice boardOf(const Json& port)
{
    Arguments place;
    place.set("BOARD", port.at("address").get<std::string>().substr(0, 5));
    place.set("--position", "1");
    return findBoard(place);
}

Json switchEthercat(const Arguments& arguments)
{
    const bool on = arguments.text("STATE") == "on";
    const Json port = portNamed(arguments.text("PORT"));
    const auto index = port.at("index").get<uint32_t>();
    qm_PCIDevice board = boardOf(port);
    const std::string address = addressOf(board);
    const std::string before = driverOf(address);
    const auto answer = [&](const std::string& done) {
        return Json{{"port", index},
                    {"address", address},
                    {"before", before},
                    {"driver", driverOf(address)},
                    {"done", done}};
    };
    if ((before == kEthercatDriver) == on)
        return answer(fmt::format("port {} has the driver {} already", index, orNone(before)));
    if (on) requireDriver(kEthercatDriver);
    refuseInUse(address, arguments);
    if (arguments.has("--dry-run"))
        return answer(fmt::format("would take port {} ({}) from {}", index, address, orNone(before)));
    (void)(on ? qm_configureEthercat(index) : qm_teardownEthercat(index));
    const std::string now = driverOf(address);
    if (on && now != kEthercatDriver)
        throw Failure(fmt::format("the kernel did not give port {} ({}) to {}, see 'dmesg'{}", index, address,
                                  kEthercatDriver, giveBack(board, before)));
    if (!on && (now.empty() || now == kEthercatDriver))
        throw Failure(fmt::format("port {} ({}) did not get its usual driver back; it has {}", index, address,
                                  orNone(now)));
    return answer(fmt::format("port {} ({}): {} instead of {}", index, address, now, orNone(before)));
}

}  // namespace

std::vector<Command> ethCommands()
{
    return {{"eth",
             "list",
             "List the Ethernet ports and their labels",
             {},
             [](const Arguments&) { return Outcome{inChild(list).value}; },
             showList},
            {"eth",
             "write",
             "Work out the ports' labels and write them to their file",
             {},
             write,
             showList,
             "The file is /usr/quillmark/sysinfo/ethTranslateFile.txt.",
             false},
            {"eth",
             "ethercat",
             "Hand a port to the EtherCAT master, or take it back",
             {{"STATE", Kind::text, "STATE", "on or off", "", 0, 0, {"on", "off"}},
              {"PORT", Kind::text, "PORT", "Index, interface or label, as in 'qmctl eth list'"},
              {"--force", Kind::flag, "", "Also a network card with an active route"},
              {"--dry-run", Kind::flag, "", "Only say what would be done"}},
             [](const Arguments& arguments) {
                 return Outcome{inChild([&] { return switchEthercat(arguments); }).value};
             },
             showDone,
             "The EtherCAT master's driver is atemsys_pci. When it does not take the port, the old driver "
             "gets it "
             "back.",
             false}};
}

}  // namespace qmctl
