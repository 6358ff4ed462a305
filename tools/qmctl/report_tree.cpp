#include "report_tree.hpp"

#include "command.hpp"
#include "files.hpp"
#include "text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <glob.h>
#include <sstream>

namespace fs = std::filesystem;

namespace qmctl {

namespace {

constexpr std::size_t kLine = 16;
constexpr std::size_t kConfigSize = 256;         // beyond it there may be a serial number
constexpr std::uintmax_t kLargest = 256U << 20;  // files are read whole: none must fill the memory
constexpr char kBinary[] = "# binary file, bytes: ";

constexpr std::array kAttributes{"vendor",
                                 "device",
                                 "subsystem_vendor",
                                 "subsystem_device",
                                 "class",
                                 "revision",
                                 "irq",
                                 "enable",
                                 "resource",
                                 "numa_node",
                                 "uevent",
                                 "address",
                                 "addr_assign_type",
                                 "ifindex",
                                 "iflink",
                                 "type",
                                 "operstate",
                                 "carrier",
                                 "speed",
                                 "mtu",
                                 "dev_id",
                                 "dev_port",
                                 "dev",
                                 "name",
                                 "version",
                                 "event",
                                 "port",
                                 "line",
                                 "iomem_base",
                                 "iomem_reg_shift",
                                 "io_type",
                                 "uartclk",
                                 "xmit_fifo_size",
                                 "flags",
                                 "console",
                                 "size",
                                 "phys_addr",
                                 "sync_mode",
                                 "current_link_speed",
                                 "current_link_width",
                                 "max_link_speed",
                                 "max_link_width",
                                 "modalias",
                                 "index",
                                 "label"};
constexpr std::array kLinks{"driver", "subsystem", "device"};

/// Not text: a null byte among the first characters.
bool isBinary(const std::string& content)
{
    return content.substr(0, 512).find('\0') != std::string::npos;
}

std::string lastLinesOf(const std::string& text, std::size_t count)
{
    std::size_t begin = text.size();
    while (begin > 0 && count > 0) {
        begin = text.rfind('\n', begin - 1);
        if (begin == std::string::npos) return text;
        --count;
    }
    return begin < text.size() ? text.substr(begin + 1) : text;
}

/// "00000010 66 69 72": an offset and the bytes there; nothing for any other line.
std::optional<std::pair<std::uintmax_t, std::string>> bytesIn(const std::string& line)
{
    std::istringstream words(line);
    std::string word;
    words >> word;
    const auto offset = wholeNumber(word, 16);
    std::string bytes;
    while (words >> word) {
        const auto byte = wholeNumber(word, 16);
        if (!byte || *byte > 0xFF) return std::nullopt;
        bytes += static_cast<char>(*byte);
    }
    return offset ? std::optional(std::pair(*offset, bytes)) : std::nullopt;
}

void restoreBinary(const fs::path& hex)
{
    std::ifstream lines(hex);
    std::string line;
    std::getline(lines, line);
    if (!line.starts_with(kBinary)) return;
    const auto size = wholeNumber(line.substr(sizeof kBinary - 1));
    if (!size || *size > kLargest)
        throw Failure(fmt::format("{} does not stand for at most {} bytes", hex.string(), kLargest));
    const fs::path path = fs::path(hex).replace_extension();
    if (files::present(path))  // a link, which would be followed
        throw Failure(fmt::format("{} is there beside {}", path.string(), hex.string()));
    std::ofstream file(path, std::ios::binary);
    for (int number = 2; std::getline(lines, line); ++number) {
        const auto part = bytesIn(line);
        if (!part || part->first > *size || part->second.size() > *size - part->first)
            throw Failure(
                fmt::format("line {} of {} is no offset and bytes of {}", number, hex.string(), *size));
        file.seekp(static_cast<std::streamoff>(part->first));
        file << part->second;
    }
    file.close();
    if (!file) throw Failure("cannot write " + path.string());
    fs::resize_file(path, *size);
}

/// Pipes would hold up whoever reads them; a file full of holes is huge though its archive is small.
void refuseHarmful(const fs::directory_entry& entry)
{
    const fs::file_status status = entry.symlink_status();
    const bool plain = fs::is_symlink(status) || fs::is_directory(status) || fs::is_regular_file(status);
    if (!plain) throw Failure(entry.path().string() + " is no file, directory or link");
    if (fs::is_regular_file(status) && entry.file_size() > kLargest)
        throw Failure(fmt::format("{} has more than {} bytes", entry.path().string(), kLargest));
}

}  // namespace

std::vector<std::string> matches(const std::string& pattern)
{
    std::vector<std::string> found;
    glob_t paths{};
    if (glob(pattern.c_str(), 0, nullptr, &paths) == 0)
        found.assign(paths.gl_pathv, paths.gl_pathv + paths.gl_pathc);
    globfree(&paths);
    return found;
}

fs::path ReportTree::placeOf(const fs::path& path)
{
    fs::path place = root_ / redact_(path.relative_path().string());
    fs::create_directories(place.parent_path());
    return place;
}

void ReportTree::write(const std::string& path, const std::string& text)
{
    std::ofstream file(placeOf(path), std::ios::trunc);
    if (!(file << redact_(text) << std::flush)) throw Failure("cannot write " + placeOf(path).string());
}

void ReportTree::copy(const fs::path& path, std::size_t lastLines)
{
    const auto content = files::content(path);
    if (content && !isBinary(*content))
        write(path, lastLines == SIZE_MAX ? *content : lastLinesOf(*content, lastLines));
}

void ReportTree::copyAll(const std::string& pattern)
{
    for (const std::string& path : matches(pattern))
        copy(path);
}

void ReportTree::copyBinary(const fs::path& path, const Ranges& ranges)
{
    const auto content = files::content(path);
    if (!content) return;
    std::size_t size = 0;
    std::string text;
    for (const auto& [begin, length] : ranges) {
        const std::size_t end = std::min(begin + length, content->size());
        for (std::size_t i = begin; i < end; i += kLine) {
            text += fmt::format("{:08x}", i);
            for (std::size_t j = i; j < std::min(i + kLine, end); ++j)
                text += fmt::format(" {:02x}", static_cast<unsigned char>((*content)[j]));
            text += '\n';
        }
        size = std::max(size, end);
    }
    const bool whole = path.filename() == "config";  // of which the rest is left out
    write(path.string() + ".hex", fmt::format("{}{}\n", kBinary, whole ? size : content->size()) + text);
}

void ReportTree::copyLink(const fs::path& path)
{
    std::error_code none;
    const fs::path target = fs::read_symlink(path, none);
    if (!none && !files::present(placeOf(path)))
        fs::create_symlink(redact_(target.string()), placeOf(path), none);
}

void ReportTree::noteNodes(const std::string& pattern)
{
    for (const std::string& path : matches(pattern))
        write(path, "");
}

void ReportTree::makeDirectory(const fs::path& path)
{
    fs::create_directories(placeOf(path));
}

void ReportTree::copyAttributes(const fs::path& device)
{
    for (const char* const name : kAttributes)
        if (!fs::is_symlink(device / name)) copy(device / name);
    for (const char* const name : kLinks)
        if (fs::is_symlink(device / name)) copyLink(device / name);
    if (files::present(device / "config")) copyBinary(device / "config", {{0, kConfigSize}});
}

void ReportTree::copyDevice(const fs::path& path)
{
    std::error_code none;
    fs::path device = fs::canonical(path, none);
    while (device.string().starts_with("/sys/devices/") && done_.insert(device).second) {
        if (files::present(device / "uevent")) copyAttributes(device);
        device = device.parent_path();
    }
}

void restoreBinaries(const fs::path& root)
{
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        refuseHarmful(entry);
        const bool ours = !entry.is_symlink() && entry.is_regular_file();
        if (ours && entry.path().extension() == ".hex") found.push_back(entry.path());
    }
    for (const fs::path& hex : found)
        restoreBinary(hex);
}

}  // namespace qmctl
