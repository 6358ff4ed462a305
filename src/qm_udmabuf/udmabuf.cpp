#include "qm_common/file_descriptor.hpp"
#include "qm_root.hpp"
#include <qm/dma.h>
#include <qm/log.h>

#include <sys/mman.h>
#include <sys/stat.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <glob.h>

namespace {

constexpr char kManager[] = "/dev/u-dma-buf-mgr";
constexpr char kBufferName[] = "qm-udma-buf";
constexpr char kAllNodes[] = "/dev/qm-udma-buf*";
constexpr int kMaxBuffers = 256;
constexpr mode_t kNodeMode = 0666;
constexpr char kWriteCombining[] = "2";
constexpr std::size_t kAttributeSize = 1024;

using PathBuffer = std::array<char, 96>;
using CommandBuffer = std::array<char, NAME_MAX + 32>;

PathBuffer nodeOf(const char* name)
{
    PathBuffer path{};
    std::snprintf(path.data(), path.size(), "/dev/%s", name);
    return path;
}

PathBuffer attributeOf(const qm_udmabuf_Handle& buffer, const char* attribute)
{
    PathBuffer path{};
    std::snprintf(path.data(), path.size(), "/sys/class/u-dma-buf/%s/%s", buffer.deviceName, attribute);
    return path;
}

int refuseToOpen(const char* path)
{
    qm_printf(qm_error, "Failed to open %s: %s\n", path, std::strerror(errno));
    return -1;
}

qm::FileDescriptor openManager(Severity severity)
{
    qm::FileDescriptor manager(kManager, O_WRONLY);
    if (!manager) qm_printf(severity, "Failed to open u-dma-buf-mgr: %s\n", std::strerror(errno));
    return manager;
}

/// One text is one write. A refusal shows soon enough: the buffer's files are missing, or its size is
/// another.
void writeText(const qm::FileDescriptor& file, const char* text)
{
    (void)!::write(file.get(), text, std::strlen(text));
}

void deleteBuffer(const qm::FileDescriptor& manager, const char* name)
{
    CommandBuffer command{};
    std::snprintf(command.data(), command.size(), "delete %s\n", name);
    writeText(manager, command.data());
}

/// Lowest number without a node; -1 and a message when there is none.
int freeNumber()
{
    for (int number = 0; number < kMaxBuffers; ++number) {
        PathBuffer node{};
        std::snprintf(node.data(), node.size(), "/dev/%s%d", kBufferName, number);
        if (!qm::exists(node.data())) return number;
    }
    qm_printf(qm_error, "Maximum of %d buffers are supported by the u-dma-buf-mgr.\n", kMaxBuffers);
    return -1;
}

int openToAll(const PathBuffer& node)
{
    const qm::RootScope root;
    return ::chmod(node.data(), kNodeMode);
}

int create(const qm_udmabuf_Handle& buffer)
{
    {
        const qm::FileDescriptor manager = openManager(qm_error);
        if (!manager) return -1;
        CommandBuffer command{};
        std::snprintf(command.data(), command.size(), "create %s %lu\n", buffer.deviceName, buffer.length);
        writeText(manager, command.data());
    }
    if (openToAll(nodeOf(buffer.deviceName)) != 0)
        qm_printf(qm_error, "Failed to set u-dma-buf permissions: %s\n", std::strerror(errno));
    return 0;
}

int setSyncMode(const qm_udmabuf_Handle& buffer)
{
    const PathBuffer path = attributeOf(buffer, "sync_mode");
    const auto file = qm::FileDescriptor::adopt(qm_openAsRoot(path.data(), O_WRONLY));
    if (!file) return refuseToOpen(path.data());
    writeText(file, kWriteCombining);
    return 0;
}

int mapNode(qm_udmabuf_Handle& buffer)
{
    const PathBuffer node = nodeOf(buffer.deviceName);
    qm_printf(qm_debug, "Mapping %s\n", node.data());
    const qm::FileDescriptor file(node.data(), O_RDWR | O_SYNC);  // O_SYNC: the sync mode takes effect
    if (!file) return refuseToOpen(node.data());
    buffer.userPtr = ::mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    // Deliberate: only a null address is a failure; MAP_FAILED goes on to the caller.
    if (buffer.userPtr != nullptr) return 0;
    qm_printf(qm_error, "Failed to mmap %s: %s\n", node.data(), std::strerror(errno));
    return -1;
}

/// The number stays as it is when the attribute holds none.
int readNumber(const qm_udmabuf_Handle& buffer, const char* attribute, const char* format,
               unsigned long& number)
{
    const PathBuffer path = attributeOf(buffer, attribute);
    const qm::FileDescriptor file(path.data(), O_RDONLY);
    if (!file) return refuseToOpen(path.data());
    std::array<char, kAttributeSize + 1> text{};
    if (::read(file.get(), text.data(), kAttributeSize) < 0) {
        qm_printf(qm_error, "Failed to read %s: %s\n", path.data(), std::strerror(errno));
        return -1;  // a board must not be given address 0
    }
    (void)std::sscanf(text.data(), format, &number);
    return 0;
}

int map(qm_udmabuf_Handle& buffer)
{
    if (setSyncMode(buffer) != 0 || mapNode(buffer) != 0) return -1;
    if (readNumber(buffer, "phys_addr", "%lx", buffer.physicalAddr) != 0) return -1;
    qm_printf(qm_debug, "Physical address: 0x%x\n", static_cast<uint32_t>(buffer.physicalAddr));
    unsigned long size = 0;
    if (readNumber(buffer, "size", "%lu", size) != 0) return -1;
    return size == buffer.length ? 0 : -1;
}

}  // namespace

qm_udmabuf_Handle* qm_udmabuf_allocBuffer(size_t length)
{
    const int number = freeNumber();
    if (number < 0) return nullptr;
    auto* const buffer = static_cast<qm_udmabuf_Handle*>(std::calloc(1, sizeof(qm_udmabuf_Handle)));
    if (buffer == nullptr) return nullptr;
    std::snprintf(buffer->deviceName, sizeof buffer->deviceName, "%s%d", kBufferName, number);
    buffer->length = length;
    if (create(*buffer) == 0 && map(*buffer) == 0) return buffer;
    // The kernel's buffer stays for qm_udmabuf_deleteAllBuffers(), which must not find it mapped here.
    if (buffer->userPtr != nullptr) (void)::munmap(buffer->userPtr, buffer->length);
    std::free(buffer);
    return nullptr;
}

int qm_udmabuf_freeBuffer(qm_udmabuf_Handle* handle)
{
    if (::munmap(handle->userPtr, handle->length) != 0) return -1;
    {
        const qm::FileDescriptor manager(kManager, O_WRONLY);
        if (!manager) return -1;
        deleteBuffer(manager, handle->deviceName);
    }
    std::free(handle);
    return 0;
}

int qm_udmabuf_deleteAllBuffers(void)
{
    const qm::FileDescriptor manager = openManager(qm_warning);
    if (!manager) return -1;
    glob_t nodes{};
    if (::glob(kAllNodes, 0, nullptr, &nodes) == 0)
        for (std::size_t i = 0; i < nodes.gl_pathc; ++i)
            deleteBuffer(manager, std::strrchr(nodes.gl_pathv[i], '/') + 1);
    ::globfree(&nodes);
    return 0;
}
