#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace qm::test {

constexpr unsigned kMemory32 = 0x200;  // a resource's flags as the kernel prints them: the low four bits are
constexpr unsigned kMemory64 = 0x14220C;  // those of the BAR register
constexpr unsigned kPorts = 0x40101;

/** One PCI function, as the kernel shows it: the configuration space, the resources, the attribute files. */
class Board
{
public:
    Board(uint16_t vendor, uint16_t device) { word(0x00, vendor).word(0x02, device).classCode(0x118000); }

    Board& at(unsigned bus, unsigned slot, unsigned function = 0, unsigned domain = 0);
    Board& bar(size_t number, uint64_t start, uint64_t size, unsigned flags = kMemory32);
    Board& bridgeTo(unsigned secondary, unsigned subordinate);
    /** Power management at 0x40, then PCI Express at 0x50. */
    Board& express(unsigned version, unsigned width);
    Board& subsystem(uint16_t vendor, uint16_t device) { return word(0x2C, vendor).word(0x2E, device); }
    Board& classCode(uint32_t code) { return dword(0x08, code << 8 | 0x01); }
    Board& cardBus() { return headerType(0x80, 0x02).classCode(0x060700); }
    Board& multiFunction() { return headerType(0x7F, 0x80); }
    /** What a process without root rights sees: the first 64 bytes. */
    Board& shortConfig() { return config_.resize(64), *this; }
    Board& word(size_t offset, uint16_t value);
    Board& dword(size_t offset, uint32_t value);

    [[nodiscard]] std::string address() const;

private:
    friend struct World;
    struct Resource
    {
        uint64_t start, size;
        unsigned flags;
    };

    Board& headerType(unsigned char keep, unsigned char set);

    unsigned domain_ = 0, bus_ = 0, slot_ = 0, function_ = 0;
    std::string config_ = std::string(256, '\0');
    std::array<Resource, 6> bars_{};
};

inline Board board(uint16_t vendor, uint16_t device)
{
    return {vendor, device};
}

/** The computer's PCI boards: an empty /sys with the boards that are added. */
struct World
{
    World();

    World& add(const Board& board);
    void remove(const std::string& address);

    /** The board's directory in sysfs. */
    static std::filesystem::path directory(const std::string& address);

    /** A little-endian dword of the board's configuration file. */
    static uint32_t config(const std::string& address, size_t offset);
};

/**
 * Adds a board 1234:11e8 at 1a:1f.0 and what its UIO driver shows of it: "/dev/uio7" in an empty /dev, its
 * interrupt 16 with the thread 4711 in an empty /proc. It stays to be bound.
 */
void addUioBoard(World& world);

/** What the manager of DMA buffers does when this is written to it: the result of the write. */
ssize_t obeyDmaManager(const std::string& command);

/** A terminal, or a device's network interface, as udev shows it. */
void addTty(const std::filesystem::path& path, const std::string& node, const std::string& port = "0x0");
void addInterface(const std::filesystem::path& device, const std::string& name, const std::string& index);

}  // namespace qm::test
