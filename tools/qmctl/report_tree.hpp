#ifndef QMCTL_REPORT_TREE_HPP
#define QMCTL_REPORT_TREE_HPP

#include "redaction.hpp"

#include <cstdint>
#include <filesystem>
#include <set>
#include <utility>
#include <vector>

namespace qmctl {

/// Copies of a machine's files below a directory, all of them text: what is binary becomes NAME.hex.
class ReportTree
{
public:
    ReportTree(std::filesystem::path root, bool full) : root_(std::move(root)), redact_(full) {}

    /// A file of ours.
    void write(const std::string& path, const std::string& text);
    /// The machine's file, or its last lines; nothing where it cannot be read.
    void copy(const std::filesystem::path& path, std::size_t lastLines = SIZE_MAX);
    /// All files that match, "*" standing for any part of one name.
    void copyAll(const std::string& pattern);
    /// Parts of a binary file: offsets and lengths.
    using Ranges = std::vector<std::pair<std::size_t, std::size_t>>;
    void copyBinary(const std::filesystem::path& path, const Ranges& ranges);
    void copyLink(const std::filesystem::path& path);
    /// An empty file where the machine has a device node.
    void noteNodes(const std::string& pattern);
    void makeDirectory(const std::filesystem::path& path);
    /// A device of sysfs and everything that it is attached to: its telling attributes, and where its links
    /// lead.
    void copyDevice(const std::filesystem::path& path);

private:
    std::filesystem::path placeOf(const std::filesystem::path& path);
    void copyAttributes(const std::filesystem::path& device);

    std::filesystem::path root_;
    Redaction redact_;
    std::set<std::filesystem::path> done_;
};

/// Turns every NAME.hex below a directory into the binary file NAME again; follows no link. A Failure where
/// something is there that no report holds, as a pipe.
void restoreBinaries(const std::filesystem::path& root);

/// Paths that exist, "*" standing for any part of one name.
std::vector<std::string> matches(const std::string& pattern);

}  // namespace qmctl

#endif
