// qmctl pci config: a board's configuration header, shown, saved to a file and restored from it.

#include "board.hpp"
#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/pci_access.h>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>

namespace qmctl {

namespace {

constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kLine = 16;

using Saved = std::array<uint32_t, QM_PCI_CONFIG_SAVE_WORDS>;

std::vector<std::string> readHeader(qm_PCIDevice& board)
{
    std::array<uint8_t, kHeaderSize> bytes{};
    const int file = qm_pci_openPciConfig(&board, O_RDONLY);
    const ssize_t count = file < 0 ? -1 : read(file, bytes.data(), bytes.size());
    const int error = errno;
    if (file >= 0) (void)close(file);
    if (count != static_cast<ssize_t>(bytes.size()))
        throw Failure(fmt::format("cannot read the configuration of {}: {}", addressOf(board),
                                  count < 0 ? std::strerror(error) : "it is too short"));
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < bytes.size(); i += kLine) {
        std::string line = fmt::format("{:02x}:", i);
        for (std::size_t j = 0; j < kLine; ++j)
            line += fmt::format(" {:02x}", bytes.at(i + j));
        lines.push_back(line);
    }
    return lines;
}

Saved backUp(qm_PCIDevice& board)
{
    Saved words{};
    qmPCI_backupPCIConfig(&board, words.data());
    return words;
}

Json wordsOf(const Saved& saved)
{
    Json words = Json::array();
    for (const uint32_t word : saved)
        words.push_back(fmt::format("0x{:08x}", word));
    return words;
}

Json describe(const qm_PCIDevice& board, const Saved& saved)
{
    return {{"address", addressOf(board)}, {"ids", idsOf(board)}, {"saved_words", wordsOf(saved)}};
}

Json save(qm_PCIDevice& board, const std::string& path)
{
    const Json value = describe(board, backUp(board));
    std::ofstream file(path, std::ios::trunc);
    if (!(file << value.dump(2) << '\n' << std::flush))
        throw Failure(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    return {{"done", fmt::format("configuration of {} saved to {}", addressOf(board), path)}};
}

/// "0x0000abcd"; nothing for anything else.
std::optional<uint32_t> wordIn(const Json& value)
{
    const std::string text = value.is_string() ? value.get<std::string>() : "";
    if (text.size() != 10 || !text.starts_with("0x")) return std::nullopt;
    const auto word = wholeNumber(std::string_view(text).substr(2), 16);
    return word ? std::optional(static_cast<uint32_t>(*word)) : std::nullopt;
}

/// What save() has written; nothing for anything else.
std::optional<Saved> wordsIn(const Json& value)
{
    const Json words = value.is_object() ? value.value("saved_words", Json()) : Json();
    Saved saved{};
    if (!words.is_array() || words.size() != saved.size()) return std::nullopt;
    for (std::size_t i = 0; i < saved.size(); ++i) {
        const auto word = wordIn(words[i]);
        if (!word) return std::nullopt;
        saved.at(i) = *word;
    }
    return saved;
}

Saved load(const std::string& path, const qm_PCIDevice& board, bool force)
{
    const auto text = files::content(path);
    if (!text) throw Failure(fmt::format("cannot read {}", path));
    const Json value = Json::parse(*text, nullptr, false);
    const auto saved = wordsIn(value);
    if (!saved)
        throw Failure(
            fmt::format("{} holds no configuration; 'qmctl pci config BOARD --save FILE' makes one", path));
    const std::string ids = plain(value.value("ids", Json()));
    const std::string address = plain(value.value("address", Json()));
    const bool same = ids == idsOf(board) && address == addressOf(board);
    if (!same && !force)
        throw Failure(fmt::format("{} was saved from {} {}, not from {} {}; --force restores it all the same",
                                  path, ids, address, idsOf(board), addressOf(board)));
    return *saved;
}

Json restore(qm_PCIDevice& board, const Arguments& arguments)
{
    const Saved saved = load(arguments.text("--restore"), board, arguments.has("--force"));
    if (arguments.has("--dry-run"))
        return {{"done", fmt::format("would write {} to {}", wordsOf(saved).dump(), addressOf(board))}};
    qmPCI_restorePCIConfig(&board, saved.data());
    const Saved now = backUp(board);
    if (now != saved)
        throw Failure(fmt::format("{} did not take everything: it has {} instead of {}", addressOf(board),
                                  wordsOf(now).dump(), wordsOf(saved).dump()));
    return {{"done", fmt::format("configuration of {} restored", addressOf(board))}};
}

Outcome run(const Arguments& arguments)
{
    if (arguments.has("--save") && arguments.has("--restore"))
        throw usage("--save and --restore exclude each other");
    return {inChild([&]() -> Json {
                qm_PCIDevice board = findBoard(arguments);
                if (arguments.has("--save")) return save(board, arguments.text("--save"));
                if (arguments.has("--restore")) return restore(board, arguments);
                Json value = describe(board, backUp(board));
                value["header"] = readHeader(board);
                return value;
            }).value};
}

std::string show(const Json& value, const Look& look)
{
    if (value.contains("done")) return showDone(value, look);
    std::string text = facts(value, {{"Address", "address"}, {"IDs", "ids"}}, look) + '\n';
    for (const Json& line : value.at("header"))
        text += plain(line) + '\n';
    return text;
}

}  // namespace

std::vector<Command> pciConfigCommands()
{
    return {
        {"pci", "config", "Show, save or restore a board's configuration header",
         boardOptionsAnd({{"--save", Kind::file, "FILE", "Save BARs, interrupt line and command register"},
                          {"--restore", Kind::file, "FILE", "Restore what was saved"},
                          {"--force", Kind::flag, "", "Restore what was saved from another board"},
                          {"--dry-run", Kind::flag, "", "Say what --restore would write"}}),
         run, show,
         "Without --save and --restore it shows the first 64 bytes. A reset or a change of driver destroys "
         "what is saved."}};
}

}  // namespace qmctl
