#ifndef QMCTL_OPENED_REPORT_HPP
#define QMCTL_OPENED_REPORT_HPP

#include <filesystem>
#include <string>

namespace qmctl {

/// Unpacks a report's archive, from a descriptor, into a directory; false when it is none.
bool unpackReport(int archive, const std::filesystem::path& place);

/**
 * Makes the files of a report this process's own root: from then on the library and this tool see the machine
 * that wrote it. The files are in memory in a mount namespace of the process's own, and gone with it.
 */
void openReport(const std::string& archive);

}  // namespace qmctl

#endif
