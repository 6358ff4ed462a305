#pragma once

namespace qm {

constexpr char kInformationDirectory[] = "/usr/quillmark/sysinfo";
/// First line: version of the installed library.
constexpr char kVersionFile[] = "/usr/quillmark/sysinfo/quillmark_version.txt";
/// First line: the target's name for its console screen.
constexpr char kMarketingNameFile[] = "/usr/quillmark/sysinfo/quillmark_marketingName.txt";
/// One line: which network interface is which socket of the chassis.
constexpr char kEthernetLabelsFile[] = "/usr/quillmark/sysinfo/ethTranslateFile.txt";

}  // namespace qm
