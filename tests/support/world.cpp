#include "world.hpp"

#include "sandbox.hpp"

#include <fmt/core.h>
#include <sys/mount.h>
#include <system_error>

#include <cerrno>
#include <cstdio>

namespace qm::test {

namespace fs = std::filesystem;

constexpr const char* kResource = "{:#018x} {:#018x} {:#018x}\n";

Board& Board::word(size_t offset, uint16_t value)
{
    config_.at(offset) = static_cast<char>(value & 0xFF);
    config_.at(offset + 1) = static_cast<char>(value >> 8);
    return *this;
}

Board& Board::dword(size_t offset, uint32_t value)
{
    return word(offset, static_cast<uint16_t>(value)).word(offset + 2, static_cast<uint16_t>(value >> 16));
}

Board& Board::headerType(unsigned char keep, unsigned char set)
{
    char& type = config_.at(0x0E);
    type = static_cast<char>((type & keep) | set);
    return *this;
}

Board& Board::at(unsigned bus, unsigned slot, unsigned function, unsigned domain)
{
    domain_ = domain, bus_ = bus, slot_ = slot, function_ = function;
    return *this;
}

Board& Board::bar(size_t number, uint64_t start, uint64_t size, unsigned flags)
{
    bars_.at(number) = {start, size, flags};
    dword(0x10 + 4 * number, static_cast<uint32_t>(start) | (flags & 0xF));
    if (flags == kMemory64) dword(0x14 + 4 * number, static_cast<uint32_t>(start >> 32));
    return *this;
}

Board& Board::bridgeTo(unsigned secondary, unsigned subordinate)
{
    return headerType(0x80, 0x01).classCode(0x060400).dword(0x18, bus_ | secondary << 8 | subordinate << 16);
}

Board& Board::express(unsigned version, unsigned width)
{
    word(0x06, 0x0010).word(0x34, 0x40).word(0x40, 0x5001).word(0x50, 0x0010);
    return word(0x52, static_cast<uint16_t>(0x0140 | version)).dword(0x5C, 0xABC0F002U | width << 4);
}

std::string Board::address() const
{
    return fmt::format("{:04x}:{:02x}:{:02x}.{:x}", domain_, bus_, slot_, function_);
}

World::World()
{
    sandbox::freshDirectory("/sys");
    std::filesystem::create_directories("/sys/bus/pci/devices");
    std::filesystem::create_directories("/sys/bus/pci/drivers");
}

World& World::add(const Board& board)
{
    const auto byte = [&](size_t offset) { return static_cast<unsigned char>(board.config_.at(offset)); };
    const auto folder = directory(board.address());
    std::string resources;
    for (size_t i = 0; i < board.bars_.size(); ++i) {
        const auto& [start, size, flags] = board.bars_.at(i);
        resources += fmt::format(kResource, start, size == 0 ? start : start + size - 1, flags);
        if (size != 0) sandbox::sparseFile(folder / ("resource" + std::to_string(i)), size);
    }
    resources += fmt::format(kResource, 0, 0, 0);

    sandbox::writeFiles(
        {{folder / "config", board.config_},
         {folder / "vendor", fmt::format("0x{:02x}{:02x}\n", byte(1), byte(0))},
         {folder / "device", fmt::format("0x{:02x}{:02x}\n", byte(3), byte(2))},
         {folder / "class", fmt::format("0x{:02x}{:02x}{:02x}\n", byte(11), byte(10), byte(9))},
         {folder / "resource", resources},
         {folder / "irq", "16\n"},
         {folder / "enable", "1\n"}});
    return *this;
}

void World::remove(const std::string& address)
{
    std::filesystem::remove_all(directory(address));
}

std::filesystem::path World::directory(const std::string& address)
{
    return "/sys/bus/pci/devices/" + address;
}

uint32_t World::config(const std::string& address, size_t offset)
{
    const std::string bytes = sandbox::readFile(directory(address) / "config");
    uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i)
        value |= static_cast<uint32_t>(static_cast<unsigned char>(bytes.at(offset + i))) << (8 * i);
    return value;
}

void addUioBoard(World& world)
{
    world.add(board(0x1234, 0x11E8).at(0x1a, 0x1f).word(4, 0x0300).bar(0, 0xF0000000, 4096));
    fs::create_directory("/sys/host_proc");
    if (mount("/proc", "/sys/host_proc", nullptr, MS_BIND | MS_REC, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "/sys/host_proc");
    sandbox::freshDirectory("/proc");
    fs::create_symlink("/sys/host_proc/self", "/proc/self");
    sandbox::freshDirectory("/dev");
    const std::string driver = "/sys/bus/pci/drivers/uio_quillmark/", uio = "/sys/class/uio/uio7/";
    sandbox::writeFiles({{driver + "new_id", ""},
                         {driver + "bind", ""},
                         {uio + "name", "edu\n"},
                         {uio + "device/irq", "16\n"},
                         {"/proc/irq/16/smp_affinity_list", "0-2\n"},
                         {"/proc/4711/comm", "irq/16-edu\n"},
                         {"/dev/uio7", "\1\1\1\1\1\1\1\1"}});
}

ssize_t obeyDmaManager(const std::string& command)
{
    char name[64]{};
    unsigned long size = 0;
    const auto length = static_cast<ssize_t>(command.size());
    if (std::sscanf(command.c_str(), "delete %63s", name) == 1)
        return fs::remove("/dev/" + std::string(name)) ? length : -EINVAL;
    if (std::sscanf(command.c_str(), "create %63s %lu", name, &size) != 2 || size == 0) return -EINVAL;
    const std::string node = "/dev/" + std::string(name);
    const std::string attributes = "/sys/class/u-dma-buf/" + std::string(name);
    sandbox::sparseFile(node, size);
    fs::permissions(node, fs::perms{0600});
    sandbox::writeFiles({{attributes + "/sync_mode", "1\n"},
                         {attributes + "/phys_addr", "0x0000000123456000\n"},
                         {attributes + "/size", std::to_string(size) + "\n"}});
    return length;
}

void addTty(const fs::path& path, const std::string& node, const std::string& port)
{
    sandbox::writeFiles({{path / "uevent", node + "\n"}, {path / "port", port + "\n"}});
    fs::create_symlink("/sys/class/tty", path / "subsystem");
}

void addInterface(const fs::path& device, const std::string& name, const std::string& index)
{
    const fs::path interface = device / "net" / name;
    sandbox::writeFiles({{interface / "uevent", "INTERFACE=" + name + "\nIFINDEX=" + index + "\n"},
                         {"/run/udev/data/n" + index, "I:1\n"}});
    fs::create_symlink("/sys/class/net", interface / "subsystem");
}

}  // namespace qm::test
