#include "qm_soc.hpp"

#include "qm_string_utils.hpp"
#include <qm/log.h>
#include <qm/soc.h>

#include <cstdlib>
#include <exception>

namespace {

// Deliberate: the path stands between the quotes as it is.
constexpr char kLoadCommand[] = "sudo qm_load-bitstream '%s'";

bool runLoader(const char* bitstreamFile)
try {
    const std::string command = qm::utils::formatString(kLoadCommand, bitstreamFile);
    return std::system(command.c_str()) == 0;
} catch (const std::exception&) {
    return false;  // the command cannot be built
}

}  // namespace

int qm::loadBitstream(const char* bitstreamFile, qm_TargetType target)
{
    if (target != Talus) {
        qm_printf(qm_error, "SoC: Target machine does not have a System-on-Chip!\n");
        return -1;
    }
    qm_printf(qm_debug, "SoC: Loading bitstream \"%s\"\n", bitstreamFile);
    if (runLoader(bitstreamFile)) return 0;
    qm_printf(qm_error, "SoC: Program to load bitstream failed!\n");
    return -1;
}

int qm_loadOnChipBitstream(const char* bitstreamFile)
{
    return qm::loadBitstream(bitstreamFile, qm_getTargetType());
}
