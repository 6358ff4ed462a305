#include "qm_translateEthernetInterfaces/label_string.hpp"

#include "qm_string_utils.hpp"
#include "qm_translateEthernetInterfaces/interface_name.hpp"
#include "qm_translateEthernetInterfaces/io_modules.hpp"
#include <qm/log.h>

namespace {

using namespace qm::ethernet;

struct OnboardLabels
{
    qm_TargetType target;
    std::array<const char*, 5> labels;  // in the order of the ports; null behind the last
};

/// Deliberate: RoverV2 and Campus2 have an ETH2 and no ETH1; users know the sockets by these labels.
constexpr std::array<OnboardLabels, 17> kOnboardLabels = {{
    {KR410, {"Hostlink", "ETH1"}},
    {KR411, {"Hostlink", "ETH1"}},
    {Ridge, {"Hostlink", "ETH1"}},
    {Lowland, {"Internal", "ETH1", "ETH2", "Hostlink"}},
    {Lowland_TopLayer, {"Internal", "Hostlink"}},
    {RoverV2, {"Hostlink", "ETH2", "ETH3", "ETH4"}},
    {Slate, {"Internal", "Hostlink", "ETH1", "ETH2"}},
    {Cube, {"Hostlink", "ETH1"}},
    {Harbor, {"Hostlink", "ETH1"}},
    {RoverAEG, {"Hostlink", "LAN2"}},
    {Campus2, {"Hostlink", "ETH2"}},
    {KT411, {"Hostlink", "ETH1", "ETH2"}},
    {RoverV3, {"Hostlink", "ETH1", "ETH2", "ETH3", "ETH4"}},
    {Zenith, {"Hostlink", "ETH1"}},
    {Brisa, {"Hostlink", "ETH1"}},
    {Otter, {"Hostlink", "ETH1"}},
    {Talus, {"Hostlink", "ETH1", "ETH2", "ETH3"}},
}};

/// How the ports of one module are told apart.
enum class PortMark
{
    None,
    Letter,
    Number,
    NumberDown
};

struct ModuleLabels
{
    IoModuleType ioModule;
    unsigned nPorts;
    PortMark mark;
};

/// Deliberate: on NX44 and NX42 the port at the lowest address has the highest number.
constexpr std::array<ModuleLabels, 10> kModuleLabels = {{
    {NX90, 2, PortMark::Letter},
    {NX90_11, 2, PortMark::Letter},
    {NX60, 1, PortMark::None},
    {NX50, 2, PortMark::Number},
    {NX48, 1, PortMark::None},
    {NX46, 4, PortMark::Number},
    {NX44, 4, PortMark::NumberDown},
    {NX42, 2, PortMark::NumberDown},
    {NX40, 1, PortMark::None},
    {NX40_10, 1, PortMark::None},
}};

/// Replaces the first occurrence; -1 when there is none.
int replaceInString(std::string& text, const std::string& what, const std::string& with)
{
    const std::size_t at = text.find(what);
    if (at == std::string::npos) return -1;
    text.replace(at, what.size(), with);
    return 0;
}

std::string portMark(const ModuleLabels& row, unsigned port)
{
    switch (row.mark) {
        case PortMark::Letter:
            return std::string(1, static_cast<char>('A' + port));
        case PortMark::Number:
            return "Port" + std::to_string(port + 1);
        case PortMark::NumberDown:
            return "Port" + std::to_string(row.nPorts - port);
        case PortMark::None:
            break;
    }
    return {};
}

/// Deliberate: ports of these modules are not listed, yet they count.
bool isListed(IoModuleType ioModule)
{
    return ioModule != NX22 && ioModule != NX20;
}

/// Every port with its module's name as the label.
std::string listPorts(const EthernetDevices& devices, qm_TargetType target)
{
    std::string ethStr;
    for (std::size_t i = 0; i < devices.size();) {
        const EthInterface group = isEthernetModule(devices, i, target);
        const std::size_t end = i + group.nPorts;
        for (; i < end; ++i)
            if (isListed(group.ioModule))
                ethStr += qm::utils::formatString("%s:%d:%s;", interfaceName(devices[i]).c_str(),
                                                  static_cast<int>(i), kIoModules[group.ioModule]);
    }
    return ethStr;
}

void labelOnboardPorts(std::string& ethStr, qm_TargetType target)
{
    for (const OnboardLabels& row : kOnboardLabels) {
        if (row.target != target) continue;
        for (const char* const label : row.labels)
            if (label != nullptr) (void)replaceInString(ethStr, kIoModules[ONBOARD], label);
    }
}

/// Numbers the modules of each kind in the order of the ports.
void labelModulePorts(std::string& ethStr)
{
    for (const ModuleLabels& row : kModuleLabels) {
        const std::string name = kIoModules[row.ioModule];
        const auto label = [&](unsigned k) {
            return name + "_" + std::to_string(k / row.nPorts + 1) + portMark(row, k % row.nPorts) + ";";
        };
        unsigned k = 0;
        while (replaceInString(ethStr, name + ";", label(k)) == 0)
            ++k;
    }
}

}  // namespace

namespace qm::ethernet {

std::string labelString(const EthernetDevices& devices, qm_TargetType target)
{
    std::string ethStr = listPorts(devices, target);
    qm_printf(qm_debug, "%s: ethStr before labeling: %s\n", "qm_translateEthernetInterfaces", ethStr.c_str());
    labelOnboardPorts(ethStr, target);
    labelModulePorts(ethStr);
    return ethStr;
}

}  // namespace qm::ethernet
