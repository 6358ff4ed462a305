#pragma once

namespace qm {

/// First line: version of the installed library.
constexpr char kVersionFile[] = "/usr/quillmark/sysinfo/quillmark_version.txt";
/// First line: the target's name for its console screen.
constexpr char kMarketingNameFile[] = "/usr/quillmark/sysinfo/quillmark_marketingName.txt";

}  // namespace qm
