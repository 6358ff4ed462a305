#include "world.hpp"

#include "sandbox.hpp"

#include <fmt/core.h>

namespace qm::test {

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

    sandbox::writeFile(folder / "config", board.config_);
    sandbox::writeFile(folder / "vendor", fmt::format("0x{:02x}{:02x}\n", byte(1), byte(0)));
    sandbox::writeFile(folder / "device", fmt::format("0x{:02x}{:02x}\n", byte(3), byte(2)));
    sandbox::writeFile(folder / "class", fmt::format("0x{:02x}{:02x}{:02x}\n", byte(11), byte(10), byte(9)));
    sandbox::writeFile(folder / "resource", resources);
    sandbox::writeFile(folder / "irq", "16\n");
    sandbox::writeFile(folder / "enable", "1\n");
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

}  // namespace qm::test
