#include "edu.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <poll.h>

namespace qm::test {
namespace {

constexpr off_t kCommandHigh = 5;
constexpr uint8_t kInterruptDisable = 4;

uint8_t commandHigh(int config)
{
    uint8_t value = 0;
    EXPECT_EQ(1, ::pread(config, &value, 1, kCommandHigh));
    return value;
}

void setCommandHigh(int config, int value)
{
    const auto byte = static_cast<uint8_t>(value);
    EXPECT_EQ(1, ::pwrite(config, &byte, 1, kCommandHigh));
}

std::string firstLine(const std::filesystem::path& path)
{
    const std::string content = contentOf(path);
    return content.substr(0, content.find('\n'));
}

std::string_view asBytes(const uint32_t& value)
{
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace

int teachIds()
{
    return writeOnce(std::string(kDriverFolder) + "new_id", "1234 11e8");
}

std::filesystem::path Edu::folder(uint32_t slot)
{
    return fmt::format("/sys/bus/pci/devices/0000:00:{:02x}.0", slot);
}

std::string Edu::uioNode(uint32_t slot)
{
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder(slot) / "uio", none))
        return "/dev/" + entry.path().filename().string();
    return {};
}

Edu::Edu(uint32_t slot)
    : registers_(folder(slot) / "resource0", 1U << 20),
      uio_(uioNode(slot), O_RDWR | O_NONBLOCK),
      config_(folder(slot) / "config", O_RDWR),
      uioFolder_("/sys/class/uio" / std::filesystem::path(uioNode(slot)).filename())
{
    registers_.word(kStatus) = 0;
    acknowledge();
    enableInterrupt();
}

std::string Edu::uioName() const
{
    return firstLine(uioFolder_ / "name");
}

std::string Edu::irq() const
{
    return firstLine(uioFolder_ / "device/irq");
}

void Edu::compute(uint32_t factorialOf)
{
    registers_.word(0x08) = factorialOf;
    while ((registers_.word(kStatus) & 1U) != 0) {
    }
}

void Edu::startTransfer(uint64_t busAddress, Direction direction)
{
    constexpr uint32_t kBuffer = 0x40000, kRun = 1, kInterruptAtEnd = 4;
    const auto memory = static_cast<uint32_t>(busAddress);
    const bool toBoard = direction == Direction::toBoard;
    registers_.word(0x80) = toBoard ? memory : kBuffer;
    registers_.word(0x88) = toBoard ? kBuffer : memory;
    registers_.word(0x90) = kTransfer;
    registers_.word(0x98) = kRun | kInterruptAtEnd | static_cast<uint32_t>(direction);
}

bool Edu::interruptDisabled() const
{
    return (commandHigh(config_.fd()) & kInterruptDisable) != 0;
}

void Edu::enableInterrupt() const
{
    setCommandHigh(config_.fd(), commandHigh(config_.fd()) & ~kInterruptDisable);
}

void Edu::disableInterrupt() const
{
    setCommandHigh(config_.fd(), commandHigh(config_.fd()) | kInterruptDisable);
}

std::optional<uint32_t> Edu::nextCount(int milliseconds) const
{
    pollfd waiting{uio_.fd(), POLLIN, 0};
    uint32_t count = 0;
    if (::poll(&waiting, 1, milliseconds) != 1) return std::nullopt;
    EXPECT_EQ(ssize_t{sizeof count}, ::read(uio_.fd(), &count, sizeof count));
    return count;
}

int Edu::useFix(uint32_t variant, uint32_t mask) const
{
    const int refused = uio_.write(asBytes(variant));
    return refused != 0 ? refused : uio_.write(asBytes(mask));
}

}  // namespace qm::test
